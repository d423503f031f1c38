// SPDX-License-Identifier: Apache-2.0
// Shows with a look at two files that nothing was added to a log. A stamp that differs shows nothing: files
// may have been copied.
#ifndef JORN_TOOLS_LOG_STAMP_H
#define JORN_TOOLS_LOG_STAMP_H

#include <stdint.h>

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Of the index and the data file `newest`, as they are now: inode, size and times. Empty when either cannot
/// be looked at, or when the data file does not have this size.
std::string stampOf(const StoreDirectory &directory, int newest, uint64_t size);

/// Whether both are still as they were when a stamp was made.
bool isStamped(const StoreDirectory &directory, const std::string &stamp);

}  // namespace tool

#endif
