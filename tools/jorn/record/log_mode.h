// SPDX-License-Identifier: Apache-2.0
// Who may read and write a log that is recorded.
#ifndef JORN_TOOLS_LOG_MODE_H
#define JORN_TOOLS_LOG_MODE_H

#include <sys/types.h>

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Parses "0755" or "755": three octal digits, the first of which must give the owner all rights. Throws
/// Failure, as a usage error.
mode_t parseLogMode(const std::string &text);

/// Gives the directory this mode, and the log's files the same without execute permission: existing files
/// directly, new ones through the process's umask. Throws Failure.
void applyLogMode(const StoreDirectory &directory, mode_t mode);

}  // namespace tool

#endif
