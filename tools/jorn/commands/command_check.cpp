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

namespace tool {
namespace {

constexpr char kBrief[] = "Look for damage, and change nothing";

constexpr char kDetails[] =
    "Prints a line for each thing that is not as the store leaves it: DIR/FILE:OFFSET, severity,\n"
    "what was found, what to do; then a summary. An error means that items are out of sight or that\n"
    "the store's next start would destroy some, a warning is damage that the store lives with, a\n"
    "note is worth knowing. DIR may be recorded into at the same moment; it is read again until it\n"
    "holds still. With -o json each line is one JSON object with the keys type (\"finding\" or\n"
    "\"summary\"), directory, file, offset, severity, code, what and advice, or directory, sound,\n"
    "errors, warnings and notes.\n\n"
    "Examples:\n"
    "  jorn check DIR\n"
    "  jorn check --files 10 DIR     a ring of 10 files: also what lies beyond it is told\n"
    "Exit codes: 0 sound, with notes at most; 2 usage; 3 damage found; 4 input or output failed.";

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
    CLI::App *const command = app->add_subcommand("check", kBrief);
    const auto options = std::make_shared<CheckOptions>();
    addDirectoryOption(command, &options->directory);
    addFilesOption(
        command, &options->files,
        "Files of the ring, 2 to 90; default: those that DIR/jorn.ring says, else the least that DIR needs");
    addFormOption(command, &options->output, {"text", "json"});
    addTerminalOptions(command, &options->output);
    command->footer(kDetails);
    command->callback([options, exitCode] { *exitCode = check(*options); });
}

}  // namespace tool
