// SPDX-License-Identifier: Apache-2.0
// Counts of the items in view: over time by level, and by level, slot and log.
#ifndef JORN_TOOLS_COUNTS_H
#define JORN_TOOLS_COUNTS_H

#include <stdint.h>

#include <array>
#include <vector>

#include "serve/row_walk.h"

namespace tool {

/// Counts by level: 0 to 3, then all others.
using LevelCounts = std::array<uint64_t, jorn::kLevelMax + 1>;

struct TimeBucket {
    int64_t begin = 0;
    LevelCounts levels{};
};

struct ViewHistogram {
    int64_t since = 0;  ///< The limits that were asked for, else the times of the first and the last item.
    int64_t until = 0;
    int64_t step = 1;  ///< Seconds that a bucket spans.
    uint64_t total = 0;
    uint32_t first = 0;  ///< Times of the earliest and the latest item; none where the total is 0.
    uint32_t last = 0;
    std::vector<TimeBucket> buckets;  ///< The earliest first, none empty.
};

/// Steps are such that clocks show round times, and buckets begin at such.
ViewHistogram histogramOf(const ViewQuestion &question, size_t mostBuckets);

/// Each count leaves out the filter for what it counts by: it is what one would get by choosing that.
struct ViewFacets {
    LevelCounts levels{};
    std::array<uint64_t, kSlotCodes> slots{};  ///< 0 to 7, then all others.
    std::vector<uint64_t> logs;
};

ViewFacets facetsOf(const ViewQuestion &question);

/// How many items pass.
uint64_t countOf(const ViewQuestion &question);

}  // namespace tool

#endif
