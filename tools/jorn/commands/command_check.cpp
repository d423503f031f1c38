// SPDX-License-Identifier: Apache-2.0
#include <CLI/App.hpp>
#include <memory>

#include "commands/commands.h"
#include "diagnostics.h"
#include "health/diagnosis.h"
#include "health/ring_memory.h"
#include "options/log_options.h"
#include "options/output_options.h"
#include "output/output.h"
#include "system/failure.h"
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Look for damage, and change nothing", "jorn check [OPTION]... DIR\n",
    "  jorn check DIR\n"
    "  jorn check --files 10 DIR    a ring of 10 files: is there more than that?\n"
    "  jorn check -o json DIR       for a program\n",
    "A line is printed for each thing that is not as the store leaves it, with what to "
    "do about it: an error hides items or lets the next start destroy some, a warning "
    "is damage that the store lives with, a note is worth knowing.\n",
    "  0  sound, with notes at most\n"
    "  2  usage\n"
    "  3  damage was found\n"
    "  4  input or output failed\n"};

struct CheckOptions {
    std::string directory;
    std::optional<int> files;
    OutputOptions output;
};

void print(const CheckOptions &options, const std::vector<Finding> &findings, const FindingCounts &counts) {
    const bool isJson = options.output.form == "json";
    const bool isInColor = isColored(options.output, isOutputTerminal());
    Output output(pagerCommand(options.output));
    for (const Finding &finding : findings) {
        output.write(isJson ? formatFindingJson(options.directory, finding)
                            : formatFinding(options.directory, finding, isInColor));
    }
    output.write(isJson ? formatSummaryJson(options.directory, counts)
                        : formatSummary(options.directory, counts, isInColor));
    output.finish();
}

int check(const CheckOptions &options) {
    jorn_SetDebugPrintLevel(0);  // The module's parser prints on standard output.
    const StoreDirectory directory = StoreDirectory::openForReading(options.directory);
    const Diagnosis diagnosis = diagnose(directory, {hintedRingSize(directory, options.files), std::nullopt});
    const std::vector<Finding> findings = findingsOf(diagnosis);
    const FindingCounts counts = countFindings(findings);
    print(options, findings, counts);
    if (!diagnosis.unreadable.empty()) {
        throw Failure(options.directory + ": not every file could be read");
    }
    return counts.isSound() ? kExitDone : kExitDamage;
}

}  // namespace

void addCheckCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "check", kHelp);
    const auto options = std::make_shared<CheckOptions>();
    addDirectoryOption(command, &options->directory);
    beginGroup(command, "What is checked");
    addFilesOption(command, &options->files, kRingFilesMeaning);
    addFormOption(command, &options->output, {"text", "json"});
    addTerminalOptions(command, &options->output);
    command->callback([options, exitCode] { *exitCode = check(*options); });
}

}  // namespace tool
