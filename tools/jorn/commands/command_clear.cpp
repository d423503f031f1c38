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
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Put all items of a log out of view", "jorn clear [OPTION]... DIR\n",
    "  jorn clear DIR            clear, after asking\n"
    "  jorn clear --yes DIR      clear without asking\n",
    "The log continues in the file after the newest one, as when a device clears it, and "
    "begins with the item \"Log all cleared!\". In a ring that has wrapped, that file "
    "holds the oldest items, which are then lost. All other items stay in their files "
    "until the ring reaches them.\n"
    "jorn repair --yes --oldest A --latest B DIR brings back what is still in the files.\n",
    "  0  done, or nothing to clear\n"
    "  2  usage error, or not confirmed\n"
    "  3  damage was found; nothing was changed\n"
    "  4  input or output failed, or DIR is in use by a recorder\n"};

struct ClearOptions {
    std::string directory;
    std::optional<int> files;
    OutputOptions output;
    bool isMeant = false;
};

std::string itemsText(uint64_t count) { return counted(count, "item", "items"); }

/// Asks the user unless --yes was given. Throws Failure when there is no user to ask.
bool isWanted(const ClearOptions &options, const ClearingPlan &plan) {
    if (options.isMeant) {
        return true;
    }
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        refuse(options.directory + ": nothing was changed; --yes clears it without asking");
    }
    // Written in one piece, since the answer may be typed while the question is being written.
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
    CLI::App *const command = addCommand(app, "clear", kHelp);
    const auto options = std::make_shared<ClearOptions>();
    addDirectoryOption(command, &options->directory);
    beginGroup(command, "What is done");
    command->add_flag("--yes", options->isMeant, "Do not ask");
    addFilesOption(command, &options->files, "Files in the ring, 2 to 90, if DIR does not show it");
    addFormOption(command, &options->output, {"text", "json"});
    command->callback([options, exitCode] { *exitCode = clear(*options); });
}

}  // namespace tool
