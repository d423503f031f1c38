// SPDX-License-Identifier: Apache-2.0
// Where the files of a ring go, once their order is known, so that the store's queries see every item and its
// start-up finds nothing to rename or delete.
#ifndef JORN_TOOLS_RING_PLACEMENT_H
#define JORN_TOOLS_RING_PLACEMENT_H

#include <optional>
#include <vector>

#include "health/ring_evidence.h"

namespace tool {

/// Moves a data file from one position of the ring to another.
struct FileMove {
    int from;
    int to;
};

struct Placement {
    IndexPositions positions;     ///< For the index.
    std::vector<FileMove> moves;  ///< All at once: a target may be another move's source.
    std::vector<int> dropped;     ///< Files without items that would be in the way; the store recreates them.

    /// Where a file goes; nothing for one that is dropped.
    std::optional<int> targetOf(int position) const;

    /// Whether all files stay where they are.
    bool keepsFiles() const { return moves.empty() && dropped.empty(); }
};

/// Files stay where they are if the index can give the order, as it is or with new positions. Otherwise they
/// are laid out from 0 upward, which is valid in any larger ring too, with those that were cleared first, out
/// of view. Nothing when the ring is too small for the files.
std::optional<Placement> placeFiles(const RingFacts &facts, const std::vector<int> &order,
                                    const std::vector<int> &cleared = {});

}  // namespace tool

#endif
