// SPDX-License-Identifier: Apache-2.0
#include "serve/view_filter.h"

#include <algorithm>

#include "system/failure.h"
#include "terminal/number_text.h"
#include "terminal/time_text.h"
#include "terminal/utf8.h"

namespace tool {
namespace {

std::vector<std::string> partsOf(const std::string &list) {
    std::vector<std::string> parts;
    for (size_t begin = 0; begin <= list.size();) {
        const size_t end = std::min(list.find(',', begin), list.size());
        parts.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

std::optional<uint32_t> takeTime(Parameters *parameters, const char *name, time_t now, Bound bound,
                                 std::optional<std::string> *word) {
    *word = parameters->take(name);
    if (!*word) {
        return std::nullopt;
    }
    const std::optional<uint32_t> time = parseTime(**word, now, bound);
    if (!time) {
        refuseParameter(name, "no time from 1970 to 2106: " + std::string(kTimeForms));
    }
    return time;
}

/// "error" where the pattern is none, with the part of it that is at fault, if that is known.
[[noreturn]] void refusePattern(const RE2 &pattern) {
    const std::string &fragment = pattern.error_arg();
    throw RequestError(
        400, pattern.error(),
        ",\"parameter\":\"q\"" + (fragment.empty() ? "" : ",\"fragment\":" + jsonText(fragment)));
}

std::shared_ptr<const RE2> patternOf(const std::string &text, bool isCaseIgnored, ExpressionPool *pool) {
    if (text.size() > kMostPatternBytes) {
        refuseParameter("q", "longer than " + std::to_string(kMostPatternBytes) + " bytes");
    }
    std::shared_ptr<const RE2> pattern = pool->get(text, isCaseIgnored);
    if (pattern == nullptr) {
        throw RequestError(503, "too many expressions are searched for at the same time; try again");
    }
    if (!pattern->ok()) {
        refusePattern(*pattern);
    }
    return pattern;
}

void takePattern(Parameters *parameters, ExpressionPool *pool, ViewFilter *filter) {
    const std::optional<std::string> letterCase = parameters->take("case");
    const std::optional<std::string> invert = parameters->take("invert");
    if (letterCase && *letterCase != "ignore" && *letterCase != "match") {
        refuseParameter("case", "neither ignore nor match");
    }
    if (invert && *invert != "0" && *invert != "1") {
        refuseParameter("invert", "neither 0 nor 1");
    }
    filter->isCaseIgnored = letterCase == "ignore";
    filter->isInverted = invert == "1";
    filter->words.pattern = parameters->take("q");
    if (filter->words.pattern) {
        filter->pattern = patternOf(*filter->words.pattern, filter->isCaseIgnored, pool);
    }
}

/// Which level or slot a word means in a log; nothing for a name that the log does not have.
std::optional<int32_t> numberOf(const std::string &word, const NameTable &names, int32_t limit) {
    const std::optional<int32_t> named = names.numberOf(word);
    return named ? named : numberBelow(word, limit);
}

/// Calls add(log, number) for each log in which a word means something. Refuses one that no log knows.
template <class Add>
void addWords(const std::string &parameter, const std::string &list, const Snapshot &snapshot, int32_t limit,
              NameTable Names::*table, const Add &add) {
    for (const std::string &word : partsOf(list)) {
        bool isKnown = false;
        for (size_t log = 0; log < snapshot.logs.size(); ++log) {
            if (const auto number = numberOf(word, snapshot.logs[log]->log->names.*table, limit)) {
                add(log, *number);
                isKnown = true;
            }
        }
        if (!isKnown) {
            refuseParameter(parameter, "'" + word + "' is neither a number from 0 to " +
                                           std::to_string(limit - 1) + " nor a name that is known here");
        }
    }
}

void takeLevels(Parameters *parameters, const Snapshot &snapshot, ViewFilter *filter) {
    filter->words.level = parameters->take("level");
    if (!filter->words.level) {
        return;
    }
    for (LogFilter &log : filter->logs) {
        log.levels = LevelSet::none();
    }
    addWords("level", *filter->words.level, snapshot, jorn::kLevelMax, &Names::levels,
             [filter](size_t log, int32_t level) { filter->logs[log].levels.add(level); });
}

void takeSlots(Parameters *parameters, const Snapshot &snapshot, ViewFilter *filter) {
    filter->words.slot = parameters->take("slot");
    if (!filter->words.slot) {
        return;
    }
    for (LogFilter &log : filter->logs) {
        log.isNoSlot = true;
    }
    addWords("slot", *filter->words.slot, snapshot, jorn::kSlotMax, &Names::slots,
             [filter](size_t log, int32_t slot) {
                 filter->logs[log].slots.add(slot);
                 filter->logs[log].isNoSlot = false;
             });
}

void takeLogs(Parameters *parameters, const Snapshot &snapshot, ViewFilter *filter) {
    filter->words.log = parameters->take("log");
    if (!filter->words.log) {
        return;
    }
    for (LogFilter &log : filter->logs) {
        log.isWanted = false;
    }
    for (const std::string &name : partsOf(*filter->words.log)) {
        const auto found = std::find_if(snapshot.logs.begin(), snapshot.logs.end(),
                                        [&](const auto &view) { return view->log->name == name; });
        if (found == snapshot.logs.end()) {
            refuseParameter("log", "'" + name + "' is no log that is served here");
        }
        filter->logs[static_cast<size_t>(found - snapshot.logs.begin())].isWanted = true;
    }
}

void takeOrder(Parameters *parameters, ViewFilter *filter) {
    const std::string order = parameters->take("order").value_or("newest");
    if (order != "newest" && order != "oldest") {
        refuseParameter("order", "neither oldest nor newest");
    }
    filter->isNewestFirst = order == "newest";
}

void takeTimes(Parameters *parameters, time_t now, ViewFilter *filter) {
    filter->since = takeTime(parameters, "since", now, Bound::Since, &filter->words.since);
    filter->until = takeTime(parameters, "until", now, Bound::Until, &filter->words.until);
    if (filter->first() > filter->last()) {
        refuseParameter("since", "later than until");
    }
}

/// A number in each range that the codes of kinds stand for.
LineNumbers numbersOf(ItemKind kind) {
    constexpr std::array<int32_t, kLevelCodes> kLevels = {0, 1, 2, 3, -1, jorn::kLevelMax};
    LineNumbers numbers;
    numbers.level = kLevels[levelCodeOf(kind)];
    numbers.slot = static_cast<int32_t>(slotCodeOf(kind));
    return numbers;
}

KindTables tablesOf(const LogFilter &filter) {
    KindTables tables;
    for (size_t kind = 0; kind < kKinds; ++kind) {
        const LineNumbers numbers = numbersOf(static_cast<ItemKind>(kind));
        tables.levels[kind] = filter.levels.has(numbers.level);
        tables.slots[kind] = !filter.isNoSlot && filter.slots.has(numbers.slot);
    }
    return tables;
}

/// A word as a shell reads it unchanged.
std::string quoted(const std::string &word) {
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+-./:=@_,";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string text = "'";
    for (const char c : word) {
        text += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return text + "'";
}

}  // namespace

bool ViewFilter::passes(size_t log, const Line &line) const {
    const LogFilter &own = logs[log];
    return line.isItem() && own.isWanted && hasTime(line.numbers.time) &&
           own.kinds.has(kindOf(line.numbers)) &&
           (pattern == nullptr ||
            RE2::PartialMatch(re2::StringPiece(textIn(line.bytes).data(), textIn(line.bytes).size()),
                              *pattern) != isInverted);
}

ViewFilter takeFilter(Parameters *parameters, const Snapshot &snapshot, time_t now, ExpressionPool *pool) {
    ViewFilter filter;
    filter.logs.resize(snapshot.logs.size());
    takeTimes(parameters, now, &filter);
    takeLevels(parameters, snapshot, &filter);
    takeSlots(parameters, snapshot, &filter);
    takeLogs(parameters, snapshot, &filter);
    takePattern(parameters, pool, &filter);
    takeOrder(parameters, &filter);
    for (LogFilter &log : filter.logs) {
        log.kinds = tablesOf(log);
    }
    return filter;
}

std::string commandOf(const ViewFilter &filter, const Snapshot &snapshot, bool isUtc) {
    std::string command = "jorn show";
    const auto addOption = [&](const char *name, const std::optional<std::string> &value) {
        command += value ? " " + quoted(std::string(name) + "=" + *value) : "";
    };
    addOption("--since", filter.words.since);
    addOption("--until", filter.words.until);
    addOption("--level", filter.words.level);
    addOption("--slot", filter.words.slot);
    addOption("--grep", filter.words.pattern);
    command += filter.pattern != nullptr && filter.isCaseIgnored ? " -i" : "";
    command += filter.pattern != nullptr && filter.isInverted ? " -v" : "";
    command += filter.isNewestFirst ? " -r" : "";
    command += isUtc ? " --utc" : "";
    // One option of the server's, so it is the same for all.
    const auto sized = std::find_if(snapshot.logs.begin(), snapshot.logs.end(),
                                    [](const auto &log) { return log->log->ringSize.has_value(); });
    command += sized != snapshot.logs.end() ? " --files=" + std::to_string(*(*sized)->log->ringSize) : "";
    for (size_t log = 0; log < filter.logs.size(); ++log) {
        if (filter.logs[log].isWanted) {
            const std::string &path = snapshot.logs[log]->log->path;
            command += " " + quoted(path[0] == '-' ? "./" + path : path);
        }
    }
    return command;
}

}  // namespace tool
