// SPDX-License-Identifier: Apache-2.0
#include "filter_options.h"

#include <time.h>

#include <CLI/Error.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>

#include "day.h"
#include "failure.h"

namespace tool {
namespace {

constexpr char kDayForms[] = "YYYY-MM-DD, today, yesterday, @SECONDS since 1970 or a day number; UTC";

void addDayOption(CLI::App *command, const std::string &name, std::optional<int32_t> *day,
                  const std::string &meaning) {
    const auto take = [name, day](const std::string &text) {
        *day = parseDay(text, time(nullptr));
        if (!*day) {
            throw CLI::ValidationError(name, "'" + text + "' is no day: " + kDayForms);
        }
    };
    command->add_option_function<std::string>(name, take, meaning + " (" + kDayForms + ")")->type_name("DAY");
}

}  // namespace

void addFilterOptions(CLI::App *command, FilterOptions *options) {
    command->add_option("DIR", options->directory, "Directory of the log")->required();
    command
        ->add_option("-n,--files", options->files,
                     "Files of the ring, where the directory does not tell: 2 to 90")
        ->type_name("N")
        ->check(CLI::Range(JORN_CSV_NUM_MIN, JORN_CSV_NUM_MAX));
    addDayOption(command, "--since", &options->since, "First day");
    addDayOption(command, "--until", &options->until, "Last day");
    CLI::Option *const level =
        command->add_option("-l,--level", options->level, "Items of this level, 0 to 3, and of lower ones")
            ->type_name("N")
            ->check(CLI::Range(0, JORN_LEVEL_MAX - 1));
    command->add_flag("--exact", options->isExact, "With --level: items of exactly that level")->needs(level);
    command->add_option("-s,--slot", options->slot, "Items of this slot, 0 to 7")
        ->type_name("N")
        ->check(CLI::Range(0, JORN_SLOT_MAX - 1));
}

JORN_REQUIRE requirementOf(const FilterOptions &options) {
    if (options.since && options.until && *options.since > *options.until) {
        throw Failure("--since is a later day than --until", kExitUsage);
    }
    JORN_REQUIRE require = {JORN_REQUIRE_PAGE_MAX, 1, -1, -1, -1, -1, -1};
    require.dayDwLimit = options.since.value_or(-1);
    require.dayUpLimit = options.until.value_or(-1);
    require.slot = options.slot.value_or(-1);
    return require;
}

}  // namespace tool
