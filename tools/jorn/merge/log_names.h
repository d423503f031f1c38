// SPDX-License-Identifier: Apache-2.0
// Names of logs that are shown or exported together.
#ifndef JORN_TOOLS_LOG_NAMES_H
#define JORN_TOOLS_LOG_NAMES_H

#include <string>
#include <vector>

namespace tool {

/// The name of the directory that a path leads to, UTF-8 without control characters; "log" for the root.
std::string logNameOf(const std::string &directory);

/// The same for its parent directory.
std::string parentNameOf(const std::string &directory);

/// Refuses directories of which two are the same one, by whatever paths. What is not there yet is known by
/// its path. Throws Failure.
void refuseSameDirectory(const std::vector<std::string> &directories);

/// The names of different directories. Where several have the same name, each is preceded by as many of its
/// parent directories as make them distinct: "unit1/door" and "unit2/door". Their order does not matter.
std::vector<std::string> distinctLogNames(const std::vector<std::string> &directories);

}  // namespace tool

#endif
