// SPDX-License-Identifier: Apache-2.0
#include "serve/view_filter.h"

#include <algorithm>

#include "system/failure.h"
#include "terminal/number_text.h"
#include "terminal/time_text.h"

namespace tool {
namespace {

/// The values, which were given one by one or several separated by commas.
std::vector<std::string> partsOf(const std::vector<std::string> &lists) {
    std::vector<std::string> parts;
    for (const std::string &list : lists) {
        for (size_t begin = 0; begin <= list.size();) {
            const size_t end = std::min(list.find(',', begin), list.size());
            parts.push_back(list.substr(begin, end - begin));
            begin = end + 1;
        }
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
        refuseParameter(name, "'" + **word + "' is not a time from 1970 to 2106: " + kTimeForms);
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

std::shared_ptr<const RE2> compiled(const std::string &text, bool isCaseIgnored, ExpressionPool *pool) {
    std::shared_ptr<const RE2> pattern = pool->get(text, isCaseIgnored);
    if (pattern == nullptr) {
        throw RequestError(503, "too many expressions are searched for at the same time; try again");
    }
    if (!pattern->ok()) {
        refusePattern(*pattern);
    }
    return pattern;
}

std::shared_ptr<const RE2> patternOf(const std::vector<std::string> &texts, bool isCaseIgnored,
                                     ExpressionPool *pool) {
    const std::string all = anyOf(texts);
    if (all.size() > kMostPatternBytes) {
        refuseParameter("q", "must have at most " + std::to_string(kMostPatternBytes) + " bytes");
    }
    for (size_t i = 0; i < texts.size() && texts.size() > 1; ++i) {
        compiled(texts[i], isCaseIgnored, pool);
    }
    return compiled(all, isCaseIgnored, pool);
}

void takePattern(Parameters *parameters, ExpressionPool *pool, ViewFilter *filter) {
    const std::optional<std::string> letterCase = parameters->take("case");
    const std::optional<std::string> invert = parameters->take("invert");
    if (letterCase && *letterCase != "ignore" && *letterCase != "match") {
        refuseParameter("case", "must be ignore or match");
    }
    if (invert && *invert != "0" && *invert != "1") {
        refuseParameter("invert", "must be 0 or 1");
    }
    filter->isCaseIgnored = letterCase == "ignore";
    filter->isInverted = invert == "1";
    filter->words.patterns = parameters->takeAll("q");
    if (!filter->words.patterns.empty()) {
        filter->pattern = patternOf(filter->words.patterns, filter->isCaseIgnored, pool);
    }
}

/// Which level or slot a word means in a log; nothing for a name that the log does not have.
std::optional<int32_t> numberOf(const std::string &word, const NameTable &names, int32_t limit) {
    const std::optional<int32_t> named = names.numberOf(word);
    return named ? named : numberBelow(word, limit);
}

[[noreturn]] void refuseWord(const std::string &parameter, const std::string &word, int32_t limit) {
    refuseParameter(parameter, "'" + word + "' is neither a number from 0 to " + std::to_string(limit - 1) +
                                   " nor a known name");
}

/// Calls add(log, number) for each log in which a word means something. Refuses one that no log knows.
template <class Add>
void addWords(const std::string &parameter, const std::vector<std::string> &lists, const Snapshot &snapshot,
              int32_t limit, NameTable Names::*table, const Add &add) {
    for (const std::string &word : partsOf(lists)) {
        bool isKnown = false;
        for (size_t log = 0; log < snapshot.logs.size(); ++log) {
            if (const auto number = numberOf(word, snapshot.logs[log]->log->names.*table, limit)) {
                add(log, *number);
                isKnown = true;
            }
        }
        if (!isKnown) {
            refuseWord(parameter, word, limit);
        }
    }
}

/// Which levels are from one to another in a log; without the first one, all that are as severe as the last.
std::optional<LevelSet> rangeIn(const NameTable &names, const std::string &first, const std::string &last) {
    const auto from = numberOf(first, names, jorn::kLevelMax);
    const auto to = numberOf(last, names, jorn::kLevelMax);
    if (!to || (!from && !first.empty())) {
        return std::nullopt;
    }
    return first.empty() ? LevelSet::upTo(*to) : LevelSet::range(std::min(*from, *to), std::max(*from, *to));
}

bool isKnownLevel(const std::string &word, const Snapshot &snapshot) {
    return std::any_of(snapshot.logs.begin(), snapshot.logs.end(), [&](const auto &view) {
        return numberOf(word, view->log->names.levels, jorn::kLevelMax).has_value();
    });
}

void addRange(const std::string &range, const Snapshot &snapshot, ViewFilter *filter) {
    const size_t dots = range.find("..");
    const std::string first = range.substr(0, dots);
    const std::string last = range.substr(dots + 2);
    if (!first.empty() && !isKnownLevel(first, snapshot)) {
        refuseWord("level", first, jorn::kLevelMax);
    }
    if (!isKnownLevel(last, snapshot)) {
        refuseWord("level", last, jorn::kLevelMax);
    }
    for (size_t log = 0; log < snapshot.logs.size(); ++log) {
        const NameTable &names = snapshot.logs[log]->log->names.levels;
        filter->logs[log].levels = rangeIn(names, first, last).value_or(LevelSet::none());
    }
}

void takeLevels(Parameters *parameters, const Snapshot &snapshot, ViewFilter *filter) {
    const std::vector<std::string> &words = filter->words.levels = parameters->takeAll("level");
    if (words.empty()) {
        return;
    }
    for (LogFilter &log : filter->logs) {
        log.levels = LevelSet::none();
    }
    filter->words.isLevelRange = words.size() == 1 && words.front().find("..") != std::string::npos;
    if (filter->words.isLevelRange) {
        addRange(words.front(), snapshot, filter);
        return;
    }
    addWords("level", words, snapshot, jorn::kLevelMax, &Names::levels,
             [filter](size_t log, int32_t level) { filter->logs[log].levels.add(level); });
}

void takeSlots(Parameters *parameters, const Snapshot &snapshot, ViewFilter *filter) {
    filter->words.slots = parameters->takeAll("slot");
    if (filter->words.slots.empty()) {
        return;
    }
    for (LogFilter &log : filter->logs) {
        log.isNoSlot = true;
    }
    addWords("slot", filter->words.slots, snapshot, jorn::kSlotMax, &Names::slots,
             [filter](size_t log, int32_t slot) {
                 filter->logs[log].slots.add(slot);
                 filter->logs[log].isNoSlot = false;
             });
}

/// Whether there is a log of this name, which is wanted then.
bool wantLog(const std::string &name, const Snapshot &snapshot, ViewFilter *filter) {
    const auto found = std::find_if(snapshot.logs.begin(), snapshot.logs.end(),
                                    [&](const auto &view) { return view->log->name == name; });
    if (found == snapshot.logs.end()) {
        return false;
    }
    filter->logs[static_cast<size_t>(found - snapshot.logs.begin())].isWanted = true;
    return true;
}

void takeLogs(Parameters *parameters, const Snapshot &snapshot, ViewFilter *filter) {
    const std::vector<std::string> values = parameters->takeAll("log");
    for (LogFilter &log : filter->logs) {
        log.isWanted = values.empty();
    }
    for (const std::string &value : values) {
        if (wantLog(value, snapshot, filter)) {
            continue;  // A name may have commas.
        }
        for (const std::string &name : partsOf({value})) {
            if (!wantLog(name, snapshot, filter)) {
                refuseParameter("log", "no log is named '" + name + "'");
            }
        }
    }
}

void takeOrder(Parameters *parameters, ViewFilter *filter) {
    const std::string order = parameters->take("order").value_or("newest");
    if (order != "newest" && order != "oldest") {
        refuseParameter("order", "must be newest or oldest");
    }
    filter->isNewestFirst = order == "newest";
}

void takeTimes(Parameters *parameters, time_t now, ViewFilter *filter) {
    filter->since = takeTime(parameters, "since", now, Bound::Since, &filter->words.since);
    filter->until = takeTime(parameters, "until", now, Bound::Until, &filter->words.until);
    if (filter->first() > filter->last()) {
        refuseParameter("since", "must not be later than until");
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

}  // namespace tool
