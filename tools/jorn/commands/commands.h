// SPDX-License-Identifier: Apache-2.0
// The subcommands. Each adds itself to the command line, and runs when it was chosen. A command with an
// outcome other than "done" or a Failure sets the exit code.
#ifndef JORN_TOOLS_COMMANDS_H
#define JORN_TOOLS_COMMANDS_H

#include <CLI/App.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tool {

void addClearCommand(CLI::App *app, int *exitCode);

/// `command` is the command to run, all that follows "--", which the parser does not see; nothing without
/// "--".
void addRecordCommand(CLI::App *app, int *exitCode, const std::optional<std::vector<std::string>> &command);

void addShowCommand(CLI::App *app, int *exitCode);
void addFollowCommand(CLI::App *app, int *exitCode);
void addCountCommand(CLI::App *app, int *exitCode);
void addLogsCommand(CLI::App *app, int *exitCode);
void addStatsCommand(CLI::App *app, int *exitCode);
void addExportCommand(CLI::App *app, int *exitCode);
void addCheckCommand(CLI::App *app, int *exitCode);
void addRepairCommand(CLI::App *app, int *exitCode);
void addServeCommand(CLI::App *app, int *exitCode);

}  // namespace tool

#endif
