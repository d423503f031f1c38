// SPDX-License-Identifier: Apache-2.0
// Which directories are logs, and which ones are near: for advice where somebody named a wrong one.
#ifndef JORN_TOOLS_NEAR_LOGS_H
#define JORN_TOOLS_NEAR_LOGS_H

#include <string>
#include <vector>

#include "log/store_directory.h"

namespace tool {

/// Whether anything in the directory bears the name of an index or of a data file, be it usable or not.
/// Throws Failure.
bool isLog(const StoreDirectory &directory);

/// The logs right below a directory, by paths that begin with `path`, sorted. What cannot be looked at is
/// none, and of a directory of very many names the first ones are looked at.
std::vector<std::string> logsIn(const std::string &path);

/// Gives up, as for an error of usage, when a directory is no log; with the logs that are in it or beside it.
void requireLog(const StoreDirectory &directory);

}  // namespace tool

#endif
