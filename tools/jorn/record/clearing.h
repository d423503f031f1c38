// SPDX-License-Identifier: Apache-2.0
// Clears a log that is not in use, as the store itself would.
#ifndef JORN_TOOLS_CLEARING_H
#define JORN_TOOLS_CLEARING_H

#include <stdint.h>

#include <optional>
#include <string>

#include "log/ring_positions.h"
#include "log/store_directory.h"

namespace tool {

/// What a clearing does.
struct ClearingPlan {
    IndexPositions former;
    int target = -1;           ///< Position of the file that the log continues with; -1 when there is no log.
    uint64_t items = 0;        ///< Items now in view.
    std::string note;          ///< About the ring size, as a sentence without its full stop; may be empty.
    uint64_t overwritten = 0;  ///< Those of them that the target file holds.

    bool isNothing() const { return target < 0; }
};

/// Changes nothing. Throws Failure, with the exit code for damage where the index cannot be used.
ClearingPlan planClearing(const StoreDirectory &directory, std::optional<int> ringSize);

/// Moves the range to the file after the newest one, which begins with the store's item about the clearing.
/// Everything that takes space is written before anything changes, so a full medium leaves the log as it was.
/// Throws Failure.
void clearLog(const StoreDirectory &directory, const ClearingPlan &plan, uint32_t now);

}  // namespace tool

#endif
