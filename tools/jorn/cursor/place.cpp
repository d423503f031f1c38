// SPDX-License-Identifier: Apache-2.0
#include "cursor/place.h"

#include <algorithm>

namespace tool {
namespace {

/// More than the farthest mark. A file of the store has 5000 items; other files may have any number.
constexpr size_t kKept = 8192;

}  // namespace

void PlaceTrack::take(uint64_t hash, uint32_t time) {
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

uint32_t PlaceTrack::chainAt(uint64_t items) const {
    return chains_[static_cast<size_t>(items - dropped_ - 1)];
}

Place PlaceTrack::place() const {
    Place place;
    place.file = file_;
    place.before = sum_;
    place.time = time_;
    const size_t known = std::min<size_t>(Place::kKnown, hashes_.size());
    place.last.assign(hashes_.end() - static_cast<ptrdiff_t>(known), hashes_.end());
    for (size_t number = 0; markAt(sum_.items, number) > 0; ++number) {
        place.marks.push_back(chainAt(markAt(sum_.items, number)));
    }
    place.former = former_;
    return place;
}

}  // namespace tool
