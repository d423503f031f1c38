// SPDX-License-Identifier: Apache-2.0
// Finds the order of a ring's files, oldest first, from what they hold, where the index does not give it.
#ifndef JORN_TOOLS_RING_EVIDENCE_H
#define JORN_TOOLS_RING_EVIDENCE_H

#include <stdint.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "csvfile/tidying_plan.h"
#include "log/ring_positions.h"

namespace tool {

/// What a data file shows about its place in the ring.
struct FileFacts {
    bool isPresent = false;
    int64_t items = 0;
    uint32_t firstTime = 0;
    uint32_t lastTime = 0;
    bool startsCleared = false;

    bool hasItems() const { return items > 0; }
    bool isFull() const { return items >= jorn::kCsvItemMax; }
};

using RingFiles = std::array<FileFacts, jorn::kSurveySize>;

/// Everything known about a ring.
struct RingFacts {
    RingFiles files;
    int ringSize = 0;                      ///< Files of the ring, 2 to 90.
    std::optional<IndexPositions> index;   ///< Of a whole index whose positions are in the ring.
    std::optional<IndexPositions> backup;  ///< The same of the backup, where it does not serve as the index.
    std::optional<IndexPositions> given;   ///< As given by the user.
};

/// The order of the files that hold items, and why.
struct RingOrder {
    enum class Source {
        Index,    ///< The index gives it, and every item is in its range.
        Cleared,  ///< The same, but the items outside its range were cleared.
        Files,    ///< Found from the files.
        Unclear,  ///< Cannot be determined.
    };

    Source source = Source::Unclear;
    std::vector<int> files;    ///< Positions of the files with items in view, oldest first.
    std::vector<int> cleared;  ///< Positions of the files that hold cleared items.
    std::string evidence;      ///< Why, or why not: a sentence without its full stop.
    std::string doubt;         ///< What else is possible, in the same form; empty where nothing is.

    bool isKnown() const { return source == Source::Index || source == Source::Files; }

    /// The evidence, with the doubt that it leaves.
    std::string reason() const { return doubt.empty() ? evidence : evidence + "; " + doubt; }
};

RingOrder findRingOrder(const RingFacts &facts);

/// Whether the files show that the ring has moved on since it had these positions: the newest file is full,
/// and the one after it holds items. The store empties that one before it moves on.
bool hasMovedOn(const RingFacts &facts, const IndexPositions &former);

/// Positions of the files with items in a range of the ring, oldest first.
std::vector<int> filesInRange(const RingFacts &facts, const IndexPositions &range);

/// Positions of the files with items that lie outside a range.
std::vector<int> filesOutsideRange(const RingFacts &facts, const IndexPositions &range);

/// "3.csv", "0.csv to 3.csv and 5.csv".
std::string listFiles(const std::vector<int> &positions);

}  // namespace tool

#endif
