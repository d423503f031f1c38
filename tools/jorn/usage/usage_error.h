// SPDX-License-Identifier: Apache-2.0
// What is wrong with a command line, in words of the tool instead of the parser's.
#ifndef JORN_TOOLS_USAGE_ERROR_H
#define JORN_TOOLS_USAGE_ERROR_H

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <string>
#include <vector>

namespace tool {

/// A minus and digits, which the parser does not take for an option.
inline bool isNumericOption(const std::string &word) {
    return word.size() > 1 && word[0] == '-' && word.find_first_not_of("0123456789", 1) == std::string::npos;
}

/// The code of an error of the parser's whose text is an option that is not known.
inline constexpr CLI::ExitCodes kUnknownOption = CLI::ExitCodes::InvalidError;

/// Names a word that should have been one of the commands, with the likeliest one.
std::string unknownCommand(const std::string &word, const std::vector<std::string> &commands);

/// What is wrong with the words that `app` could not parse.
std::string problemOf(const CLI::App &app, const CLI::ParseError &error);

/// Makes the parser refuse what it would take: an empty value, since an unset variable in a script must not
/// silently drop a filter or change the target, and a value for a flag. Only a pattern may be empty: every
/// text matches it.
void refuseDoubtfulValues(CLI::App *app);

}  // namespace tool

#endif
