// SPDX-License-Identifier: Apache-2.0
// What --help prints: usage, examples, options by purpose, notes, exit codes, in at most 80 columns. The
// manual page and the completions are made of it.
#ifndef JORN_TOOLS_HELP_H
#define JORN_TOOLS_HELP_H

#include <CLI/App.hpp>
#include <string>

namespace tool {

/// The parts of a help text that are written by hand. All but the brief end with a line end, or are empty.
struct HelpText {
    const char *brief;             ///< One line without a full stop.
    const char *usage;             ///< Lines, each from the tool's name on.
    const char *examples;          ///< Lines, indented.
    const char *notes;             ///< A paragraph a line, of any length.
    const char *exitCodes;         ///< Lines, indented: number and meaning.
    const char *sharedNotes = "";  ///< Notes that other commands have as well.
};

/// Makes `app` print this help.
void setHelp(CLI::App *app, const HelpText &text);

/// Adds a subcommand with this help.
CLI::App *addCommand(CLI::App *app, const std::string &name, const HelpText &text);

/// What options are for. Help shows the groups in the order in which they are begun, the last one at the end.
inline constexpr char kItemsGroup[] = "Which items";
inline constexpr char kFormGroup[] = "Form of the output";
inline constexpr char kOtherGroup[] = "Other";

/// Options that are added from now on belong to this group.
void beginGroup(CLI::App *command, const std::string &title);

}  // namespace tool

#endif
