// SPDX-License-Identifier: Apache-2.0
#include <time.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <memory>

#include "commands/commands.h"
#include "health/ring_memory.h"
#include "options/filter_options.h"
#include "options/output_options.h"
#include "options/read_end.h"
#include "output/output.h"
#include "output/stats_report.h"
#include "terminal/terminal.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Tell what a log holds: files, levels and slots, items by day";

constexpr char kDetails[] =
    "Tells the ring's positions and files, the items by level and slot, and how they lie in time: by hour\n"
    "where they reach over less than three days, else by day. Filters choose the items that are counted;\n"
    "bytes are those of whole files. DIR is not changed in any way, and may be recorded into meanwhile.\n\n";

constexpr char kExamples[] =
    "\nExamples:\n"
    "  jorn stats DIR                       everything\n"
    "  jorn stats -p 0 --per day DIR        errors by day\n"
    "  jorn stats --disk-usage DIR          how much room it takes, and at most can take\n"
    "  jorn stats -o json DIR | jq '.levels'\n";

struct StatsOptions {
    FilterOptions filter;
    OutputOptions output;
    std::string per = "auto";
    bool hasDiskUsage = false;
};

Span chosenSpan(const std::string &per, const HourCounts &hours) {
    if (per == "auto") {
        return fittingSpan(hours);
    }
    return per == "hour" ? Span::Hour : Span::Day;
}

std::string report(const StatsOptions &options, const Question &question, const StatsAnswer &answer) {
    const bool isTerminal = isOutputTerminal();
    StatsStyle style;
    style.isUtc = options.filter.isUtc;
    style.isEscaped = options.output.isEscaped || isTerminal;
    style.isColored = isColored(options.output, isTerminal);
    style.hasDiskUsage = options.hasDiskUsage;
    style.bars = {static_cast<size_t>(terminalWidth(STDOUT_FILENO)), isLocaleUtf8()};
    return options.output.form == "json" ? jsonOf(question, answer, style) : textOf(question, answer, style);
}

int run(const StatsOptions &options) {
    const Question question = openLogQuestion(options.filter, onlyDirectory(options.filter), time(nullptr));
    ReadEnd end;
    StatsAnswer answer;
    answer.stats = readStable(question, &end, [&](const RingView &view, DamageLog *damage) {
        answer.disk = diskUsageOf(view.look().look());
        return statsOf(view, question.filter, damage);
    });
    const std::optional<int> remembered = RingMemory(question.directory).filesFor(answer.stats.ringSize);
    if (!question.ringSize && remembered) {
        answer.stats.ringSize = *remembered;
    }
    answer.stats.isRingSizeKnown = answer.stats.isRingSizeKnown || question.ringSize || remembered;
    answer.span = chosenSpan(options.per, answer.stats.hours);
    answer.buckets = bucketsOf(answer.stats.hours, answer.span, options.filter.isUtc);
    if (!options.filter.isQuiet) {
        Output output(pagerCommand(options.output));
        output.write(report(options, question, answer));
        output.finish();
    }
    return endReading(options.filter, question, end, answer.stats.span.items > 0);
}

}  // namespace

void addStatsCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = app->add_subcommand("stats", kBrief);
    const auto options = std::make_shared<StatsOptions>();
    addFilterOptions(command, &options->filter);
    addFormOption(command, &options->output, {"text", "json"});
    command->add_option("--per", options->per, "Items by hour, by day, or as it fits their times")
        ->type_name("SPAN")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "hour", "day"}));
    command->add_flag("--disk-usage", options->hasDiskUsage, "Tell the room that the log takes and can take");
    addItemOutputOptions(command, &options->output);
    command->footer(std::string(kDetails) + kFilterHelp + kExamples + readExitHelp());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
