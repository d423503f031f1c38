// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/commands.h"
#include "health/finding.h"
#include "options/log_options.h"
#include "options/output_options.h"
#include "output/output.h"
#include "record/clearing.h"
#include "system/failure.h"
#include "terminal/counted.h"
#include "terminal/escape.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Put all items of a log out of view";

constexpr char kDetails[] =
    "Does what the store does when it is told to clear a log: the log goes on with the file behind the "
    "newest,\n"
    "which begins with the item \"Log all cleared!\" of the debug level 3. No file is deleted. Where the\n"
    "ring has come round, that file is the one with the oldest items, which are gone then; the other files\n"
    "stay until the ring comes to them, and jorn repair --yes --oldest A --latest B DIR brings their\n"
    "items back into view. On a terminal it asks first; elsewhere --yes is needed. A log that is being\n"
    "recorded into is refused; a damaged one needs jorn repair first.\n\n"
    "Examples:\n"
    "  jorn clear DIR                  asks\n"
    "  jorn clear --yes DIR            does not\n"
    "  jorn clear --yes -o json DIR    tells the result to a program\n"
    "Exit codes: 0 done, or nothing to clear; 2 usage, or not wanted; 3 damage found, nothing changed;\n"
    "4 input or output failed, or a recorder has DIR.";

struct ClearOptions {
    std::string directory;
    std::optional<int> files;
    OutputOptions output;
    bool isMeant = false;
};

std::string itemsText(uint64_t count) { return counted(count, "item", "items"); }

/// Whether the user wants it. Throws Failure where there is no user to ask.
bool isWanted(const ClearOptions &options, const ClearingPlan &plan) {
    if (options.isMeant) {
        return true;
    }
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        refuse(options.directory + ": nothing was changed; --yes clears it without asking");
    }
    // In one piece, as the answer may be typed while it is being written.
    std::cerr << "Clear " + itemsText(plan.items) + " of " + escaped(options.directory) + "? [y/N] ";
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

std::string resultText(const ClearOptions &options, const ClearingPlan &plan) {
    const std::string name = escaped(options.directory);
    if (plan.isNothing()) {
        return name + ": nothing to clear\n";
    }
    const uint64_t left = plan.items - plan.overwritten;
    std::string text = name + ": " + itemsText(plan.items) + " out of view";
    if (plan.overwritten > 0) {
        text += ", " + std::to_string(plan.overwritten) + " overwritten in " + dataFileName(plan.target);
    }
    if (left > 0) {
        text += ", " + std::to_string(left) + " still in the files until the ring reaches them";
    }
    return text + "\n";
}

std::string resultJson(const ClearOptions &options, const ClearingPlan &plan) {
    using Json = nlohmann::ordered_json;
    Json object = {
        {"directory", options.directory}, {"cleared", plan.items}, {"overwritten", plan.overwritten}};
    if (!plan.isNothing()) {
        object["former"] = Json{{"oldest", plan.former.oldest}, {"latest", plan.former.latest}};
        object["file"] = dataFileName(plan.target);
    }
    return onOneLine(object);
}

int clear(const ClearOptions &options) {
    signal(SIGXFSZ, SIG_IGN);  // A write that fails must return an error that can be reported.
    const StoreDirectory directory = StoreDirectory::openForRepair(options.directory);
    const ClearingPlan plan = planClearing(directory, options.files);
    if (!plan.note.empty()) {
        printMessage(plan.note);
    }
    if (!plan.isNothing()) {
        directory.requireWritable();
        if (!isWanted(options, plan)) {
            refuse(options.directory + ": nothing was changed");
        }
        clearLog(directory, plan, static_cast<uint32_t>(time(nullptr)));
    }
    Output output;
    output.write(options.output.form == "json" ? resultJson(options, plan) : resultText(options, plan));
    output.finish();
    return kExitDone;
}

}  // namespace

void addClearCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = app->add_subcommand("clear", kBrief);
    const auto options = std::make_shared<ClearOptions>();
    addDirectoryOption(command, &options->directory);
    command->add_flag("--yes", options->isMeant, "Do not ask");
    addFilesOption(command, &options->files,
                   "Files of the ring, where the directory does not tell: 2 to 90; default: as for record");
    addFormOption(command, &options->output, {"text", "json"});
    command->footer(kDetails);
    command->callback([options, exitCode] { *exitCode = clear(*options); });
}

}  // namespace tool
