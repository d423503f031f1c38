// SPDX-License-Identifier: Apache-2.0
#include <time.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "commands/commands.h"
#include "options/filter_options.h"
#include "options/output_options.h"
#include "options/read_end.h"
#include "output/output.h"
#include "query/item_query.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Count items by level";

constexpr char kDetails[] =
    "Prints a line for each level that is asked for, and the total of these lines. Items of levels outside\n"
    "0 to 3, which a damaged file may hold, are in a line \"other\". DIR is not changed in any way, and may\n"
    "be recorded into at the same moment. Each file is read once.\n\n";

constexpr char kExamples[] =
    "\nExamples:\n"
    "  jorn count DIR                         all items\n"
    "  jorn count -S today DIR                today's\n"
    "  jorn count -s 3 -p 1 -o json DIR       levels 0 and 1 of slot 3\n"
    "  jorn count -q -S -1h -p 0 DIR && alarm whether there was any of level 0 in the last hour\n";

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

std::string formatCsv(const std::vector<Row> &rows, uint64_t total) {
    std::string text = "level,level_name,items\n";
    for (const Row &row : rows) {
        const std::string level = row.level < 0 ? "other" : std::to_string(row.level);
        text += level + "," + row.name + "," + std::to_string(row.items) + "\n";
    }
    return text + "total,," + std::to_string(total) + "\n";
}

std::string formatJson(const std::vector<Row> &rows, uint64_t total) {
    nlohmann::ordered_json levels = nlohmann::ordered_json::array();
    nlohmann::ordered_json object;
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

int run(const CountOptions &options) {
    const Question question = openLogQuestion(options.filter, onlyDirectory(options.filter), time(nullptr));
    ReadEnd end;
    const CountAnswer answer = readStable(question, &end, [&](const RingView &view, DamageLog *damage) {
        return countItems(view, question.filter, damage);
    });
    const uint64_t total = answer.tally.total();
    if (!options.filter.isQuiet) {
        Output output;
        output.write(formatAnswer(options.output.form, rowsOf(answer.tally, question), total));
        output.finish();
    }
    if (options.isExplained) {
        printMessage(answer.explanation());
    }
    return endReading(options.filter, question, end, total > 0);
}

}  // namespace

void addCountCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = app->add_subcommand("count", kBrief);
    const auto options = std::make_shared<CountOptions>();
    addFilterOptions(command, &options->filter);
    addFormOption(command, &options->output, {"text", "json", "csv"});
    command->add_flag("--explain", options->isExplained, "Tell on standard error how the answer was found");
    command->footer(std::string(kDetails) + kFilterHelp + kExamples + readExitHelp());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
