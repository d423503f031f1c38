// SPDX-License-Identifier: Apache-2.0
#include <time.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <vector>

#include "commands/commands.h"
#include "health/ring_memory.h"
#include "options/filter_options.h"
#include "options/log_set.h"
#include "options/output_options.h"
#include "options/read_end.h"
#include "output/output.h"
#include "output/stats_report.h"
#include "terminal/terminal.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {"Summarise a log: its files, items by level and slot, items by day",
                            "jorn stats [OPTION]... DIR...\n",
                            "  jorn stats DIR                    everything\n"
                            "  jorn stats -p 0 --per day DIR     errors by day\n"
                            "  jorn stats -o json DIR | jq .levels\n",
                            "Filters choose the items that are counted; bytes are those of whole files. "
                            "Several logs are summarised one by one, and then together.\n",
                            kReadExitCodes,
                            kFilterNotes};

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

StatsStyle styleOf(const StatsOptions &options) {
    const bool isTerminal = isOutputTerminal();
    StatsStyle style;
    style.isUtc = options.filter.isUtc;
    style.isEscaped = options.output.isEscaped || isTerminal;
    style.isColored = isColored(options.output, isTerminal);
    style.hasDiskUsage = options.hasDiskUsage;
    style.bars = {static_cast<size_t>(terminalWidth(STDOUT_FILENO)), isLocaleUtf8()};
    return style;
}

std::string report(const StatsOptions &options, const StatsSubject &subject, const StatsAnswer &answer) {
    const StatsStyle style = styleOf(options);
    return options.output.form == "json" ? jsonOf(subject, answer, style) : textOf(subject, answer, style);
}

void setBuckets(const StatsOptions &options, StatsAnswer *answer) {
    answer->span = chosenSpan(options.per, answer->stats.hours);
    answer->buckets = bucketsOf(answer->stats.hours, answer->span, options.filter.isUtc);
}

StatsAnswer answerOf(const StatsOptions &options, const Question &question, ReadEnd *end) {
    StatsAnswer answer;
    answer.stats = readStable(question, end, [&](const RingView &view, DamageLog *damage) {
        answer.disk = diskUsageOf(view.look().look());
        return statsOf(view, question.filter, damage);
    });
    const std::optional<int> remembered = RingMemory(question.directory).filesFor(answer.stats.ringSize);
    if (!question.ringSize && remembered) {
        answer.stats.ringSize = *remembered;
    }
    answer.stats.isRingSizeKnown = answer.stats.isRingSizeKnown || question.ringSize || remembered;
    answer.largest = largestRing(answer.stats.ringSize);
    setBuckets(options, &answer);
    return answer;
}

void addTo(StatsAnswer *total, const StatsAnswer &own) {
    total->stats.span.add(own.stats.span);
    total->stats.bytes += own.stats.bytes;
    total->stats.table.add(own.stats.table);
    total->stats.hours.add(own.stats.hours);
    total->disk.files += own.disk.files;
    total->disk.bytes += own.disk.bytes;
    total->disk.allocated += own.disk.allocated;
    total->largest += own.largest;
}

StatsSubject subjectOf(const NamedLog &log) {
    StatsSubject subject;
    subject.path = log.question.directory.path();
    subject.name = log.name;
    subject.names = &log.question.shownNames();
    subject.levels = log.question.filter.levels;
    return subject;
}

/// Reports of the logs, and of all together.
class Reports {
public:
    explicit Reports(const StatsOptions &options) : options_(options) {}

    void add(const NamedLog &log, const StatsAnswer &answer) {
        append(report(options_, subjectOf(log), answer));
        addTo(&total_, answer);
        ++logs_;
    }

    void addTotal(const LogSet &set) {
        const Names names = namesOfAll(set);
        StatsSubject subject;
        subject.logs = logs_;
        subject.names = &names;
        subject.levels = levelsOfAny(set);
        setBuckets(options_, &total_);
        append(report(options_, subject, total_));
    }

    size_t logs() const { return logs_; }
    uint64_t items() const { return total_.stats.span.items; }
    const std::string &text() const { return text_; }

private:
    void append(const std::string &text) {
        text_ += (text_.empty() || options_.output.form == "json" ? "" : "\n") + text;
    }

    const StatsOptions &options_;
    StatsAnswer total_;
    size_t logs_ = 0;
    std::string text_;
};

int run(const StatsOptions &options) {
    const LogSet set = openLogs(options.filter, time(nullptr));
    std::vector<ReadEnd> ends(set.logs.size());
    Reports reports(options);
    int exitCode = set.exitCode;
    for (size_t log = 0; log < set.logs.size(); ++log) {
        exitCode =
            std::max(exitCode, readOneOf(set.isSeveral, [&] {
                         reports.add(set.logs[log], answerOf(options, set.logs[log].question, &ends[log]));
                         return kExitDone;
                     }));
    }
    if (reports.logs() > 1) {
        reports.addTotal(set);
    }
    if (!options.filter.isQuiet && reports.logs() > 0) {
        Output output(pagerCommand(options.output));
        output.write(reports.text());
        output.finish();
    }
    return set.logs.empty() ? exitCode
                            : std::max(exitCode, endReading(options.filter, set, ends, reports.items() > 0));
}

}  // namespace

void addStatsCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "stats", kHelp);
    const auto options = std::make_shared<StatsOptions>();
    addFilterOptions(command, &options->filter);
    addFormOption(command, &options->output, {"text", "json"});
    addNotationOptions(command, &options->filter);
    addChoiceOption(command, "--per", &options->per, {"auto", "hour", "day"}, "Count items by")
        ->type_name("SPAN");
    command->add_flag("--disk-usage", options->hasDiskUsage,
                      "Bytes that the log takes, and can take at most");
    addItemOutputOptions(command, &options->output);
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
