// SPDX-License-Identifier: Apache-2.0
#include <CLI/App.hpp>
#include <memory>

#include "commands/commands.h"
#include "commands/live_printing.h"
#include "options/item_output.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Print items as they come";

constexpr char kDetails[] =
    "Prints the last 10 items that match, the oldest first, and then each new one as soon as it is in the\n"
    "files, until SIGINT, SIGTERM or SIGHUP comes or nobody reads its output any more. It follows the log\n"
    "around the ring, through clearing and repair, and waits for a DIR that is not there yet; of such a\n"
    "one all items are new. Where the writer has come round before a file was read, a note tells how many\n"
    "files were passed. With --until it ends when that time has passed. With -q it prints nothing, and\n"
    "ends at the first match. Changes are told by the system; on network and FUSE file systems, and with\n"
    "--poll, it looks twice a second. DIR is not changed in any way.\n\n";

constexpr char kExamples[] =
    "\nExamples:\n"
    "  jorn follow DIR                      what is going on\n"
    "  jorn follow -n 0 -p 1 DIR            new items of levels 0 and 1 only\n"
    "  jorn follow -n all -o json DIR       everything, into another program\n"
    "  jorn follow -n 0 -q -g ready DIR     wait until a text with \"ready\" comes\n"
    "Exit codes: 0 stopped, or a match came that -q waited for; 1 no match until --until, when -g or -q\n"
    "asked, or until it was stopped, with -q; 2 usage; 3 damage was found; 4 input or output failed.";

}  // namespace

void addFollowCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = app->add_subcommand("follow", kBrief);
    const auto options = std::make_shared<LivePrintingOptions>();
    addFilterOptions(command, &options->filter);
    addNewestOption(command, &options->newest,
                    "Begin with the newest N items that match, or all; default: 10");
    addPollOption(command, &options->isPolling);
    addContextOptions(command, &options->context);
    addFormOption(command, &options->output, itemFormNames());
    addItemOutputOptions(command, &options->output);
    command->footer(std::string(kDetails) + kFilterHelp + kExamples);
    command->callback([options, exitCode] { *exitCode = printLive(*options); });
}

}  // namespace tool
