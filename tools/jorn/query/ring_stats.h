// SPDX-License-Identifier: Apache-2.0
// What a log holds, in numbers.
#ifndef JORN_TOOLS_RING_STATS_H
#define JORN_TOOLS_RING_STATS_H

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

#include "log/damage.h"
#include "log/ring_view.h"
#include "query/histogram.h"
#include "query/item_filter.h"

namespace tool {

/// Some items: how many, and the span of their times.
struct ItemSpan {
    uint64_t items = 0;
    uint32_t earliest = 0;
    uint32_t latest = 0;

    void add(uint32_t time);
    void add(const ItemSpan &other);
};

struct FileStats {
    int number = 0;    ///< In its name.
    int position = 0;  ///< In the ring.
    uint64_t bytes = 0;
    ItemSpan span;
};

/// Items by level and slot. Only damaged files hold items of other levels, which have no cell.
struct LevelTable {
    static constexpr size_t kOtherSlot = jorn::kSlotMax;

    std::array<std::array<uint64_t, kOtherSlot + 1>, jorn::kLevelMax> cells{};
    uint64_t otherLevels = 0;

    void add(int32_t level, int32_t slot);
    void add(const LevelTable &other);
    uint64_t totalOfLevel(size_t level) const;
    uint64_t totalOfSlot(size_t slot) const;
};

struct RingStats {
    std::string index;  ///< Its name, with a remark if one is needed, or why there is none.
    int ringSize = 0;
    bool isRingSizeKnown = false;  ///< If not, ringSize is the smallest possible.
    int oldest = 0;                ///< Positions.
    int newest = 0;
    std::vector<FileStats> files;  ///< The oldest first.
    ItemSpan span;
    uint64_t bytes = 0;
    LevelTable table;
    HourCounts hours;
};

/// Statistics of the items that pass the filter. Reads every file once.
RingStats statsOf(const RingView &view, const ItemFilter &filter, DamageLog *damage);

}  // namespace tool

#endif
