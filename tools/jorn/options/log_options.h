// SPDX-License-Identifier: Apache-2.0
// The options, common to all commands, that say which log is meant.
#ifndef JORN_TOOLS_LOG_OPTIONS_H
#define JORN_TOOLS_LOG_OPTIONS_H

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <CLI/Option.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Adds DIR. `directory` must outlive the parsing.
void addDirectoryOption(CLI::App *command, std::string *directory);

/// Adds DIR, of which several may be given. `directories` must outlive the parsing.
void addDirectoriesOption(CLI::App *command, std::vector<std::string> *directories);

/// A minus and digits, which the parser does not take for an option.
inline bool isNumericOption(const std::string &word) {
    return word.size() > 1 && word[0] == '-' && word.find_first_not_of("0123456789", 1) == std::string::npos;
}

/// The code of an error of the parser's whose text is an option that is not known.
inline constexpr CLI::ExitCodes kUnknownOption = CLI::ExitCodes::InvalidError;

/// Refuses such a word in place of a directory, with that code.
void refuseNumbers(CLI::Option *directory);

/// Adds --files, the number of the ring's files. `files` must outlive the parsing.
void addFilesOption(CLI::App *command, std::optional<int> *files, const std::string &meaning);

}  // namespace tool

#endif
