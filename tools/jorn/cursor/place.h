// SPDX-License-Identifier: Apache-2.0
// A place in a ring, between two items. It is known again by the items before it in its data file, not by
// bytes, lines, inodes or times: files may be copied, renamed and mended.
#ifndef JORN_TOOLS_PLACE_H
#define JORN_TOOLS_PLACE_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <vector>

#include "cursor/item_hash.h"

namespace tool {

/// Items from a file's begin on.
struct FileSum {
    uint64_t items = 0;
    uint64_t chain = kChainStart;
};

inline bool operator==(const FileSum &a, const FileSum &b) {
    return a.items == b.items && a.chain == b.chain;
}

struct Place {
    /// So many of the last items are known one by one.
    static constexpr uint64_t kKnown = 32;

    int file = -1;                  ///< Number of its data file.
    FileSum before;                 ///< The items of the file before the place; at least one.
    uint32_t time = 0;              ///< Of the last one.
    std::vector<uint32_t> last;     ///< Low halves of the hashes of the last ones, up to kKnown.
    std::vector<uint32_t> marks;    ///< Low halves of the chains at markAt(items, 0), markAt(items, 1) ...
    std::optional<FileSum> former;  ///< All items of the file before that in the ring, where it was read.
};

/// How many items the mark `number` of a place with so many items is of; 0 where there is no such mark. The
/// first mark is where the items begin that are known one by one; each next one is twice as far back.
inline uint64_t markAt(uint64_t items, size_t number) {
    constexpr size_t kMost = 8;
    const uint64_t distance = Place::kKnown << number;
    return number < kMost && distance < items ? items - distance : 0;
}

/// Follows the items of one data file from its begin on.
class PlaceTrack {
public:
    PlaceTrack() = default;
    PlaceTrack(int file, const std::optional<FileSum> &former) : file_(file), former_(former) {}

    void take(uint64_t hash, uint32_t time);

    int file() const { return file_; }
    const FileSum &sum() const { return sum_; }

    /// The place after the last item; there must be one.
    Place place() const;

private:
    uint32_t chainAt(uint64_t items) const;

    int file_ = -1;
    std::optional<FileSum> former_;
    FileSum sum_;
    uint32_t time_ = 0;
    std::vector<uint32_t> hashes_;  ///< Low halves of the items',
    std::vector<uint32_t> chains_;  ///< and of the chains, both without the first `dropped_`.
    uint64_t dropped_ = 0;
};

}  // namespace tool

#endif
