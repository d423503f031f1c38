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
    "to standard output, all else to standard error.\n\n"
    "Several logs are shown together, by time; each keeps its own order, even where its clock was put back,\n"
    "and has its name in front of its lines. -A, -B and -C mean neighbours in the same log.\n\n";

constexpr char kExamples[] =
    "\nExamples:\n"
    "  jorn DIR                                    on a terminal the end of it, else everything\n"
    "  jorn show -n 20 DIR                         the newest 20 items\n"
    "  jorn show -S yesterday -p 0 DIR             level 0 since yesterday\n"
    "  jorn show -g 'door|gate' -s 5 -o json DIR   items of slot 5 with either word\n"
    "  jorn show -n 20 unit1/door unit2/door       the newest 20 items of both\n"
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
    return page == "0" ? "pages count from 1, or -1 for the last one" : "";
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

/// Whether items fit the terminal, so that there is no end to go to: less would fill it up from above.
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

/// Does something with each log, read(log, end), as one that fails need not keep the others from being shown.
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

/// With `isTold`, says if there are more: the limit was not the user's.
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
    CLI::App *const command = app->add_subcommand("show", kBrief);
    const auto options = std::make_shared<ShowOptions>();
    addOptions(command, options.get());
    command->footer(std::string(kDetails) + kFilterHelp + kExamples + readExitHelp());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
