// SPDX-License-Identifier: Apache-2.0
// Syncs what the store has written to the medium; the store itself leaves that to the system.
#ifndef JORN_TOOLS_MEDIUM_SYNC_H
#define JORN_TOOLS_MEDIUM_SYNC_H

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Every function throws Failure when something may not be on the medium, and does nothing when syncing is
/// not wanted.
class MediumSync {
public:
    MediumSync(const StoreDirectory &directory, bool isWanted) : directory_(directory), isWanted_(isWanted) {}

    /// After the store has started and continues with this file: syncs the file, the index, and the names up
    /// to the log directory's own.
    void syncStart(int position) const;

    /// After items were written to this file, which is closed: syncs the file.
    void syncItems(int position) const;

    /// After the store has moved on from this file: syncs the file, the index and the names. The contents go
    /// first, so that the name of an index never reaches the medium without its contents.
    void syncRotation(int former) const;

private:
    void syncFile(const std::string &name) const;
    void syncDirectory(const char *name) const;

    const StoreDirectory &directory_;
    const bool isWanted_;
};

}  // namespace tool

#endif
