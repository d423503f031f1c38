// SPDX-License-Identifier: Apache-2.0
// What a pull is to read, after one look at the files of a log.
#ifndef JORN_TOOLS_PULL_PLAN_H
#define JORN_TOOLS_PULL_PLAN_H

#include <stdint.h>

#include <set>
#include <vector>

#include "cursor/cursor_update.h"
#include "cursor/log_files.h"
#include "cursor/numbering.h"
#include "cursor/pull_notes.h"

namespace tool {

struct PullPlan {
    LogCursor cursor;                     ///< Brought to what the files are now. It has an epoch.
    std::vector<const RingFile *> files;  ///< To be read, in the order of the ring.
    FormerFiles former;
    int newest = -1;         ///< The data file that is the newest known one; -1 if none is.
    bool isMade = false;     ///< Otherwise nothing is to be read, and the cursor is as it was.
    bool isWaiting = false;  ///< Until the index is mended or files can be read that show which log this is.
    bool hasUnread = false;  ///< Some file cannot be read.

    /// Files before the newest known one: they have got no items since that was known.
    std::set<int> knownToTheirEnds;

    Numbering &current() { return cursor.current(); }

    /// What cannot be read is tried again in the next pull. Nobody knows how many items such a file has,
    /// unless it was known to its end.
    void markUnread(int number);
};

/// `newEpoch` is the epoch to begin if a new one is needed.
PullPlan planPull(LogFiles *files, const LogCursor &cursor, uint64_t newEpoch, PullNotes *notes);

}  // namespace tool

#endif
