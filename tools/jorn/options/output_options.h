// SPDX-License-Identifier: Apache-2.0
// The options of the reading commands that say how the answer is printed.
#ifndef JORN_TOOLS_OUTPUT_OPTIONS_H
#define JORN_TOOLS_OUTPUT_OPTIONS_H

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace tool {

/// As given on the command line.
struct OutputOptions {
    std::string form = "text";
    std::string color = "auto";
    bool isPagerOff = false;
    bool isEscaped = false;
};

/// Adds -o with the command's forms; the first one is the default.
void addFormOption(CLI::App *command, OutputOptions *options, const std::vector<std::string> &forms);

/// Adds --color and --no-pager.
void addTerminalOptions(CLI::App *command, OutputOptions *options);

/// Adds these and --escape, for commands that print items.
void addItemOutputOptions(CLI::App *command, OutputOptions *options);

/// Whether to colour what goes to a terminal or, if `isTerminal` is false, elsewhere. NO_COLOR and a TERM
/// that is "dumb" or missing count for "auto" only.
bool isColored(const OutputOptions &options, bool isTerminal);

/// The pager's command line: JORN_PAGER, PAGER, or "less -FRX" where there is one; empty for none. An empty
/// variable and "cat" mean none, and so does a TERM that is "dumb" or missing.
std::string pagerCommand(const OutputOptions &options);

}  // namespace tool

#endif
