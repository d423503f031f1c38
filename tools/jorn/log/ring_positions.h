// SPDX-License-Identifier: Apache-2.0
// Positions in a ring: those that the index names, and those that have a data file.
#ifndef JORN_TOOLS_RING_POSITIONS_H
#define JORN_TOOLS_RING_POSITIONS_H

#include <stdint.h>

#include <array>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "csvfile/tidying_plan.h"
#include "log/store_directory.h"
#include "system/descriptor.h"

namespace tool {

/// The ring positions as the index holds them; both are below 90, and may be negative.
struct IndexPositions {
    int32_t oldest = 0;
    int32_t latest = 0;
};

inline bool operator==(const IndexPositions &a, const IndexPositions &b) {
    return a.oldest == b.oldest && a.latest == b.latest;
}

/// "3,7".
std::string textOf(const IndexPositions &positions);

/// The whole text of an index: "version:1\n3,7\n".
std::string indexTextOf(const IndexPositions &positions);

/// Whether both positions exist in a ring of this size.
inline bool isInRing(const IndexPositions &positions, int ringSize) {
    return positions.oldest >= 0 && positions.latest >= 0 && positions.oldest < ringSize &&
           positions.latest < ringSize;
}

/// The positions from the oldest to the latest, wrapping at the end of the ring where needed.
std::vector<int> positionsInRange(const IndexPositions &range, int ringSize);

/// By position: whether there is a data file.
using FilePresence = std::array<bool, jorn::kSurveySize>;

/// Highest position that has a data file, -1 when there is none.
int highestOf(const FilePresence &files);

/// The smallest ring that fits the files, and the positions of each index that there is.
int smallestRingFor(const FilePresence &files, std::initializer_list<std::optional<IndexPositions>> indexes);

/// What the store's start-up would do to these files for a ring of this size.
jorn::TidyingPlan tidyingPlanOf(const FilePresence &files, const IndexPositions &index, int ringSize);

}  // namespace tool

#endif
