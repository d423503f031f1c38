// SPDX-License-Identifier: Apache-2.0
#include <stdio.h>

#include <CLI/App.hpp>
#include <memory>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "filter_options.h"
#include "output.h"
#include "ring_reader.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Count items by level";

constexpr char kDetails[] =
    "Prints a line for each level, and the total of these lines. The debug level 3 is counted\n"
    "unless --level leaves it out; of the items of other levels that a damaged file may hold, none\n"
    "is. DIR is not changed in any way, and may be recorded into at the same moment.\n\n"
    "Examples:\n"
    "  jorn count DIR                     all items\n"
    "  jorn count --since today DIR       today's, by UTC\n"
    "  jorn count --slot 3 --level 1 DIR  levels 0 and 1 of slot 3\n"
    "Exit codes: 0 done, 2 usage, 4 input or output failed.";

struct LevelCount {
    int32_t level;
    int32_t items;
};

struct CountResult {
    std::vector<LevelCount> levels;
    std::vector<std::string> notes;
};

CountResult countLevels(const RingReader &reader, const FilterOptions &options) {
    JORN_REQUIRE require = requirementOf(options);
    require.levelMode = 1;
    const int32_t last = options.level.value_or(JORN_LEVEL_MAX - 1);
    CountResult result{{}, reader.notes()};
    for (require.level = options.isExact ? last : 0; require.level <= last; ++require.level) {
        result.levels.push_back({require.level, reader.count(require)});
    }
    return result;
}

std::string formatTable(const std::vector<LevelCount> &levels) {
    std::string table = "level      items\n";
    int32_t total = 0;
    char line[32];
    for (const LevelCount &count : levels) {
        snprintf(line, sizeof line, "%5d %10d\n", static_cast<int>(count.level),
                 static_cast<int>(count.items));
        table += line;
        total += count.items;
    }
    snprintf(line, sizeof line, "total %10d\n", static_cast<int>(total));
    return table + line;
}

void count(const FilterOptions &options) {
    const StoreDirectory directory = StoreDirectory::openForReading(options.directory);
    const CountResult result = queryStable(
        directory, options.files, [&](const RingReader &reader) { return countLevels(reader, options); });
    for (const std::string &note : result.notes) {
        printMessage("note: " + note);
    }
    writeOutput(formatTable(result.levels));
}

}  // namespace

void addCountCommand(CLI::App *app) {
    CLI::App *const command = app->add_subcommand("count", kBrief);
    const auto options = std::make_shared<FilterOptions>();
    addFilterOptions(command, options.get());
    command->footer(kDetails);
    command->callback([options] { count(*options); });
}

}  // namespace tool
