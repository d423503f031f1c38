// SPDX-License-Identifier: Apache-2.0
// What is known of a data file whose items have got numbers. The file is known again by its items, not by
// bytes, lines, inodes or times: files may be copied, renamed and mended.
#ifndef JORN_TOOLS_KNOWN_FILE_H
#define JORN_TOOLS_KNOWN_FILE_H

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "cursor/item_hash.h"
#include "cursor/numbered_items.h"

namespace tool {

/// Items from a file's begin on.
struct FileSum {
    uint64_t items = 0;
    uint64_t chain = kChainStart;
};

inline bool operator==(const FileSum &a, const FileSum &b) {
    return a.items == b.items && a.chain == b.chain;
}

/// The last of a file's first items: by them it is known again when it has lost its end, or an item before.
struct FileTail {
    /// So many items are known one by one.
    static constexpr uint64_t kKnown = 32;

    std::vector<uint32_t> last;   ///< Low halves of the hashes of the last items, up to kKnown.
    std::vector<uint32_t> marks;  ///< Low halves of the chains at markAt(items, 0), markAt(items, 1) ...
};

/// How many items the mark `number` of a file with so many items is of; 0 where there is no such mark. The
/// first mark is where the items begin that are known one by one; each next one is twice as far back.
inline uint64_t markAt(uint64_t items, size_t number) {
    constexpr size_t kMost = 8;
    const uint64_t distance = FileTail::kKnown << number;
    return number < kMost && distance < items ? items - distance : 0;
}

struct KnownFile {
    int number = -1;        ///< In the name that it had.
    FileSum sum;            ///< Its first items; at least one, unless it is unread.
    uint32_t time = 0;      ///< Of the last of them.
    FileTail tail;          ///< Empty where the file is closed for good.
    bool isUnread = false;  ///< It could not be read to its end: there may be more.
    NumberedItems
        numbered;  ///< Those of them that have numbers. None where it only shows where the ring was.

    bool hasTail() const { return !tail.last.empty(); }
};

/// Follows the items of one data file from its begin on.
class FileTrack {
public:
    void take(uint64_t hash, uint32_t time);

    uint64_t items() const { return sum_.items; }

    /// Sets all but number and numbered items of a file to the items taken so far, at least one.
    void describe(KnownFile *file) const;

private:
    uint32_t chainAt(uint64_t items) const;

    FileSum sum_;
    uint32_t time_ = 0;
    std::vector<uint32_t> hashes_;  ///< Low halves of the items',
    std::vector<uint32_t> chains_;  ///< and of the chains, both without the first `dropped_`.
    uint64_t dropped_ = 0;
};

}  // namespace tool

#endif
