// SPDX-License-Identifier: Apache-2.0
// What is known of a data file whose items have numbers. The file is recognised by its items, not by bytes,
// lines, inodes or times: files may be copied, renamed and repaired, and lines of them may be damaged.
#ifndef JORN_TOOLS_KNOWN_FILE_H
#define JORN_TOOLS_KNOWN_FILE_H

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <vector>

#include "cursor/item_hash.h"
#include "cursor/numbered_items.h"

namespace tool {

/// Items from the beginning of a file.
struct FileSum {
    uint64_t items = 0;
    uint64_t chain = 0;
};

inline bool operator==(const FileSum &a, const FileSum &b) {
    return a.items == b.items && a.chain == b.chain;
}

/// By these, a file that has lost items is recognised. Blocks and last items together are its details: they
/// show what became of each item, and are kept only where that matters.
struct FileShape {
    /// The number of items that share one hash, in a block.
    static constexpr uint64_t kBlock = 32;
    static constexpr uint64_t kMostSamples = 16;

    std::vector<uint32_t> samples;  ///< Of the items sampleAt(items, 0), sampleAt(items, 1) ...
    std::vector<uint32_t> blocks;   ///< Of the first blocks: blocksOf(items).
    std::vector<uint32_t> last;     ///< Of each item after these.

    bool hasDetails() const { return !last.empty(); }
    void dropDetails() {
        blocks.clear();
        last.clear();
    }
};

inline uint64_t samplesOf(uint64_t items) { return std::min(FileShape::kMostSamples, items); }

/// The item of a sample. They are evenly spaced; the last one is the file's last item.
inline uint64_t sampleAt(uint64_t items, uint64_t sample) {
    return (sample + 1) * items / samplesOf(items) - 1;
}

/// The number of blocks by which a file of so many items is recognised. The items after them, at least 32 or
/// all that there are, are known one by one.
inline uint64_t blocksOf(uint64_t items) {
    const uint64_t whole = items / FileShape::kBlock;
    return whole > 0 ? whole - 1 : 0;
}

/// Whether an item has the time of a clock that was set. A device without one starts in 1970 each time, and
/// may write the same items again.
inline bool isOfClock(uint32_t time) {
    constexpr uint32_t kYear = 31536000;
    return time >= kYear;
}

struct KnownFile {
    int number = -1;         ///< As in the name that it had.
    FileSum sum;             ///< Its first items; at least one, unless it is unread.
    uint32_t time = 0;       ///< Of the last of them.
    FileShape shape;         ///< Of them.
    bool isUnread = false;   ///< It could not be read to its end: there may be more.
    NumberedItems numbered;  ///< Those that have numbers. None if the file only shows where the ring was.

    /// Whether items of it may still have to be sent, even if no more are added to it.
    bool isOpen() const { return isUnread || numbered.has(ItemState::Pending); }

    /// Whether items of it have numbers.
    bool isNumbered() const { return sum.items > 0 && numbered.hasAny(); }
};

/// Follows the items of one data file from its beginning.
class FileTrack {
public:
    void take(uint64_t hash, uint32_t time);

    uint64_t items() const { return sum_.items; }

    /// Sets everything but the number and the numbered items of a file, from the items taken so far, at least
    /// one.
    void describe(KnownFile *file) const;

private:
    FileSum sum_;
    uint32_t time_ = 0;
    uint64_t block_ = 0;            ///< Chain of the items after the whole blocks.
    std::vector<uint32_t> blocks_;  ///< All whole ones.
    std::vector<uint32_t> items_;
};

}  // namespace tool

#endif
