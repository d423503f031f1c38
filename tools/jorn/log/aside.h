// SPDX-License-Identifier: Apache-2.0
// Directories in a log's own one that hold rings which were put aside.
#ifndef JORN_TOOLS_ASIDE_H
#define JORN_TOOLS_ASIDE_H

#include <time.h>

#include <string>
#include <vector>

#include "log/store_directory.h"

namespace tool {

/// "aside-20261122T101500Z"; from the second of that time on "aside-20261122T101500Z-2". Throws Failure where
/// the time cannot be told.
std::string asideName(time_t now, int number);

/// The same while files are still being moved there.
std::string unfinishedAsideName(const std::string &name);

/// The name that an unfinished one gets in the end.
std::string finishedAsideName(const std::string &unfinished);

struct Asides {
    std::vector<std::string> finished;
    std::vector<std::string> unfinished;
};

/// Those in a directory, sorted. Throws Failure.
Asides asidesIn(const StoreDirectory &directory);

}  // namespace tool

#endif
