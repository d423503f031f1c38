// SPDX-License-Identifier: Apache-2.0
#include "cursor/known_file.h"

#include <utility>

namespace tool {

void FileTrack::take(uint64_t hash, uint32_t time) {
    ++sum_.items;
    sum_.chain = chained(sum_.chain, hash);
    time_ = time;
    items_.push_back(halfOfItem(hash));
    block_ = chained(block_, hash);
    if (sum_.items % FileShape::kBlock == 0) {
        blocks_.push_back(halfOfChain(std::exchange(block_, 0)));
    }
}

void FileTrack::describe(KnownFile *file) const {
    file->sum = sum_;
    file->time = time_;
    FileShape &shape = file->shape;
    shape.samples.clear();
    for (uint64_t sample = 0; sample < samplesOf(sum_.items); ++sample) {
        shape.samples.push_back(items_[static_cast<size_t>(sampleAt(sum_.items, sample))]);
    }
    const auto blocks = static_cast<ptrdiff_t>(blocksOf(sum_.items));
    shape.blocks.assign(blocks_.begin(), blocks_.begin() + blocks);
    shape.last.assign(items_.begin() + blocks * static_cast<ptrdiff_t>(FileShape::kBlock), items_.end());
}

}  // namespace tool
