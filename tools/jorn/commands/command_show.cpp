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
#include "merge/merged_lines.h"
#include "options/filter_options.h"
#include "options/item_output.h"
#include "options/log_set.h"
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

constexpr HelpText kHelp = {
    "Print items, oldest first (the default command)",
    "jorn show [OPTION]... DIR...\n"
    "jorn [OPTION]... DIR...\n",
    "  jorn DIR                              all items; in a pager, the newest 1,000\n"
    "  jorn show -n 20 door gate             the newest 20 of two logs, by time\n"
    "  jorn show -S yesterday -p 0 DIR       errors since yesterday\n"
    "  jorn show -i -g 'door|gate' -C 3 DIR  matches, with the items around them\n",
    "On a terminal, without -n, -r and --no-pager, a pager opens at the end of the "
    "newest 1,000 items. Items go to standard output, all else to standard error.\n"
    "Several logs are merged by time, each line after the name of its log. Each log "
    "keeps its own order, even where its clock was set back.\n",
    kReadExitCodes,
    kFilterNotes};

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
                    "Items per page, 1 to 20 (default: 20)")
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
        command->add_flag("-f,--follow", options->isFollowed, "Continue with new items; see jorn follow")
            ->excludes(reverse)
            ->excludes(end);
    addPollOption(command, &options->isPolling, "With -f: look twice a second")->needs(follow);
    return {reverse, end, follow};
}

void addOptions(CLI::App *command, ShowOptions *options) {
    addFilterOptions(command, &options->filter);
    addContextOptions(command, &options->context);
    CLI::Option *const newest =
        addNewestOption(command, &options->newest, "Only the newest N that match, or all (default)");
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

using Formatters = std::vector<ItemFormatter>;

/// One for each log.
Formatters formattersOf(const ShowOptions &options, const LogSet &set) {
    Formatters formatters;
    for (const NamedLog &log : set.logs) {
        formatters.emplace_back(itemStyleOf(options.output, options.filter, log));
    }
    return formatters;
}

/// Prints items in the requested form.
class Printer {
public:
    Printer(const ShowOptions &options, Formatters formatters, PagerStart start = PagerStart::Begin)
        : output_(pagerCommand(options.output), start), formatters_(std::move(formatters)) {}

    /// Prints what comes before the items.
    void head(const std::string &line) {
        output_.write(line.empty() ? line : line + "\n");
        output_.write(formatters_.front().heading());
    }

    /// False when no more are wanted.
    bool print(size_t log, const Item &item, bool isApart = false) {
        ItemFormatter &formatter = formatters_[log];
        return output_.write(isApart ? formatter.gap() : "") && output_.write(formatter.format(item));
    }
    void flush() { output_.flush(); }
    void finish() { output_.finish(); }

private:
    Output output_;
    Formatters formatters_;
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
    explicit Shown(const LogSet &set) : ends(set.logs.size()) {}

    bool hasMatch = false;
    std::vector<ReadEnd> ends;  ///< One for each log.
    int exitCode = kExitDone;  ///< The highest of logs that turned out to be unreadable, which were reported.
    std::string footer;
};

/// Whether the items fit on the terminal. Going to their end would make less leave the lines above them
/// empty.
bool fitTerminal(Formatters formatters, const std::vector<MergedItem> &items) {
    const auto width = static_cast<size_t>(terminalWidth(STDOUT_FILENO));
    auto left = static_cast<size_t>(terminalHeight(STDOUT_FILENO));
    return std::all_of(items.begin(), items.end(), [&](const MergedItem &each) {
        const size_t lines = 1 + formatters[each.log].format(each.item).size() / width;
        left -= std::min(left, lines);
        return left > 0;
    });
}

/// Prints the held items in order.
void printAll(const ShowOptions &options, const LogSet &set, const std::string &head,
              const std::vector<MergedItem> &items) {
    const Formatters formatters = formattersOf(options, set);
    const bool isAtEnd = opensAtEnd(options) && !fitTerminal(formatters, items);
    Printer printer(options, formatters, isAtEnd ? PagerStart::End : PagerStart::Begin);
    printer.head(head);
    std::all_of(items.begin(), items.end(),
                [&](const MergedItem &each) { return printer.print(each.log, each.item); });
    printer.finish();
}

Shown showPage(const ShowOptions &options, const LogSet &set) {
    Shown shown(set);
    const Question &question = set.logs.front().question;
    PageAnswer page = readStable(question, &shown.ends.front(), [&](const RingView &view, DamageLog *damage) {
        return pageOf(view, question.filter, {*options.page, options.perPage}, damage);
    });
    shown.hasMatch = page.total > 0;
    if (const std::string note = noteOfHidden(question, page); !note.empty()) {
        shown.ends.front().notes.push_back(note);
    }
    shown.footer = footer(page, options.perPage);
    std::vector<MergedItem> items;
    for (Item &item : page.items) {
        items.push_back({0, std::move(item)});
    }
    printAll(options, set, "", items);
    return shown;
}

/// Calls read(log, end) for each log; a log that fails does not keep the others from being shown.
template <class Read>
void readEach(const LogSet &set, Shown *shown, const Read &read) {
    for (size_t log = 0; log < set.logs.size(); ++log) {
        const int exitCode = readOneOf(set.isSeveral, [&] {
            read(log, &shown->ends[log]);
            return kExitDone;
        });
        shown->exitCode = std::max(shown->exitCode, exitCode);
    }
}

/// With `isTold`, prints a line if there are more: it was not the user who set the limit.
Shown showNewest(const ShowOptions &options, const LogSet &set, size_t most, bool isTold) {
    Shown shown(set);
    std::vector<std::vector<Item>> newestOfEach(set.logs.size());
    size_t count = 0;
    readEach(set, &shown, [&](size_t log, ReadEnd *end) {
        const Question &question = set.logs[log].question;
        newestOfEach[log] = readStable(
            question, end,
            [&](const RingView &view, DamageLog *damage) {
                return newestItems(view, question.filter, most + (isTold ? 1 : 0), damage);
            },
            Opening::WhenRead);
        count += newestOfEach[log].size();
    });
    shown.hasMatch = count > 0;
    std::vector<MergedItem> items = mergeNewest(std::move(newestOfEach), most);
    if (options.isNewestFirst) {
        std::reverse(items.begin(), items.end());
    }
    printAll(options, set, isTold && count > most ? kThereIsMore : "", items);
    return shown;
}

/// The logs while they are read together.
struct OpenedRings {
    OpenedRings(const LogSet &set, Shown *shown) {
        readEach(set, shown, [&](size_t log, ReadEnd *end) {
            const Question &question = set.logs[log].question;
            views.push_back(std::make_unique<RingView>(question.directory, question.ringSize));
            end->takeFrom(*views.back());
            merged.push_back({views.back().get(), &question.filter, &end->damage});
            places.push_back(log);
        });
    }

    std::vector<std::unique_ptr<RingView>> views;
    std::vector<MergedLog> merged;
    std::vector<size_t> places;  ///< Of each of them in the set.
};

/// Prints items as they are read.
Shown showMany(const ShowOptions &options, const LogSet &set, uint64_t most, bool isTold) {
    Shown shown(set);
    const OpenedRings rings(set, &shown);
    MergedLines lines(rings.merged, {most, options.isNewestFirst, options.context, isTold});
    Printer printer(options, formattersOf(options, set),
                    opensAtEnd(options) ? PagerStart::End : PagerStart::Begin);
    printer.head(isTold && lines.hasOlder() ? kThereIsMore : "");
    lines.setWatch([&printer] { printer.flush(); });
    for (bool isWanted = true; isWanted && lines.next();) {
        shown.hasMatch = shown.hasMatch || lines.item().isMatch;
        isWanted = printer.print(rings.places[lines.log()], lines.item(), lines.isApart());
    }
    printer.finish();
    return shown;
}

/// Looks for one match, and prints nothing.
Shown lookForMatch(const LogSet &set) {
    Shown shown(set);
    readEach(set, &shown, [&](size_t log, ReadEnd *end) {
        const Question &question = set.logs[log].question;
        shown.hasMatch = shown.hasMatch || readStable(
                                               question, end,
                                               [&](const RingView &view, DamageLog *damage) {
                                                   return hasMatch(view, question.filter, damage);
                                               },
                                               Opening::WhenRead);
    });
    return shown;
}

Shown show(const ShowOptions &options, const LogSet &set) {
    if (options.filter.isQuiet) {
        return lookForMatch(set);
    }
    if (options.page) {
        return showPage(options, set);
    }
    const uint64_t most = options.newest.value_or(opensAtEnd(options) ? kItemsForPager : kAllItems);
    const bool isTold = isOutputTerminal() && !options.newest;
    const bool isHeld = most <= kHeldItems / set.logs.size() && !options.context.isAny();
    Shown shown = isHeld ? showNewest(options, set, static_cast<size_t>(most), isTold)
                         : showMany(options, set, most, isTold);
    if (!shown.hasMatch && isOutputTerminal()) {
        shown.footer = "no items";
    }
    return shown;
}

int run(const ShowOptions &options) {
    if (options.page && options.filter.directories.size() > 1) {
        refuse("--page is for one DIR: a device pages each log by itself");
    }
    if (options.isFollowed) {
        return printLive(
            {options.filter, options.output, options.newest, options.isPolling, options.context});
    }
    LogSet set = openLogs(options.filter, time(nullptr));
    if (set.logs.empty()) {
        return set.exitCode;
    }
    for (NamedLog &log : set.logs) {
        log.question.filter.isMarking = options.context.isAny() && !options.filter.isQuiet;
    }
    const Shown shown = show(options, set);
    const int exitCode = endReading(options.filter, set, shown.ends, shown.hasMatch);
    if (!shown.footer.empty()) {
        std::cerr << shown.footer << '\n';
    }
    return std::max(exitCode, shown.exitCode);
}

}  // namespace

void addShowCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "show", kHelp);
    const auto options = std::make_shared<ShowOptions>();
    addOptions(command, options.get());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
