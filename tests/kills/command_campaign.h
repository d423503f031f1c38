// SPDX-License-Identifier: Apache-2.0
// Kills the commands that write, at each of their changes, and checks what is left and what the next commands
// make of it.
#ifndef JORN_TESTS_KILLS_COMMAND_CAMPAIGN_H
#define JORN_TESTS_KILLS_COMMAND_CAMPAIGN_H

#include <string>
#include <vector>

namespace test {

struct CommandRow {
    std::string command;
    size_t kills = 0;
    size_t untouched =
        0;  ///< What was there before the run is still there, and nothing else under a lasting name.
    size_t done = 0;       ///< All that the command was to do.
    size_t leftovers = 0;  ///< Kills that left a temporary name.
    std::vector<std::string> faults;
};

/// `clear`, `export --to` and `repair --yes`. With a step of n, only every n-th moment.
std::vector<CommandRow> runCommandCampaign(size_t step = 1);

std::string commandTable(const std::vector<CommandRow> &rows);

}  // namespace test

#endif
