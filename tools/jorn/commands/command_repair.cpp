// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
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

namespace tool {
namespace {

constexpr char kBrief[] = "Bring every item of a damaged log back into view";

constexpr char kDetails[] =
    "Finds the ring's oldest and newest file from the index, its backup or the items themselves,\n"
    "closes gaps, takes out what hides items, and writes the index anew. No item is ever deleted.\n"
    "Prints what it would do, and does it only with --yes. Then the log as it was is kept as\n"
    "DIR.bak-TIME beside DIR or where --backup tells; for each file that lost lines, torn-N.txt in\n"
    "it lists them. DIR and DIR.bak-TIME change places at one stroke, when all else is done: a cut\n"
    "of the power leaves DIR as it was, or repaired. Nothing is changed where the evidence\n"
    "contradicts itself, unless --oldest and --latest tell the ring. With -o json each line is one\n"
    "JSON object with the keys type (\"step\" or \"summary\"), directory and what, or directory, steps,\n"
    "repaired and, when that is true, backup.\n\n"
    "Examples:\n"
    "  jorn repair DIR                        what would be done\n"
    "  jorn repair --yes DIR                  do it\n"
    "  jorn repair --files 10 --oldest 4 --latest 3 --yes DIR\n"
    "Exit codes: 0 nothing to do, or done; 2 usage; 3 something to do, or nothing that can be done\n"
    "without more options; 4 input or output failed.";

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

/// How it ended; as text, only what the steps do not show.
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
    // Afterwards "." is the backup, and so is what was opened.
    const std::string log = std::filesystem::canonical(options.directory).string();
    rebuildDirectory(directory, diagnosis, plan, rebuild);
    print(formatResult(options, plan, rebuild.backup), "");
    if (isWorkingDirectory(directory)) {
        printMessage("the working directory is now the backup; the repaired log is in " + log +
                     ": cd there again");
    }
    return kExitDone;
}

void addPosition(CLI::App *command, const std::string &name, std::optional<int> *position,
                 const std::string &meaning) {
    command->add_option(name, *position, meaning)->type_name("N")->check(CLI::Range(0, JORN_CSV_NUM_MAX - 1));
}

}  // namespace

void addRepairCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = app->add_subcommand("repair", kBrief);
    const auto options = std::make_shared<RepairOptions>();
    addDirectoryOption(command, &options->directory);
    command->add_flag("--yes", options->isMeant, "Do it");
    command->add_option("--backup", options->backup, "Keep the log as it was here; on the same medium as DIR")
        ->type_name("PATH");
    addFilesOption(
        command, &options->files,
        "Files of the ring, 2 to 90; default: those that DIR/jorn.ring says, else the least that DIR needs");
    addPosition(command, "--oldest", &options->oldest, "Number of the file with the oldest items");
    addPosition(command, "--latest", &options->latest, "Number of the file with the newest items");
    command->get_option("--oldest")->needs("--latest");
    command->get_option("--latest")->needs("--oldest");
    addFormOption(command, &options->output, {"text", "json"});
    addTerminalOptions(command, &options->output);
    command->footer(kDetails);
    command->callback([options, exitCode] { *exitCode = repair(*options); });
}

}  // namespace tool
