// SPDX-License-Identifier: Apache-2.0
// The space that a log takes on its medium.
#ifndef JORN_TOOLS_DISK_USAGE_H
#define JORN_TOOLS_DISK_USAGE_H

#include <stdint.h>

#include "log/directory_look.h"

namespace tool {

/// All data files, including those not in view, and the index with its backup.
struct DiskUsage {
    uint64_t files = 0;
    uint64_t bytes = 0;
    uint64_t allocated = 0;  ///< As the file system counts.
};

DiskUsage diskUsageOf(const DirectoryLook &look);

/// The most bytes that the data files of a ring can hold, written by the store.
uint64_t largestRing(int ringSize);

}  // namespace tool

#endif
