// SPDX-License-Identifier: Apache-2.0
// What a directory holds, found without changing anything in it: the index and the data files.
#ifndef JORN_TOOLS_RING_SURVEY_H
#define JORN_TOOLS_RING_SURVEY_H

#include <stdint.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "csvfile/tidying_plan.h"
#include "log/store_directory.h"
#include "system/descriptor.h"

namespace tool {

/// The ring positions in the index, as they stand there; both are below 90, and may be negative.
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

/// Whether a ring of this size has both positions.
inline bool isInRing(const IndexPositions &positions, int ringSize) {
    return positions.oldest >= 0 && positions.latest >= 0 && positions.oldest < ringSize &&
           positions.latest < ringSize;
}

/// The positions from the oldest to the latest, around the ring's end where it has come round.
std::vector<int> positionsInRange(const IndexPositions &range, int ringSize);

/// Reads index.csv, or index.bak when there is no index.csv, and accepts what the store accepts, but never
/// renames the one to the other. Nothing when neither can be used. Throws Failure when a file is there
/// but may not be read.
std::optional<IndexPositions> readIndex(const StoreDirectory &directory);

/// The same of an opened file; nothing of a closed one.
std::optional<IndexPositions> readIndex(const Descriptor &file);

/// What one look at a directory found.
struct RingSurvey {
    std::optional<IndexPositions> index;
    std::array<bool, jorn::kSurveySize> isPresent{};  ///< By position: there is a data file.

    /// The index positions as the store takes them: both 0 without an index.
    IndexPositions positions() const { return index.value_or(IndexPositions{}); }

    /// Highest position that has a data file, -1 when there is none.
    int highestFile() const;

    /// The smallest ring that the files and the index fit in.
    int smallestRing() const;

    /// Whether the ring has come round, so that its size is that of smallestRing().
    bool hasWrapped() const { return positions().latest < positions().oldest; }

    /// Nothing there: neither an index nor a data file.
    bool isFresh() const { return !index && highestFile() < 0; }

    /// What the store's start-up would do to these files for a ring of this size.
    jorn::TidyingPlan planFor(int ringSize) const;
};

/// Looks at a directory. Throws Failure for a data file that is no regular file or may not be read.
RingSurvey surveyRing(const StoreDirectory &directory);

}  // namespace tool

#endif
