// SPDX-License-Identifier: Apache-2.0
// Names of the directories within a log's own that hold rings which were put aside.
#ifndef JORN_TOOLS_ASIDE_H
#define JORN_TOOLS_ASIDE_H

#include <time.h>

#include <string>

namespace tool {

/// "aside-20261122T101500Z"; the second one of the same time is "aside-20261122T101500Z-2". Throws Failure
/// when the time is not available.
std::string asideName(time_t now, int number);

/// The same, while files are still being moved there.
std::string unfinishedAsideName(const std::string &name);

/// The name that an unfinished one gets once it is complete.
std::string finishedAsideName(const std::string &unfinished);

/// Whether a name has either form.
bool isAsideName(const std::string &name);
bool isUnfinishedAsideName(const std::string &name);

}  // namespace tool

#endif
