// SPDX-License-Identifier: Apache-2.0
#include <CLI/App.hpp>
#include <memory>

#include "commands/commands.h"
#include "commands/live_printing.h"
#include "options/item_output.h"
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Print new items as they arrive",
    "jorn follow [OPTION]... DIR...\n",
    "  jorn follow DIR                    the newest 10 items, then new ones\n"
    "  jorn follow -n 0 -p 1 DIR          only new errors and warnings\n"
    "  jorn follow -n 0 -q -g ready DIR   wait until an item says \"ready\"\n",
    "It continues around the ring, and through clearing and repair, until SIGINT, SIGTERM or "
    "SIGHUP, until nobody reads its output, or until the time of --until. It waits for "
    "a DIR that does not exist yet. With -q it ends at the first match.\n"
    "Each time it looks, the new items of several logs are merged by time.\n",
    "  0  stopped; with -q, a match was found\n"
    "  1  no match until --until, with -g or -q; with -q also when stopped before one\n"
    "  2  usage error\n"
    "  3  damage was found: see jorn check\n"
    "  4  input or output failed\n",
    kFilterNotes};

}  // namespace

void addFollowCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "follow", kHelp);
    const auto options = std::make_shared<LivePrintingOptions>();
    addFilterOptions(command, &options->filter);
    addNewestOption(command, &options->newest, "Start with the newest N, or all (default: 10)");
    addContextOptions(command, &options->context);
    beginGroup(command, kOtherGroup);
    addPollOption(command, &options->isPolling, "Look twice a second instead of waiting for events");
    addFormOption(command, &options->output, itemFormNames());
    addNotationOptions(command, &options->filter);
    addItemOutputOptions(command, &options->output);
    command->callback([options, exitCode] { *exitCode = printLive(*options); });
}

}  // namespace tool
