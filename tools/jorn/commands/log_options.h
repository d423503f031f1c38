// SPDX-License-Identifier: Apache-2.0
// The options, common to all commands, that say which log is meant.
#ifndef JORN_TOOLS_LOG_OPTIONS_H
#define JORN_TOOLS_LOG_OPTIONS_H

#include <CLI/App.hpp>
#include <optional>
#include <string>

namespace tool {

/// Adds DIR. `directory` must outlive the parsing.
void addDirectoryOption(CLI::App *command, std::string *directory);

/// Adds --files, the number of the ring's files. `files` must outlive the parsing.
void addFilesOption(CLI::App *command, std::optional<int> *files, const std::string &meaning);

}  // namespace tool

#endif
