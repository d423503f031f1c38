// SPDX-License-Identifier: Apache-2.0
#include <time.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "commands/commands.h"
#include "options/filter_options.h"
#include "options/log_set.h"
#include "options/output_options.h"
#include "options/read_end.h"
#include "output/csv_text.h"
#include "output/output.h"
#include "query/item_query.h"
#include "system/failure.h"
#include "terminal/text_table.h"
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {"Count items by level",
                            "jorn count [OPTION]... DIR...\n",
                            "  jorn count DIR                           all items\n"
                            "  jorn count -S today -s 3 DIR             today's items of slot 3\n"
                            "  jorn count unit1/* unit2/*               each log, and all of them together\n"
                            "  jorn count -q -S -1h -p 0 DIR && alarm   any error in the last hour?\n",
                            "",
                            kReadExitCodes,
                            kFilterNotes};

struct CountOptions {
    FilterOptions filter;
    OutputOptions output;
    bool isExplained = false;
};

/// A line of the table; level -1 stands for all others.
struct Row {
    int32_t level = -1;
    std::string name;  ///< Empty for none.
    uint64_t items = 0;
};

std::vector<Row> rowsOf(const Tally &tally, const Question &question) {
    std::vector<Row> rows;
    for (int32_t level = 0; level < jorn::kLevelMax; ++level) {
        if (question.filter.levels.has(level)) {
            const std::string *const name = question.shownNames().levels.nameOf(level);
            rows.push_back({level, name != nullptr ? *name : "", tally.levels[static_cast<size_t>(level)]});
        }
    }
    if (tally.others > 0) {
        rows.push_back({-1, "", tally.others});
    }
    return rows;
}

std::string labelOf(const Row &row) {
    if (row.level < 0) {
        return "other";
    }
    return row.name.empty() ? std::to_string(row.level) : row.name;
}

std::string tableLine(const std::string &label, size_t width, const std::string &value) {
    constexpr size_t kValueWidth = 10;
    const size_t valueWidth = std::max(kValueWidth, value.size());
    return std::string(width - std::min(width, label.size()), ' ') + label + " " +
           std::string(valueWidth - value.size(), ' ') + value + "\n";
}

std::string formatTable(const std::vector<Row> &rows, uint64_t total) {
    size_t width = sizeof "level" - 1;
    for (const Row &row : rows) {
        width = std::max(width, labelOf(row).size());
    }
    std::string table = tableLine("level", width, "items");
    for (const Row &row : rows) {
        table += tableLine(labelOf(row), width, std::to_string(row.items));
    }
    return table + tableLine("total", width, std::to_string(total));
}

/// The lines of a log without headings; `front` is what its name puts in front of each.
std::string csvLines(const std::vector<Row> &rows, uint64_t total, const std::string &front) {
    std::string text;
    for (const Row &row : rows) {
        const std::string level = row.level < 0 ? "other" : std::to_string(row.level);
        text += front + level + "," + row.name + "," + std::to_string(row.items) + "\n";
    }
    return text + front + "total,," + std::to_string(total) + "\n";
}

std::string formatCsv(const std::vector<Row> &rows, uint64_t total) {
    return "level,level_name,items\n" + csvLines(rows, total, "");
}

std::string formatJson(const std::vector<Row> &rows, uint64_t total, const std::string &log = "") {
    nlohmann::ordered_json levels = nlohmann::ordered_json::array();
    nlohmann::ordered_json object;
    if (!log.empty()) {
        object["log"] = log;
    }
    for (const Row &row : rows) {
        if (row.level < 0) {
            object["other"] = row.items;
            continue;
        }
        nlohmann::ordered_json level = {{"level", row.level}};
        if (!row.name.empty()) {
            level["level_name"] = row.name;
        }
        level["items"] = row.items;
        levels.push_back(level);
    }
    object["levels"] = levels;
    object["total"] = total;
    return object.dump() + "\n";
}

std::string formatAnswer(const std::string &form, const std::vector<Row> &rows, uint64_t total) {
    if (form == "json") {
        return formatJson(rows, total);
    }
    return form == "csv" ? formatCsv(rows, total) : formatTable(rows, total);
}

/// The count of one log.
struct LogCount {
    const NamedLog *log;
    Tally tally;

    std::vector<Row> rows() const { return rowsOf(tally, log->question); }
};

struct Counts {
    std::vector<LogCount> logs;
    uint64_t total = 0;
};

/// A row for each log and one for all, with a column for each level.
std::string tableOfSeveral(const LogSet &set, const Counts &counts) {
    const Names names = namesOfAll(set);
    const LevelSet levels = levelsOfAny(set);
    Tally all;
    for (const LogCount &own : counts.logs) {
        all.add(own.tally);
    }
    const auto row = [&](const std::string &label, const Tally &tally) {
        std::vector<std::string> cells = {label};
        for (int32_t level = 0; level < jorn::kLevelMax; ++level) {
            if (levels.has(level)) {
                cells.push_back(std::to_string(tally.levels[static_cast<size_t>(level)]));
            }
        }
        if (all.others > 0) {
            cells.push_back(std::to_string(tally.others));
        }
        cells.push_back(std::to_string(tally.total()));
        return cells;
    };
    TableRows rows = {{"log"}};
    for (int32_t level = 0; level < jorn::kLevelMax; ++level) {
        if (levels.has(level)) {
            const std::string *const name = names.levels.nameOf(level);
            rows[0].push_back(name != nullptr ? *name : std::to_string(level));
        }
    }
    if (all.others > 0) {
        rows[0].emplace_back("other");
    }
    rows[0].emplace_back("total");
    for (const LogCount &own : counts.logs) {
        rows.push_back(row(own.log->name, own.tally));
    }
    rows.push_back(row("total", all));
    std::string text;
    for (const std::string &line : tableLines(rows)) {
        text += line + "\n";
    }
    return text;
}

std::string csvOfSeveral(const Counts &counts) {
    std::string text = "log,level,level_name,items\n";
    for (const LogCount &own : counts.logs) {
        text += csvLines(own.rows(), own.tally.total(), csvField(own.log->name) + ",");
    }
    return text + csvLines({}, counts.total, ",");
}

std::string jsonOfSeveral(const Counts &counts) {
    std::string text;
    for (const LogCount &own : counts.logs) {
        text += formatJson(own.rows(), own.tally.total(), own.log->name);
    }
    return text + nlohmann::ordered_json({{"logs", counts.logs.size()}, {"total", counts.total}}).dump() +
           "\n";
}

std::string formatCounts(const std::string &form, const LogSet &set, const Counts &counts) {
    if (!set.isSeveral) {
        return formatAnswer(form, counts.logs.front().rows(), counts.total);
    }
    if (form == "json") {
        return jsonOfSeveral(counts);
    }
    return form == "csv" ? csvOfSeveral(counts) : tableOfSeveral(set, counts);
}

LogCount countLog(const CountOptions &options, const NamedLog &log, ReadEnd *end) {
    const Question &question = log.question;
    const CountAnswer answer = readStable(question, end, [&](const RingView &view, DamageLog *damage) {
        return countItems(view, question.filter, damage);
    });
    if (options.isExplained) {
        printMessage((log.name.empty() ? "" : log.name + ": ") + answer.explanation());
    }
    return {&log, answer.tally};
}

int run(const CountOptions &options) {
    const LogSet set = openLogs(options.filter, time(nullptr));
    std::vector<ReadEnd> ends(set.logs.size());
    Counts counts;
    int exitCode = set.exitCode;
    for (size_t log = 0; log < set.logs.size(); ++log) {
        exitCode = std::max(exitCode, readOneOf(set.isSeveral, [&] {
                                counts.logs.push_back(countLog(options, set.logs[log], &ends[log]));
                                counts.total += counts.logs.back().tally.total();
                                return kExitDone;
                            }));
    }
    if (!options.filter.isQuiet && !counts.logs.empty()) {
        Output output;
        output.write(formatCounts(options.output.form, set, counts));
        output.finish();
    }
    return set.logs.empty() ? exitCode
                            : std::max(exitCode, endReading(options.filter, set, ends, counts.total > 0));
}

}  // namespace

void addCountCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "count", kHelp);
    const auto options = std::make_shared<CountOptions>();
    addFilterOptions(command, &options->filter);
    addFormOption(command, &options->output, {"text", "json", "csv"});
    addNotationOptions(command, &options->filter);
    command->add_flag("--explain", options->isExplained, "Explain on standard error how items were counted");
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
