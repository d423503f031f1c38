// SPDX-License-Identifier: Apache-2.0
// Kinds of options. A value that is none of its kind is refused in the tool's words, before the parser
// converts it.
#ifndef JORN_TOOLS_OPTION_KINDS_H
#define JORN_TOOLS_OPTION_KINDS_H

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

/// Returns what is wrong with a value; empty for nothing.
using ValueCheck = std::function<std::string(const std::string &)>;

/// A decimal number within limits.
ValueCheck numberBetween(int64_t least, int64_t most);

/// Adds an option whose value is such a number, `N` in help. `value` must outlive the parsing.
template <class Number>
CLI::Option *addNumberOption(CLI::App *command, const std::string &names, Number *value, int64_t least,
                             int64_t most, const std::string &meaning) {
    return command->add_option(names, *value, meaning)->type_name("N")->check(numberBetween(least, most));
}

/// Adds an option whose value is one of the choices, which follow its meaning in help. The value that it has
/// now is the default. `value` must outlive the parsing.
CLI::Option *addChoiceOption(CLI::App *command, const std::string &names, std::string *value,
                             const std::vector<std::string> &choices, const std::string &meaning);

}  // namespace tool

#endif
