// SPDX-License-Identifier: Apache-2.0
#include <time.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "commands/live_printing.h"
#include "options/filter_options.h"
#include "options/item_output.h"
#include "options/output_options.h"
#include "options/read_end.h"
#include "output/item_format.h"
#include "output/output.h"
#include "query/item_query.h"
#include "system/failure.h"
#include "terminal/counted.h"
#include "terminal/terminal.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {"Print items, oldest first (the default command)",
                            "jorn show [OPTION]... DIR\n"
                            "jorn [OPTION]... DIR\n",
                            "  jorn DIR                              all items; on a terminal, their end\n"
                            "  jorn show -n 20 DIR                   the newest 20\n"
                            "  jorn show -S yesterday -p 0 DIR       errors since yesterday\n"
                            "  jorn show -i -g 'door|gate' -C 3 DIR  matches, each with what was around it\n",
                            "On a terminal, without -n, -r and --no-pager, a pager opens at the end of the "
                            "newest 1,000 items. Items go to standard output, all else to standard error.\n",
                            kReadExitCodes,
                            kFilterNotes};

/// Up to this many items are held in memory, so that a question can be repeated when a writer moves on; more
/// are printed as they are found.
constexpr uint64_t kHeldItems = 20000;

/// Items for a pager that opens at the end, which holds them all in memory.
constexpr uint64_t kItemsForPager = 1000;

constexpr char kThereIsMore[] = "-- the newest 1,000 items; -n all shows the others, too --";

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

constexpr char kOrderGroup[] = "Order, following and pages";

std::string checkPage(const std::string &page) {
    const bool isNumber = numberBetween(INT32_MIN, INT32_MAX)(page).empty();
    return isNumber && std::stol(page) != 0 ? ""
                                            : "'" + page + "' is not a page: 1 is the newest, -1 the oldest";
}

void addPageOptions(CLI::App *command, ShowOptions *options, const std::vector<CLI::Option *> &others) {
    beginGroup(command, kOrderGroup);
    CLI::Option *const page =
        command->add_option("--page", options->page, "A page as a device shows it: 1 newest, -1 oldest");
    page->type_name("P")->check(checkPage);
    addNumberOption(command, "--per-page", &options->perPage, 1, JORN_REQUIRE_PAGE_MAX,
                    "Items a page, 1 to 20 (default: 20)")
        ->needs(page);
    for (CLI::Option *const other : others) {
        page->excludes(other);
    }
}

/// Returns the options that a page cannot have.
std::vector<CLI::Option *> addOrderOptions(CLI::App *command, ShowOptions *options) {
    beginGroup(command, kOrderGroup);
    CLI::Option *const reverse = command->add_flag("-r,--reverse", options->isNewestFirst, "Newest first");
    CLI::Option *const end =
        command->add_flag("-e,--pager-end", options->isAtEnd, "Open the pager at the end")->excludes(reverse);
    CLI::Option *const follow =
        command->add_flag("-f,--follow", options->isFollowed, "Go on with new items: see jorn follow")
            ->excludes(reverse)
            ->excludes(end);
    addPollOption(command, &options->isPolling, "With -f: look twice a second")->needs(follow);
    return {reverse, end, follow};
}

void addOptions(CLI::App *command, ShowOptions *options) {
    addFilterOptions(command, &options->filter);
    addContextOptions(command, &options->context);
    CLI::Option *const newest =
        addNewestOption(command, &options->newest, "The newest N that match, or all (default)");
    std::vector<CLI::Option *> notOfPages = addOrderOptions(command, options);
    for (const char *const name : {"-A", "-B", "-C"}) {
        notOfPages.push_back(command->get_option(name));
    }
    notOfPages.push_back(newest);
    addPageOptions(command, options, notOfPages);
    addFormOption(command, &options->output, itemFormNames());
    addNotationOptions(command, &options->filter);
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
           " items where " + std::to_string(page.matching) +
           " match: an empty file or a clock that was put back misleads them; -n goes by the items "
           "themselves";
}

struct Shown {
    bool hasMatch = false;
    ReadEnd end;
    std::string footer;
};

/// Whether items fit the terminal, so that there is no end to go to: less would fill it up from above.
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

/// With `isTold`, says if there are more: the limit was not the user's.
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
    CLI::App *const command = addCommand(app, "show", kHelp);
    const auto options = std::make_shared<ShowOptions>();
    addOptions(command, options.get());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
