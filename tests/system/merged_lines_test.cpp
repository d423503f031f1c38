// SPDX-License-Identifier: Apache-2.0
// The items of several logs as one sequence, held against a slow model that has all of them in memory.
#include "merge/merged_lines.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "query/item_query.h"
#include "several_logs.h"

namespace test {
namespace {

/// An item of the model.
struct Written {
    size_t log;
    uint32_t time;
    int slot;
    std::string text;  ///< Of no other.
    bool isMatch = true;
};

/// A line that is shown: the text, after "-- " where a group begins with it.
using Lines = std::vector<std::string>;

struct Wish {
    uint64_t newest = UINT64_MAX;
    bool isReversed = false;
    tool::ContextSize context;
};

/// The slow model: lists, from which the earliest first item is taken as long as there is any.
class Model {
public:
    explicit Model(std::vector<std::vector<Written>> logs) : logs_(std::move(logs)) {}

    static std::vector<Written> merged(std::vector<std::deque<Written>> lists) {
        std::vector<Written> all;
        for (;;) {
            std::deque<Written> *first = nullptr;
            for (std::deque<Written> &list : lists) {
                if (!list.empty() && (first == nullptr || list.front().time < first->front().time)) {
                    first = &list;
                }
            }
            if (first == nullptr) {
                return all;
            }
            all.push_back(first->front());
            first->pop_front();
        }
    }

    /// How many of the newest matches are each log's, when of each the newest are merged.
    std::vector<size_t> shares(uint64_t newest) const {
        std::vector<std::deque<Written>> matches(logs_.size());
        for (size_t log = 0; log < logs_.size(); ++log) {
            for (const Written &item : logs_[log]) {
                if (item.isMatch) {
                    matches[log].push_back(item);
                }
                if (matches[log].size() > newest) {
                    matches[log].pop_front();
                }
            }
        }
        std::vector<Written> all = merged(matches);
        if (all.size() > newest) {
            all.erase(all.begin(), all.end() - static_cast<ptrdiff_t>(newest));
        }
        std::vector<size_t> shares(logs_.size());
        for (const Written &item : all) {
            ++shares[item.log];
        }
        return shares;
    }

    Lines lines(const Wish &wish) const {
        const std::vector<size_t> wanted = shares(wish.newest);
        std::vector<std::deque<Written>> lists(logs_.size());
        for (size_t log = 0; log < logs_.size(); ++log) {
            for (const size_t index : chosen(logs_[log], wanted[log], wish.context)) {
                lists[log].push_back(logs_[log][index]);
            }
        }
        std::vector<Written> all = merged(lists);
        if (wish.isReversed) {
            std::reverse(all.begin(), all.end());
        }
        return inGroups(all, wish.context.isAny());
    }

private:
    /// The places of the newest matches and of their neighbours. Among the neighbours before the oldest of
    /// them may be others that match, whose neighbours are shown as far as they lie there, too.
    static std::vector<size_t> chosen(const std::vector<Written> &items, size_t matches,
                                      const tool::ContextSize &context) {
        size_t oldest = items.size();
        for (size_t left = matches; left > 0; --left) {
            do {
                --oldest;
            } while (!items[oldest].isMatch);
        }
        const size_t begin = oldest - std::min(oldest, context.before);
        std::vector<size_t> places;
        for (size_t place = matches > 0 ? begin : items.size(); place < items.size(); ++place) {
            const size_t from = std::max(begin, place - std::min(place, context.after));
            const size_t to = std::min(items.size() - 1, place + context.before);
            bool isNear = false;
            for (size_t near = from; near <= to; ++near) {
                isNear = isNear || items[near].isMatch;
            }
            if (isNear) {
                places.push_back(place);
            }
        }
        return places;
    }

    /// A group of neighbours begins where the item before or after, in its own log, is not shown.
    Lines inGroups(const std::vector<Written> &shown, bool hasGroups) const {
        Lines lines;
        for (size_t i = 0; i < shown.size(); ++i) {
            bool isApart = hasGroups && i > 0;
            for (size_t before = 0; before < i; ++before) {
                isApart = isApart && !areNeighbours(shown[before], shown[i]);
            }
            lines.push_back((isApart ? "-- " : "") + shown[i].text);
        }
        return lines;
    }

    bool areNeighbours(const Written &a, const Written &b) const {
        const auto placeOf = [this](const Written &item) {
            const auto &items = logs_[item.log];
            return std::find_if(items.begin(), items.end(),
                                [&](const Written &each) { return each.text == item.text; }) -
                   items.begin();
        };
        return a.log == b.log && std::abs(placeOf(a) - placeOf(b)) == 1;
    }

    const std::vector<std::vector<Written>> logs_;
};

class MergedLinesTest : public SeveralLogsTest {
protected:
    /// Logs whose clocks go on, stand still and run back, from a seed.
    void makeLogs(unsigned seed) {
        std::mt19937 random(seed);
        const auto below = [&](size_t limit) { return random() % limit; };
        logs_.assign(1 + below(4), {});
        names_.clear();
        for (size_t log = 0; log < logs_.size(); ++log) {
            uint32_t time = kMidnight + static_cast<uint32_t>(below(20));
            const size_t count = below(40);
            for (size_t number = 0; number < count; ++number) {
                time += static_cast<uint32_t>(below(4));
                time -= below(8) == 0 ? static_cast<uint32_t>(below(30)) : 0;
                const std::string word = below(3) == 0 ? "match" : "other";
                logs_[log].push_back({log, time, static_cast<int>(below(3)),
                                      word + std::to_string(log) + "." + std::to_string(number)});
            }
            names_.push_back("s" + std::to_string(seed) + "-" + std::to_string(log));
            writeLog(names_[log], filesOf(logs_[log], 1 + below(3)));
        }
    }

    static std::vector<std::string> filesOf(const std::vector<Written> &items, size_t count) {
        std::vector<std::string> files(count);
        for (size_t i = 0; i < items.size(); ++i) {
            files[i * count / items.size()] += dataLine(items[i].time, 1, items[i].slot, items[i].text);
        }
        return files;
    }

    /// The model of the items that a filter lets through, with matches marked.
    Model model(bool isSlotChosen, bool isPattern, bool isMarking) const {
        std::vector<std::vector<Written>> passed(logs_.size());
        for (size_t log = 0; log < logs_.size(); ++log) {
            for (Written item : logs_[log]) {
                item.isMatch = !isPattern || item.text.substr(0, 5) == "match";
                if ((!isSlotChosen || item.slot == 1) && (item.isMatch || isMarking)) {
                    passed[log].push_back(item);
                }
            }
        }
        return Model(passed);
    }

    static tool::ItemFilter filter(bool isSlotChosen, bool isPattern, bool isMarking) {
        tool::ItemFilter filter;
        if (isSlotChosen) {
            filter.slots.add(1);
        }
        filter.pattern = isPattern ? std::make_shared<const RE2>("match") : nullptr;
        filter.isMarking = isMarking;
        return filter;
    }

    /// What the tool's part gives.
    Lines lines(const tool::ItemFilter &filter, const Wish &wish) const {
        std::vector<tool::StoreDirectory> directories;
        for (const std::string &name : names_) {
            directories.push_back(tool::StoreDirectory::openForReading(path(name)));
        }
        std::vector<std::unique_ptr<tool::RingView>> views;
        std::vector<tool::MergedLog> logs;
        tool::DamageLog damage;
        for (const tool::StoreDirectory &directory : directories) {
            views.push_back(std::make_unique<tool::RingView>(directory, std::nullopt));
            logs.push_back({views.back().get(), &filter, &damage});
        }
        tool::MergedLines merged(logs, {wish.newest, wish.isReversed, wish.context, false});
        Lines lines;
        while (merged.next()) {
            lines.push_back((merged.isApart() ? "-- " : "") + merged.item().text);
        }
        EXPECT_TRUE(damage.isEmpty());
        return lines;
    }

    /// The same of the newest of each log.
    Lines heldLines(const tool::ItemFilter &filter, size_t newest) const {
        std::vector<std::vector<tool::Item>> ofEach;
        for (const std::string &name : names_) {
            const tool::StoreDirectory directory = tool::StoreDirectory::openForReading(path(name));
            const tool::RingView view(directory, std::nullopt);
            tool::DamageLog damage;
            ofEach.push_back(tool::newestItems(view, filter, newest, &damage));
        }
        Lines lines;
        for (const tool::MergedItem &each : tool::mergeNewest(ofEach, newest)) {
            EXPECT_EQ(each.item.text.substr(5, each.item.text.find('.') - 5), std::to_string(each.log));
            lines.push_back(each.item.text);
        }
        return lines;
    }

    std::vector<std::vector<Written>> logs_;
    std::vector<std::string> names_;
};

constexpr unsigned kSeeds = 150;

TEST_F(MergedLinesTest, Merge_ClocksThatRanBack_AsTheModel) {
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        makeLogs(seed);
        const bool isSlotChosen = seed % 2 == 1;
        const bool isPattern = seed % 3 == 1;
        const Model slow = model(isSlotChosen, isPattern, false);
        const tool::ItemFilter fast = filter(isSlotChosen, isPattern, false);
        for (const uint64_t newest : {uint64_t{UINT64_MAX}, uint64_t{seed % 30}, uint64_t{0}}) {
            ASSERT_EQ(lines(fast, {newest, false, {}}), slow.lines({newest, false, {}})) << seed;
            ASSERT_EQ(lines(fast, {newest, true, {}}), slow.lines({newest, true, {}})) << seed;
            ASSERT_EQ(heldLines(fast, newest), slow.lines({newest, false, {}})) << seed;
        }
    }
}

TEST_F(MergedLinesTest, Merge_NeighboursOfMatches_AsTheModel) {
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        makeLogs(seed);
        const bool isSlotChosen = seed % 2 == 1;
        const Model slow = model(isSlotChosen, true, true);
        const tool::ItemFilter fast = filter(isSlotChosen, true, true);
        const tool::ContextSize context = {seed % 3, seed % 4};
        for (const uint64_t newest : {uint64_t{UINT64_MAX}, uint64_t{1 + seed % 7}}) {
            if (context.isAny()) {
                ASSERT_EQ(lines(fast, {newest, false, context}), slow.lines({newest, false, context}))
                    << seed;
            }
            if (context.isAny() && logs_.size() > 1) {
                ASSERT_EQ(lines(fast, {newest, true, context}), slow.lines({newest, true, context})) << seed;
            }
        }
    }
}

/// The command, from its arguments to its output, with the same logs.
TEST_F(MergedLinesTest, Show_ClocksThatRanBack_AsTheModel) {
    for (unsigned seed = 1000; seed < 1012; ++seed) {
        makeLogs(seed);
        if (logs_.size() == 1) {
            continue;
        }
        const Model slow = model(true, true, false);
        for (const bool isReversed : {false, true}) {
            for (const uint64_t newest : {uint64_t{UINT64_MAX}, uint64_t{5}}) {
                std::vector<std::string> arguments = {
                    "show", "-o", "cat", "-s", "1", "-g", "match", "-n", newest == 5 ? "5" : "all"};
                arguments.insert(arguments.end(), names_.begin(), names_.end());
                if (isReversed) {
                    arguments.emplace_back("-r");
                }
                std::string expected;
                for (const std::string &text : slow.lines({newest, isReversed, {}})) {
                    expected += names_[static_cast<size_t>(text[5] - '0')] + " " + text + "\n";
                }
                EXPECT_EQ(printed(arguments), expected) << seed;
            }
        }
    }
}

/// What a follower prints at its start, with neighbours.
TEST_F(MergedLinesTest, Follow_StartView_AsShowPrintsIt) {
    for (unsigned seed = 2000; seed < 2012; ++seed) {
        makeLogs(seed);
        std::vector<std::string> arguments = {
            "show", "-o", "cat", "-g", "match", "-U", "2023-12-01", "-n", std::to_string(seed % 12)};
        arguments.insert(arguments.end(), names_.begin(), names_.end());
        for (const char *const context : {"0", "2"}) {
            arguments.insert(arguments.end(), {"-B", context, "-A", context});
            arguments[0] = "show";
            const Outcome shown = jorn(arguments);
            arguments[0] = "follow";
            const Outcome followed = jorn(arguments);
            EXPECT_EQ(followed.out, shown.out) << seed;
            EXPECT_EQ(followed.status, shown.status) << seed;
            arguments.resize(arguments.size() - 4);
        }
    }
}

}  // namespace
}  // namespace test
