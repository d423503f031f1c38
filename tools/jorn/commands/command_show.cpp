// SPDX-License-Identifier: Apache-2.0
#include <time.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "commands/filter_options.h"
#include "commands/item_output.h"
#include "commands/live_printing.h"
#include "commands/output_options.h"
#include "commands/read_end.h"
#include "output/item_format.h"
#include "output/output.h"
#include "query/item_query.h"
#include "system/failure.h"
#include "terminal/counted.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Print items, newest first (the default command)";

constexpr char kDetails[] =
    "Prints time, level, slot and text of each item: a page of them as the device shows it, or with -n\n"
    "as many as wanted. DIR is not changed in any way, and may be recorded into at the same moment: what\n"
    "the store has not written out yet is not seen.\n"
    "On a terminal, control characters and bytes that are no UTF-8 are shown as \\xNN, and a pager is\n"
    "started: JORN_PAGER, PAGER or less. The items go to standard output, all else to standard error.\n\n";

constexpr char kExamples[] =
    "\nExamples:\n"
    "  jorn DIR                                    the newest 20 items\n"
    "  jorn show -n all -r DIR                     everything, the oldest first\n"
    "  jorn show -S yesterday -p 0 DIR             level 0 since yesterday\n"
    "  jorn show -g 'door|gate' -s 5 -o json DIR   items of slot 5 with either word\n"
    "  jorn show --page -1 --per-page 10 DIR       the oldest items, as the device pages them\n";

/// Up to so many items are held in memory, so that a question can be repeated while a writer moves on; more
/// are printed as they are found.
constexpr uint64_t kHeldItems = 20000;

struct ShowOptions {
    FilterOptions filter;
    OutputOptions output;
    PageWish page;
    std::optional<uint64_t> newest;
    bool isOldestFirst = false;
    bool isFollowed = false;
    bool isPolling = false;
};

std::string refuseZero(const std::string &page) {
    return page == "0" ? "pages are counted from 1, or -1 for the last one" : "";
}

void addOptions(CLI::App *command, ShowOptions *options) {
    addFilterOptions(command, &options->filter);
    CLI::Option *const newest =
        addNewestOption(command, &options->newest, "The newest N items that match, or all");
    CLI::Option *const reverse =
        command->add_flag("-r,--reverse", options->isOldestFirst, "The oldest of them first");
    CLI::Option *const follow =
        command->add_flag("-f,--follow", options->isFollowed, "Go on with new items: see jorn follow")
            ->excludes(reverse);
    addPollOption(command, &options->isPolling)->needs(follow);
    command
        ->add_option("--page", options->page.number, "Page, from 1 for the newest items; -1 is the last one")
        ->type_name("P")
        ->capture_default_str()
        ->check(refuseZero)
        ->excludes(newest)
        ->excludes(follow);
    command->add_option("--per-page", options->page.perPage, "Items a page, 1 to 20")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, JORN_REQUIRE_PAGE_MAX))
        ->excludes(newest)
        ->excludes(follow);
    addFormOption(command, &options->output, itemFormNames());
    addItemOutputOptions(command, &options->output);
}

/// Prints items in the form that was asked for.
class Printer {
public:
    Printer(const ShowOptions &options, const Question &question)
        : output_(pagerCommand(options.output)),
          formatter_(itemStyleOf(options.output, options.filter, question)) {
        output_.write(formatter_.heading());
    }

    /// False when nobody wants any more.
    bool print(const Item &item) { return output_.write(formatter_.format(item)); }
    void finish() { output_.finish(); }

private:
    Output output_;
    ItemFormatter formatter_;
};

std::string footer(const PageAnswer &page, int32_t perPage) {
    if (page.number == 0) {
        return "no items";
    }
    return "page " + std::to_string(page.number) + " of " + std::to_string(page.pages(perPage)) + " (" +
           counted(page.total, "item", "items") + ")";
}

/// Empty where the device's pages are all there is.
std::string noteOfHidden(const Question &question, const PageAnswer &page) {
    if (page.total == page.matching) {
        return "";
    }
    return question.directory.path() + ": the device's pages show " + std::to_string(page.total) +
           " items where " + std::to_string(page.matching) +
           " match: an empty file or a clock that was put back misleads them; -n goes by the items "
           "themselves";
}

struct Shown {
    bool hasMatch = false;
    ReadEnd end;
    std::string footer;
};

/// Prints items that are held.
void printAll(const ShowOptions &options, const Question &question, std::vector<Item> items) {
    if (options.isOldestFirst) {
        std::reverse(items.begin(), items.end());
    }
    Printer printer(options, question);
    std::all_of(items.begin(), items.end(), [&](const Item &item) { return printer.print(item); });
    printer.finish();
}

Shown showPage(const ShowOptions &options, const Question &question) {
    Shown shown;
    const PageAnswer page = readStable(question, &shown.end, [&](const RingView &view, DamageLog *damage) {
        return pageOf(view, question.filter, options.page, damage);
    });
    shown.hasMatch = page.total > 0;
    if (const std::string note = noteOfHidden(question, page); !note.empty()) {
        shown.end.notes.push_back(note);
    }
    shown.footer = footer(page, options.page.perPage);
    printAll(options, question, page.items);
    return shown;
}

Shown showNewest(const ShowOptions &options, const Question &question) {
    Shown shown;
    const auto most = static_cast<size_t>(*options.newest);
    const std::vector<Item> items =
        readStable(question, &shown.end, [&](const RingView &view, DamageLog *damage) {
            return newestItems(view, question.filter, most, damage);
        });
    shown.hasMatch = !items.empty();
    printAll(options, question, items);
    return shown;
}

/// Prints as it reads.
Shown showMany(const ShowOptions &options, const Question &question) {
    Shown shown;
    const RingView view(question.directory, question.ringSize);
    shown.end.takeFrom(view);
    DamageLog *const damage = &shown.end.damage;
    const bool isFromMiddle = options.isOldestFirst && *options.newest != kAllItems;
    const ScanStart start =
        isFromMiddle ? startOfNewest(view, question.filter, *options.newest, damage) : ScanStart{};
    uint64_t left = isFromMiddle ? kAllItems : *options.newest;
    Printer printer(options, question);
    ItemScanner scanner(view, question.filter, damage);
    scanner.scan(
        options.isOldestFirst ? Order::OldestFirst : Order::NewestFirst,
        [&](const Item &item) {
            shown.hasMatch = true;
            return printer.print(item) && --left > 0;
        },
        start);
    printer.finish();
    return shown;
}

/// Looks for one match, and prints nothing.
Shown lookForMatch(const Question &question) {
    Shown shown;
    shown.hasMatch = readStable(question, &shown.end, [&](const RingView &view, DamageLog *damage) {
        return hasMatch(view, question.filter, damage);
    });
    return shown;
}

Shown show(const ShowOptions &options, const Question &question) {
    if (options.filter.isQuiet) {
        return lookForMatch(question);
    }
    if (!options.newest) {
        return showPage(options, question);
    }
    return *options.newest <= kHeldItems ? showNewest(options, question) : showMany(options, question);
}

int run(const ShowOptions &options) {
    if (options.isFollowed) {
        return printLive({options.filter, options.output, options.newest, options.isPolling});
    }
    const Question question = openQuestion(options.filter, time(nullptr));
    const Shown shown = show(options, question);
    const int exitCode = endReading(options.filter, question, shown.end, shown.hasMatch);
    if (!shown.footer.empty()) {
        std::cerr << shown.footer << '\n';
    }
    return exitCode;
}

}  // namespace

void addShowCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = app->add_subcommand("show", kBrief);
    const auto options = std::make_shared<ShowOptions>();
    addOptions(command, options.get());
    command->footer(std::string(kDetails) + kFilterHelp + kExamples + readExitHelp());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
