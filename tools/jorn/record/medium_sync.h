// SPDX-License-Identifier: Apache-2.0
// Brings what the store has written to the medium, which the store itself leaves to the system.
#ifndef JORN_TOOLS_MEDIUM_SYNC_H
#define JORN_TOOLS_MEDIUM_SYNC_H

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Everything here throws Failure when something may not be on the medium, and does nothing when it is not
/// wanted.
class MediumSync {
public:
    MediumSync(const StoreDirectory &directory, bool isWanted) : directory_(directory), isWanted_(isWanted) {}

    /// The store has started and goes on with this file: that, the index, and the names up to the log's own.
    void syncStart(int position) const;

    /// Items were written to this file, which is closed.
    void syncItems(int position) const;

    /// The store has moved on from this file: that, the index and the names. The contents go first, so that
    /// no index is ever on the medium by its name alone.
    void syncRotation(int former) const;

private:
    void syncFile(const std::string &name) const;
    void syncDirectory(const char *name) const;

    const StoreDirectory &directory_;
    const bool isWanted_;
};

}  // namespace tool

#endif
