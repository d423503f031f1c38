// SPDX-License-Identifier: Apache-2.0
// The options, common to all commands, that say which log is meant.
#ifndef JORN_TOOLS_LOG_OPTIONS_H
#define JORN_TOOLS_LOG_OPTIONS_H

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Adds DIR. `directory` must outlive the parsing.
void addDirectoryOption(CLI::App *command, std::string *directory);

/// Adds DIR, of which several may be given. `directories` must outlive the parsing.
CLI::Option *addDirectoriesOption(CLI::App *command, std::vector<std::string> *directories);

/// Refuses a minus and digits in place of a directory, as an option that is not known.
void refuseNumbers(CLI::Option *directory);

/// What --files means where the ring is to be judged or mended.
inline constexpr char kRingFilesMeaning[] =
    "Files in the ring, 2 to 90 (default: as in DIR/jorn.ring, else the fewest that DIR needs)";

/// Adds --files, the number of the ring's files. `files` must outlive the parsing.
void addFilesOption(CLI::App *command, std::optional<int> *files, const std::string &meaning);

}  // namespace tool

#endif
