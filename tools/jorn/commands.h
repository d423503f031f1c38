// SPDX-License-Identifier: Apache-2.0
// The subcommands. Each adds itself to the command line, and runs when it was chosen.
#ifndef JORN_TOOLS_COMMANDS_H
#define JORN_TOOLS_COMMANDS_H

#include <CLI/App.hpp>

namespace tool {

void addRecordCommand(CLI::App *app);
void addShowCommand(CLI::App *app);
void addCountCommand(CLI::App *app);

}  // namespace tool

#endif
