// SPDX-License-Identifier: Apache-2.0
#include "cursor/known_file.h"

#include <algorithm>

namespace tool {
namespace {

/// More than the farthest mark. A file of the store has 5000 items; other files may have any number.
constexpr size_t kKept = 8192;

}  // namespace

void FileTrack::take(uint64_t hash, uint32_t time) {
    if (hashes_.size() == 2 * kKept) {
        hashes_.erase(hashes_.begin(), hashes_.begin() + kKept);
        chains_.erase(chains_.begin(), chains_.begin() + kKept);
        dropped_ += kKept;
    }
    ++sum_.items;
    sum_.chain = chained(sum_.chain, hash);
    time_ = time;
    hashes_.push_back(static_cast<uint32_t>(hash));
    chains_.push_back(static_cast<uint32_t>(sum_.chain));
}

uint32_t FileTrack::chainAt(uint64_t items) const {
    return chains_[static_cast<size_t>(items - dropped_ - 1)];
}

void FileTrack::describe(KnownFile *file) const {
    file->sum = sum_;
    file->time = time_;
    const size_t known = std::min<size_t>(FileTail::kKnown, hashes_.size());
    file->tail.last.assign(hashes_.end() - static_cast<ptrdiff_t>(known), hashes_.end());
    file->tail.marks.clear();
    for (size_t number = 0; markAt(sum_.items, number) > 0; ++number) {
        file->tail.marks.push_back(chainAt(markAt(sum_.items, number)));
    }
}

}  // namespace tool
