// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/commands.h"
#include "diagnostics.h"
#include "health/diagnosis.h"
#include "health/finding.h"
#include "health/repair_plan.h"
#include "health/ring_memory.h"
#include "jorn.h"
#include "options/log_options.h"
#include "options/output_options.h"
#include "output/output.h"
#include "repair/directory_rebuild.h"
#include "system/failure.h"
#include "terminal/color.h"
#include "terminal/escape.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Bring every item of a damaged log back into view", "jorn repair [OPTION]... DIR\n",
    "  jorn repair DIR          print what would be done\n"
    "  jorn repair --yes DIR    do it\n"
    "  jorn repair --files 10 --oldest 4 --latest 3 --yes DIR\n",
    "The order of the files is found from the index, its backup and the items. No item "
    "is deleted, and the original log is kept as DIR.bak-TIME. Where the evidence "
    "contradicts itself, nothing is changed until --oldest and --latest give the order.\n",
    "  0  repaired, or nothing to repair\n"
    "  2  usage error\n"
    "  3  not repaired: --yes, or options that settle the order, are missing\n"
    "  4  input or output failed\n"};

struct RepairOptions {
    std::string directory;
    std::string backup;
    std::optional<int> files;
    std::optional<int> oldest;
    std::optional<int> latest;
    bool isMeant = false;
    OutputOptions output;
};

RingHints hintsOf(const StoreDirectory &directory, const RepairOptions &options) {
    RingHints hints{hintedRingSize(directory, options.files), std::nullopt};
    if (options.oldest && options.latest) {
        hints.range = IndexPositions{*options.oldest, *options.latest};
    }
    return hints;
}

std::string formatStep(const RepairOptions &options, const std::string &step) {
    if (options.output.form == "json") {
        return onOneLine({{"type", "step"}, {"directory", options.directory}, {"what", step}});
    }
    return escaped(options.directory) + ": " + step + "\n";
}

/// The result; in the text form, only what the steps do not show.
std::string formatResult(const RepairOptions &options, const RepairPlan &plan, const std::string &backup) {
    const bool isDone = !backup.empty();
    if (options.output.form == "json") {
        nlohmann::ordered_json summary = {{"type", "summary"},
                                          {"directory", options.directory},
                                          {"steps", plan.steps.size()},
                                          {"repaired", isDone}};
        if (isDone) {
            summary["backup"] = backup;
        }
        return onOneLine(summary);
    }
    const std::string text = isDone             ? "repaired; the original is in " + escaped(backup)
                             : plan.isNothing() ? "nothing to do"
                                                : "";
    if (text.empty()) {
        return "";
    }
    const bool isInColor = isColored(options.output, isOutputTerminal());
    return escaped(options.directory) + ": " + (isInColor ? colored(text, kGood) : text) + "\n";
}

void print(const std::string &text, const std::string &pager) {
    Output output(pager);
    output.write(text);
    output.finish();
}

/// Prints what is or would be done, and with `isEnd`, where nothing is done, the result.
void printPlan(const RepairOptions &options, const RepairPlan &plan, bool isEnd) {
    std::string text;
    for (const std::string &step : plan.steps) {
        text += formatStep(options, step);
    }
    text += isEnd ? formatResult(options, plan, "") : "";
    // A repair must not wait for the user of a pager.
    print(text, isEnd ? pagerCommand(options.output) : "");
}

/// Whether a directory is the working directory of the process, and so of the shell that started it here.
bool isWorkingDirectory(const StoreDirectory &directory) {
    struct stat here = {};
    struct stat there = {};
    return stat(".", &here) == 0 && fstat(directory.descriptor(), &there) == 0 &&
           here.st_dev == there.st_dev && here.st_ino == there.st_ino;
}

int repair(const RepairOptions &options) {
    jorn_SetDebugPrintLevel(0);  // The module's parser prints on standard output.
    const StoreDirectory directory = StoreDirectory::openForRepair(options.directory);
    const Diagnosis diagnosis = diagnose(directory, hintsOf(directory, options));
    const RepairPlan plan = planRepair(directory, diagnosis);
    printPlan(options, plan, plan.isNothing() || !options.isMeant);
    if (plan.isNothing()) {
        return kExitDone;
    }
    if (!options.isMeant) {
        printMessage("nothing was changed; --yes makes these changes");
        return kExitDamage;
    }
    RebuildOptions rebuild;
    rebuild.backup = options.backup.empty() ? defaultBackupPath(options.directory) : options.backup;
    // The exchange makes "." the backup, and the opened directory too.
    const std::string log = std::filesystem::canonical(options.directory).string();
    rebuildDirectory(directory, diagnosis, plan, rebuild);
    print(formatResult(options, plan, rebuild.backup), "");
    if (isWorkingDirectory(directory)) {
        printMessage("the working directory is now the backup; the repaired log is in " + log +
                     ": cd there again");
    }
    return kExitDone;
}

void addPositionOptions(CLI::App *command, RepairOptions *options) {
    constexpr int kMost = JORN_CSV_NUM_MAX - 1;
    CLI::Option *const oldest = addNumberOption(command, "--oldest", &options->oldest, 0, kMost,
                                                "Number of the file with the oldest items");
    CLI::Option *const latest = addNumberOption(command, "--latest", &options->latest, 0, kMost,
                                                "Number of the file with the newest items");
    oldest->needs(latest);
    latest->needs(oldest);
}

}  // namespace

void addRepairCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "repair", kHelp);
    const auto options = std::make_shared<RepairOptions>();
    addDirectoryOption(command, &options->directory);
    beginGroup(command, "What is done");
    command->add_flag("--yes", options->isMeant, "Make the changes");
    command->add_option("--backup", options->backup, "Where to keep the original log, on DIR's file system")
        ->type_name("PATH");
    addFilesOption(command, &options->files, kRingFilesMeaning);
    addPositionOptions(command, options.get());
    addFormOption(command, &options->output, {"text", "json"});
    addTerminalOptions(command, &options->output);
    command->callback([options, exitCode] { *exitCode = repair(*options); });
}

}  // namespace tool
