// SPDX-License-Identifier: Apache-2.0
#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "commands/commands.h"
#include "diagnostics.h"
#include "health/diagnosis.h"
#include "health/ring_memory.h"
#include "merge/log_names.h"
#include "options/log_options.h"
#include "options/log_set.h"
#include "options/output_options.h"
#include "output/output.h"
#include "system/failure.h"
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Check logs for damage, without changing anything", "jorn check [OPTION]... DIR...\n",
    "  jorn check DIR\n"
    "  jorn check --files 10 DIR    a ring of 10 files: are there any more?\n"
    "  jorn check -o json DIR       for programs\n",
    "Each line names something that is not as the store leaves it, and says what to do about it. An error "
    "hides items, or lets the next start destroy some; a warning is damage that the store can live with; a "
    "note is only worth knowing.\n",
    "  0  sound; there may be notes\n"
    "  2  usage error\n"
    "  3  damage was found\n"
    "  4  input or output failed\n"};

struct CheckOptions {
    std::vector<std::string> directories;
    std::optional<int> files;
    OutputOptions output;
};

/// What was found in a log.
struct Checked {
    std::vector<Finding> findings;
    FindingCounts counts;
    bool isReadWhole = true;
};

Checked checkLog(const CheckOptions &options, const std::string &path) {
    const StoreDirectory directory = StoreDirectory::openForReading(path);
    const Diagnosis diagnosis = diagnose(directory, {hintedRingSize(directory, options.files), std::nullopt});
    Checked checked;
    checked.findings = findingsOf(diagnosis);
    checked.counts = countFindings(checked.findings);
    checked.isReadWhole = diagnosis.unreadable.empty();
    return checked;
}

/// Prints what was found, log by log.
class CheckReport {
public:
    explicit CheckReport(const CheckOptions &options)
        : isJson_(options.output.form == "json"),
          isInColor_(isColored(options.output, isOutputTerminal())),
          output_(pagerCommand(options.output)) {}

    void add(const std::string &directory, const Checked &checked) {
        for (const Finding &finding : checked.findings) {
            output_.write(isJson_ ? formatFindingJson(directory, finding)
                                  : formatFinding(directory, finding, isInColor_));
        }
        output_.write(isJson_ ? formatSummaryJson(directory, checked.counts)
                              : formatSummary(directory, checked.counts, isInColor_));
        ++(checked.counts.isSound() ? sound_ : damaged_);
    }

    void addTotal(size_t logs) {
        const size_t unread = logs - sound_ - damaged_;
        if (isJson_) {
            output_.write(onOneLine({{"type", "total"},
                                     {"logs", logs},
                                     {"sound", sound_},
                                     {"damaged", damaged_},
                                     {"unread", unread}}));
            return;
        }
        output_.write(std::to_string(logs) + " logs: " + std::to_string(sound_) + " sound, " +
                      std::to_string(damaged_) + " damaged" +
                      (unread > 0 ? ", " + std::to_string(unread) + " not read" : "") + "\n");
    }

    void finish() { output_.finish(); }

private:
    const bool isJson_;
    const bool isInColor_;
    Output output_;
    size_t sound_ = 0;
    size_t damaged_ = 0;
};

int check(const CheckOptions &options) {
    jorn_SetDebugPrintLevel(0);  // The module's parser prints on standard output.
    const bool isSeveral = options.directories.size() > 1;
    refuseSameDirectory(options.directories);
    CheckReport report(options);
    std::vector<std::string> partlyRead;
    int exitCode = kExitDone;
    for (const std::string &directory : options.directories) {
        Checked checked;
        const int opening = readOneOf(isSeveral, [&] {
            checked = checkLog(options, directory);
            return kExitDone;
        });
        exitCode = std::max(exitCode, opening);
        if (opening != kExitDone) {
            continue;
        }
        report.add(directory, checked);
        exitCode = std::max(exitCode, checked.counts.isSound() ? kExitDone : kExitDamage);
        if (!checked.isReadWhole) {
            partlyRead.push_back(directory);
            exitCode = kExitInputOutput;
        }
    }
    if (isSeveral) {
        report.addTotal(options.directories.size());
    }
    report.finish();
    for (const std::string &directory : partlyRead) {
        printMessage(directory + ": not every file could be read");
    }
    return exitCode;
}

}  // namespace

void addCheckCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "check", kHelp);
    const auto options = std::make_shared<CheckOptions>();
    addDirectoriesOption(command, &options->directories);
    beginGroup(command, "What is checked");
    addFilesOption(command, &options->files, kRingFilesMeaning);
    addFormOption(command, &options->output, {"text", "json"});
    addTerminalOptions(command, &options->output);
    command->callback([options, exitCode] { *exitCode = check(*options); });
}

}  // namespace tool
