// SPDX-License-Identifier: Apache-2.0
#include <stdlib.h>
#include <time.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <iostream>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "filter_options.h"
#include "item_format.h"
#include "output.h"
#include "ring_reader.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Print a page of items, newest first";

constexpr char kDetails[] =
    "Prints time, level, slot and text of each item. The page is the one that the device shows\n"
    "for the same question. Items of the debug level 3 are left out unless --level or --all asks\n"
    "for them. DIR is not changed in any way, and may be recorded into at the same moment: what\n"
    "the store has not written out yet is not seen.\n"
    "On a terminal, control characters and bytes that are no UTF-8 are shown as \\xNN; elsewhere\n"
    "the bytes of a text are printed as they are, unless --escape is given. The items go to\n"
    "standard output, the number of the page to standard error.\n\n"
    "Examples:\n"
    "  jorn show DIR                                   the newest 20 items\n"
    "  jorn show --page 2 --per-page 10 DIR            the 11th to the 20th newest\n"
    "  jorn show --since yesterday --level 0 DIR       level 0 since yesterday\n"
    "  jorn show --since 2026-11-01 --until 2026-11-07 --page -1 DIR\n"
    "Exit codes: 0 done, also when nothing matches; 2 usage; 4 input or output failed.";

struct ShowOptions {
    FilterOptions filter;
    int page = 1;
    int perPage = JORN_REQUIRE_PAGE_MAX;
    bool isAll = false;
    bool isUtc = false;
    bool isEscaped = false;
};

std::string refuseZero(const std::string &page) {
    return page == "0" ? "pages are counted from 1, or -1 for the last one" : "";
}

void addOptions(CLI::App *command, ShowOptions *options) {
    addFilterOptions(command, &options->filter);
    command->add_flag("--all", options->isAll, "Items of every level, the debug level 3 included")
        ->excludes("--level");
    command->add_option("--page", options->page, "Page, from 1 for the newest items; -1 is the last one")
        ->type_name("P")
        ->capture_default_str()
        ->check(refuseZero);
    command->add_option("--per-page", options->perPage, "Items a page, 1 to 20")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, JORN_REQUIRE_PAGE_MAX));
    command->add_flag("--utc", options->isUtc, "Times in UTC, with a Z, instead of local time");
    command->add_flag("--escape", options->isEscaped, "Show control characters as \\xNN in any case");
}

JORN_REQUIRE requirementOf(const ShowOptions &options) {
    JORN_REQUIRE require = requirementOf(options.filter);
    require.itemsPerPage = options.perPage;
    require.pageDisp = options.page;
    if (options.isAll) {
        require.level = JORN_LEVEL_DEBUG;
    } else if (options.filter.level) {
        require.level = *options.filter.level;
    }
    require.levelMode = options.filter.isExact ? 1 : 0;
    return require;
}

/// The module shows times in local time, so this makes UTC the local time.
void useUtc() {
    setenv("TZ", "UTC0", 1);
    tzset();
}

std::string footer(const PageResult &result, int perPage) {
    if (result.number == 0) {
        return "no items";
    }
    const int pages = (result.total + perPage - 1) / perPage;
    return "page " + std::to_string(result.number) + " of " + std::to_string(pages) + " (" +
           std::to_string(result.total) + (result.total == 1 ? " item)" : " items)");
}

struct ShowResult {
    PageResult page;
    std::vector<std::string> notes;
};

void show(const ShowOptions &options) {
    const JORN_REQUIRE require = requirementOf(options);
    if (options.isUtc) {
        useUtc();
    }
    const StoreDirectory directory = StoreDirectory::openForReading(options.filter.directory);
    const ShowResult result =
        queryStable(directory, options.filter.files, [&](const RingReader &reader) -> ShowResult {
            return {reader.page(require), reader.notes()};
        });
    for (const std::string &note : result.notes) {
        printMessage("note: " + note);
    }
    const ItemFormat format = {options.isUtc, options.isEscaped || isOutputTerminal()};
    std::string text;
    for (int32_t i = 0; i < result.page.page.itemsNum; ++i) {
        text += formatItem(result.page.page.disp[i], format);
    }
    writeOutput(text);
    std::cerr << footer(result.page, options.perPage) << '\n';
}

}  // namespace

void addShowCommand(CLI::App *app) {
    CLI::App *const command = app->add_subcommand("show", kBrief);
    const auto options = std::make_shared<ShowOptions>();
    addOptions(command, options.get());
    command->footer(kDetails);
    command->callback([options] { show(*options); });
}

}  // namespace tool
