// SPDX-License-Identifier: Apache-2.0
// Clears a log at rest, as the store itself clears one.
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
    int target = -1;           ///< Position of the file that the log goes on with; -1 when there is no log.
    uint64_t items = 0;        ///< In view now.
    std::string note;          ///< About the size of the ring, as a sentence without its stop; may be empty.
    uint64_t overwritten = 0;  ///< Those of them that the target file holds.

    bool isNothing() const { return target < 0; }
};

/// Looks, and changes nothing. Throws Failure, of damage where the index cannot be gone by.
ClearingPlan planClearing(const StoreDirectory &directory, std::optional<int> ringSize);

/// Moves the range to the file after the newest, which begins with the store's item about it. All that needs
/// room is written before anything changes, so that a full medium leaves the log as it was. Throws Failure.
void clearLog(const StoreDirectory &directory, const ClearingPlan &plan, uint32_t now);

}  // namespace tool

#endif
