// SPDX-License-Identifier: Apache-2.0
// Who may read and write a log that is recorded.
#ifndef JORN_TOOLS_LOG_MODE_H
#define JORN_TOOLS_LOG_MODE_H

#include <sys/types.h>

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Reads "0755" or "755": three octal digits, of which the first gives its owner all rights. Throws Failure,
/// of usage.
mode_t parseLogMode(const std::string &text);

/// Gives the directory a mode, and the log's files that mode without the right to execute: those that are
/// there and, by the process's mask, those that it makes from now on. Throws Failure.
void applyLogMode(const StoreDirectory &directory, mode_t mode);

}  // namespace tool

#endif
