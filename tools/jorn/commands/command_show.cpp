// SPDX-License-Identifier: Apache-2.0
#include <time.h>
#include <unistd.h>

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
#include "terminal/terminal.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Print items, oldest first (the default command)";

constexpr char kDetails[] =
    "Prints time, level, slot and text of every item that matches, the oldest first. On a terminal, without\n"
    "-n, -r and --no-pager, a pager opens at the end of the newest 1,000: JORN_PAGER, PAGER or less. "
    "Control\n"
    "characters and bytes that are no UTF-8 are shown there as \\xNN. DIR is not changed in any way, and "
    "may\n"
    "be recorded into at the same moment: what the store has not written out yet is not seen. The items go\n"
    "to standard output, all else to standard error.\n\n";

constexpr char kExamples[] =
    "\nExamples:\n"
    "  jorn DIR                                    on a terminal the end of it, else everything\n"
    "  jorn show -n 20 DIR                         the newest 20 items\n"
    "  jorn show -S yesterday -p 0 DIR             level 0 since yesterday\n"
    "  jorn show -g 'door|gate' -s 5 -o json DIR   items of slot 5 with either word\n"
    "  jorn show --page -1 --per-page 10 DIR       the oldest items, as the device pages them\n";

/// Up to this many items are held in memory, so that a question can be repeated when a writer moves on; more
/// are printed as they are found.
constexpr uint64_t kHeldItems = 20000;

/// Items for a pager that opens at the end, which holds them all in memory.
constexpr uint64_t kItemsForPager = 1000;

constexpr char kThereIsMore[] = "-- the newest 1,000 items; -n all shows the others too --";

struct ShowOptions {
    FilterOptions filter;
    OutputOptions output;
    std::optional<int32_t> page;
    int32_t perPage = JORN_REQUIRE_PAGE_MAX;
    std::optional<uint64_t> newest;
    bool isNewestFirst = false;
    bool isAtEnd = false;
    bool isFollowed = false;
    bool isPolling = false;
    ContextSize context;
};

std::string refuseZero(const std::string &page) {
    return page == "0" ? "pages are counted from 1, or -1 for the last one" : "";
}

void addPageOptions(CLI::App *command, ShowOptions *options, const std::vector<CLI::Option *> &others) {
    CLI::Option *const page =
        command->add_option("--page", options->page,
                            "A page as the device shows it, newest first; 1 is the newest, -1 the oldest");
    page->type_name("P")->check(refuseZero);
    command->add_option("--per-page", options->perPage, "Items a page, 1 to 20")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, JORN_REQUIRE_PAGE_MAX))
        ->needs(page);
    for (CLI::Option *const other : others) {
        page->excludes(other);
    }
}

void addOptions(CLI::App *command, ShowOptions *options) {
    addFilterOptions(command, &options->filter);
    CLI::Option *const newest =
        addNewestOption(command, &options->newest, "The newest N items that match; all is the default");
    CLI::Option *const reverse =
        command->add_flag("-r,--reverse", options->isNewestFirst, "The newest items first");
    CLI::Option *const end =
        command
            ->add_flag("-e,--pager-end", options->isAtEnd,
                       "Open the pager at the end; without -n, of the newest 1,000 items")
            ->excludes(reverse);
    CLI::Option *const follow =
        command->add_flag("-f,--follow", options->isFollowed, "Go on with new items: see jorn follow")
            ->excludes(reverse)
            ->excludes(end);
    addPollOption(command, &options->isPolling)->needs(follow);
    addContextOptions(command, &options->context);
    addPageOptions(command, options,
                   {newest, reverse, end, follow, command->get_option("-A"), command->get_option("-B"),
                    command->get_option("-C")});
    addFormOption(command, &options->output, itemFormNames());
    addItemOutputOptions(command, &options->output);
}

/// Whether the pager opens at the end. On a terminal that is the default, unless an option asks otherwise.
bool opensAtEnd(const ShowOptions &options) {
    return options.isAtEnd || (isOutputTerminal() && !options.output.isPagerOff && !options.newest &&
                               !options.isNewestFirst && !options.page);
}

/// Prints items in the requested form.
class Printer {
public:
    Printer(const ShowOptions &options, const Question &question, PagerStart start = PagerStart::Begin)
        : output_(pagerCommand(options.output), start),
          formatter_(itemStyleOf(options.output, options.filter, question)) {}

    /// Prints what comes before the items.
    void head(const std::string &line) {
        output_.write(line.empty() ? line : line + "\n");
        output_.write(formatter_.heading());
    }

    /// False when no more are wanted.
    bool print(const Item &item, bool isApart = false) {
        return output_.write(isApart ? formatter_.gap() : "") && output_.write(formatter_.format(item));
    }
    void flush() { output_.flush(); }
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

/// Empty where the device's pages show every match.
std::string noteOfHidden(const Question &question, const PageAnswer &page) {
    if (page.total == page.matching) {
        return "";
    }
    return question.directory.path() + ": the device's pages show " + std::to_string(page.total) +
           " items, but " + std::to_string(page.matching) +
           " match: an empty file or a clock that was set back misleads them; -n reads the items "
           "themselves";
}

struct Shown {
    bool hasMatch = false;
    ReadEnd end;
    std::string footer;
};

/// Whether the items fit on the terminal. Going to their end would make less leave the lines above them
/// empty.
template <class Iterator>
bool fitTerminal(ItemFormatter formatter, Iterator first, Iterator last) {
    const auto width = static_cast<size_t>(terminalWidth(STDOUT_FILENO));
    auto left = static_cast<size_t>(terminalHeight(STDOUT_FILENO));
    return std::all_of(first, last, [&](const Item &item) {
        const size_t lines = 1 + formatter.format(item).size() / width;
        left -= std::min(left, lines);
        return left > 0;
    });
}

/// Prints the held items in order.
template <class Iterator>
void printAll(const ShowOptions &options, const Question &question, const std::string &head, Iterator first,
              Iterator last) {
    const bool isAtEnd =
        opensAtEnd(options) &&
        !fitTerminal(ItemFormatter(itemStyleOf(options.output, options.filter, question)), first, last);
    Printer printer(options, question, isAtEnd ? PagerStart::End : PagerStart::Begin);
    printer.head(head);
    std::all_of(first, last, [&](const Item &item) { return printer.print(item); });
    printer.finish();
}

Shown showPage(const ShowOptions &options, const Question &question) {
    Shown shown;
    const PageAnswer page = readStable(question, &shown.end, [&](const RingView &view, DamageLog *damage) {
        return pageOf(view, question.filter, {*options.page, options.perPage}, damage);
    });
    shown.hasMatch = page.total > 0;
    if (const std::string note = noteOfHidden(question, page); !note.empty()) {
        shown.end.notes.push_back(note);
    }
    shown.footer = footer(page, options.perPage);
    printAll(options, question, "", page.items.begin(), page.items.end());
    return shown;
}

/// With `isTold`, prints a line if there are more: it was not the user who set the limit.
Shown showNewest(const ShowOptions &options, const Question &question, size_t most, bool isTold) {
    Shown shown;
    std::vector<Item> items = readStable(
        question, &shown.end,
        [&](const RingView &view, DamageLog *damage) {
            return newestItems(view, question.filter, most + (isTold ? 1 : 0), damage);
        },
        Opening::WhenRead);
    shown.hasMatch = !items.empty();
    const bool areMore = items.size() > most;
    items.resize(std::min(items.size(), most));
    const std::string head = areMore ? kThereIsMore : "";
    if (options.isNewestFirst) {
        printAll(options, question, head, items.begin(), items.end());
    } else {
        printAll(options, question, head, items.rbegin(), items.rend());
    }
    return shown;
}

/// Passes the window all items up to the last of `most` matches, and then that one's neighbours. Returns
/// whether there was a match.
bool passOn(ItemScanner *scanner, uint64_t most, ContextWindow *window) {
    bool hasMatch = false;
    bool isWanted = true;
    for (uint64_t left = most; isWanted && (left > 0 || window->isOpen());) {
        const Item *const next = scanner->next();
        if (next == nullptr) {
            break;
        }
        if (left == 0) {
            Item neighbour = *next;
            neighbour.isMatch = false;
            isWanted = window->take(neighbour);
            continue;
        }
        left -= next->isMatch ? 1 : 0;
        hasMatch = hasMatch || next->isMatch;
        isWanted = window->take(*next);
    }
    return hasMatch;
}

/// Prints items as they are read.
Shown showMany(const ShowOptions &options, const Question &question, uint64_t most, bool isTold) {
    Shown shown;
    const RingView view(question.directory, question.ringSize);
    shown.end.takeFrom(view);
    DamageLog *const damage = &shown.end.damage;
    const bool isFromMiddle = !options.isNewestFirst && most != kAllItems;
    const NewestStart begin =
        isFromMiddle ? startOfNewest(view, question.filter, {most, options.context.before, isTold}, damage)
                     : NewestStart{};
    Printer printer(options, question, opensAtEnd(options) ? PagerStart::End : PagerStart::Begin);
    printer.head(isTold && begin.hasOlder ? kThereIsMore : "");
    ItemScanner scanner(view, question.filter,
                        options.isNewestFirst ? Order::NewestFirst : Order::OldestFirst, damage, begin.start);
    // However rare matches are, each is shown soon.
    scanner.setWatch([&printer](uint64_t) { printer.flush(); });
    ContextWindow window(options.isNewestFirst ? options.context.reversed() : options.context,
                         [&printer](const Item &item, bool isApart) { return printer.print(item, isApart); });
    shown.hasMatch = passOn(&scanner, isFromMiddle ? kAllItems : most, &window);
    printer.finish();
    return shown;
}

/// Looks for one match, and prints nothing.
Shown lookForMatch(const Question &question) {
    Shown shown;
    shown.hasMatch = readStable(
        question, &shown.end,
        [&](const RingView &view, DamageLog *damage) { return hasMatch(view, question.filter, damage); },
        Opening::WhenRead);
    return shown;
}

Shown show(const ShowOptions &options, const Question &question) {
    if (options.filter.isQuiet) {
        return lookForMatch(question);
    }
    if (options.page) {
        return showPage(options, question);
    }
    const uint64_t most = options.newest.value_or(opensAtEnd(options) ? kItemsForPager : kAllItems);
    const bool isTold = isOutputTerminal() && !options.newest;
    const bool isHeld = most <= kHeldItems && !options.context.isAny();
    Shown shown = isHeld ? showNewest(options, question, static_cast<size_t>(most), isTold)
                         : showMany(options, question, most, isTold);
    if (!shown.hasMatch && isOutputTerminal()) {
        shown.footer = "no items";
    }
    return shown;
}

int run(const ShowOptions &options) {
    if (options.isFollowed) {
        return printLive(
            {options.filter, options.output, options.newest, options.isPolling, options.context});
    }
    Question question = openLogQuestion(options.filter, time(nullptr));
    question.filter.isMarking = options.context.isAny() && !options.filter.isQuiet;
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
