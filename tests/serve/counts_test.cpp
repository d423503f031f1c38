// SPDX-License-Identifier: Apache-2.0
// Answers compared with slow ones that are made from the written lines alone, over random logs and filters.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "served_ring.h"

namespace test {
namespace {

struct Written {
    size_t log = 0;
    uint32_t time = 0;
    int level = 0;
    int slot = 0;
    std::string text;
};

/// What is asked, as parameters and as the slow answer takes it.
struct Question {
    Given parameters;
    uint32_t since = 0;
    uint32_t until = UINT32_MAX;
    std::vector<int> levels, slots;
    std::vector<size_t> logs;
    std::string word;
    bool isInverted = false;
    bool isNewestFirst = true;
};

template <class Value>
bool isAmong(const std::vector<Value> &values, Value value) {
    return values.empty() || std::find(values.begin(), values.end(), value) != values.end();
}

bool hasLevel(const Question &question, const Written &item) { return isAmong(question.levels, item.level); }
bool hasSlot(const Question &question, const Written &item) { return isAmong(question.slots, item.slot); }
bool hasLog(const Question &question, const Written &item) { return isAmong(question.logs, item.log); }
bool hasRest(const Question &question, const Written &item) {
    const bool isFound = item.text.find(question.word) != std::string::npos;
    return item.time >= question.since && item.time <= question.until &&
           (question.word.empty() || isFound != question.isInverted);
}
bool passes(const Question &question, const Written &item) {
    return hasLevel(question, item) && hasSlot(question, item) && hasLog(question, item) &&
           hasRest(question, item);
}

class RandomLogsTest : public ServeTest {
protected:
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(random_); }

    /// Logs of a few files, whose clocks are sometimes stepped back.
    void writeLogs(size_t count) {
        items_.assign(count, {});
        std::vector<std::string> names;
        for (size_t log = 0; log < count; ++log) {
            const std::string name = "log" + std::to_string(log);
            names.push_back(name);
            makeDirectory(name);
            const int files = 1 + upTo(3);
            uint32_t time = kTime + static_cast<uint32_t>(upTo(100));
            for (int file = 0; file < files; ++file) {
                std::string bytes;
                for (int left = upTo(60); left > 0; --left) {
                    time = time + static_cast<uint32_t>(upTo(40)) - (upTo(9) == 0 ? 60U : 0U);
                    const int level = upTo(5) - 1;
                    const int slot = upTo(9) - 1;
                    items_[log].push_back({log, time, level, slot, "text " + std::string(1, "abc"[upTo(2)])});
                    bytes += line(items_[log].back().text, time, level, slot);
                    bytes += upTo(20) == 0 ? "no item\n" : "";
                }
                start(file, bytes, name);
            }
            writeIndex("0," + std::to_string(files - 1), name);
        }
        serve(names);
    }

    Question ask() {
        Question question;
        const auto add = [&](const char *name, const std::string &value) {
            question.parameters.emplace_back(name, value);
        };
        if (upTo(2) == 0) {
            question.since = kTime + static_cast<uint32_t>(upTo(1500));
            add("since", "@" + std::to_string(question.since));
        }
        if (upTo(2) == 0) {
            question.until = std::max(question.since, kTime + static_cast<uint32_t>(upTo(3000)));
            add("until", "@" + std::to_string(question.until));
        }
        if (upTo(1) == 0) {
            question.levels = {upTo(3), upTo(3)};
            add("level", std::to_string(question.levels[0]) + "," + std::to_string(question.levels[1]));
        }
        if (upTo(2) == 0) {
            question.slots = {upTo(7), upTo(7), upTo(7)};
            add("slot", std::to_string(question.slots[0]) + "," + std::to_string(question.slots[1]) + "," +
                            std::to_string(question.slots[2]));
        }
        if (upTo(2) == 0) {
            question.logs = {static_cast<size_t>(upTo(static_cast<int>(items_.size()) - 1))};
            add("log", "log" + std::to_string(question.logs[0]));
        }
        if (upTo(1) == 0) {
            question.word = std::string(1, "abcd"[upTo(3)]);
            question.isInverted = upTo(1) == 0;
            add("q", question.word + "$");
            add("invert", question.isInverted ? "1" : "0");
        }
        question.isNewestFirst = upTo(1) == 0;
        add("order", question.isNewestFirst ? "newest" : "oldest");
        return question;
    }

    /// Those that pass, in the order in which they are to be shown.
    std::vector<Written> expected(const Question &question) const {
        std::vector<std::vector<Written>> heads(items_.size());
        for (size_t log = 0; log < items_.size(); ++log) {
            for (const Written &item : items_[log]) {
                if (passes(question, item)) {
                    heads[log].push_back(item);
                }
            }
        }
        std::vector<Written> merged;
        for (;;) {
            std::vector<Written> *earliest = nullptr;
            for (std::vector<Written> &head : heads) {
                if (!head.empty() && (earliest == nullptr || head.front().time < earliest->front().time)) {
                    earliest = &head;
                }
            }
            if (earliest == nullptr) {
                break;
            }
            merged.push_back(earliest->front());
            earliest->erase(earliest->begin());
        }
        if (question.isNewestFirst) {
            std::reverse(merged.begin(), merged.end());
        }
        return merged;
    }

    void compareItems(const Question &question, const std::vector<Written> &all) {
        const auto rank = static_cast<size_t>(upTo(static_cast<int>(all.size()) + 3));
        const auto before = static_cast<size_t>(upTo(4));
        const auto after = static_cast<size_t>(upTo(9));
        Given parameters = question.parameters;
        parameters.emplace_back("rank", std::to_string(rank));
        parameters.emplace_back("before", std::to_string(before));
        parameters.emplace_back("after", std::to_string(after));
        const Json got = json("items", parameters);
        const size_t at = std::min(rank, all.size());
        const size_t begin = at - std::min(at, before);
        const size_t end = std::min(all.size(), at + after);
        ASSERT_EQ(got["total"], all.size());
        ASSERT_EQ(got["rank"], begin);
        ASSERT_EQ(got["items"].size(), end - begin);
        for (size_t i = begin; i < end; ++i) {
            const Json &item = got["items"][i - begin];
            ASSERT_EQ(item["log"], "log" + std::to_string(all[i].log));
            ASSERT_EQ(item["time"], all[i].time);
            ASSERT_EQ(item["text"], all[i].text);
            ASSERT_EQ(item["level"], all[i].level);
            ASSERT_EQ(item["slot"], all[i].slot);
        }
    }

    void compareHistogram(const Question &question, const std::vector<Written> &all) {
        const auto most = static_cast<size_t>(1 + upTo(60));
        Given parameters = question.parameters;
        parameters.emplace_back("buckets", std::to_string(most));
        const Json got = json("histogram", parameters);
        ASSERT_EQ(got["total"], all.size());
        const int64_t step = got["step"];
        ASSERT_LE((int64_t{got["until"]} - int64_t{got["since"]}) / step, static_cast<int64_t>(most));
        ASSERT_LE(got["buckets"].size(), most);
        uint64_t counted = 0;
        for (const Json &bucket : got["buckets"]) {
            const int64_t begin = bucket[0];
            ASSERT_EQ(begin % step, 0);
            for (int level = 0; level <= 4; ++level) {
                const auto items = std::count_if(all.begin(), all.end(), [&](const Written &item) {
                    const int shown = item.level < 0 || item.level > 3 ? 4 : item.level;
                    return item.time >= begin && item.time < begin + step && shown == level;
                });
                ASSERT_EQ(bucket[static_cast<size_t>(level) + 1], items);
                counted += static_cast<uint64_t>(items);
            }
        }
        ASSERT_EQ(counted, all.size());
        if (!all.empty()) {
            const auto [first, last] = std::minmax_element(
                all.begin(), all.end(), [](const Written &a, const Written &b) { return a.time < b.time; });
            ASSERT_EQ(got["first"], first->time);
            ASSERT_EQ(got["last"], last->time);
        }
    }

    template <class Pass>
    uint64_t countOf(const Pass &pass) const {
        uint64_t count = 0;
        for (const std::vector<Written> &log : items_) {
            count += static_cast<uint64_t>(std::count_if(log.begin(), log.end(), pass));
        }
        return count;
    }

    void compareFacets(const Question &question) {
        const Json got = json("facets", question.parameters);
        for (int level = 0; level < 4; ++level) {
            ASSERT_EQ(got["levels"][static_cast<size_t>(level)]["items"], countOf([&](const Written &item) {
                          return item.level == level && hasSlot(question, item) && hasLog(question, item) &&
                                 hasRest(question, item);
                      }));
        }
        for (int slot = 0; slot < 8; ++slot) {
            ASSERT_EQ(got["slots"][static_cast<size_t>(slot)]["items"], countOf([&](const Written &item) {
                          return item.slot == slot && hasLevel(question, item) && hasLog(question, item) &&
                                 hasRest(question, item);
                      }));
        }
        for (size_t log = 0; log < items_.size(); ++log) {
            ASSERT_EQ(got["logs"][log]["items"], countOf([&](const Written &item) {
                          return item.log == log && hasLevel(question, item) && hasSlot(question, item) &&
                                 hasRest(question, item);
                      }));
        }
    }

    std::mt19937 random_{20261122};
    std::vector<std::vector<Written>> items_;
};

TEST_F(RandomLogsTest, Answers_RandomLogsAndFilters_AreThoseOfASlowComputation) {
    uint64_t compared = 0;
    for (int round = 0; round < 24; ++round) {
        writeLogs(1 + static_cast<size_t>(round % 3));
        for (int asked = 0; asked < 25; ++asked) {
            const Question question = ask();
            SCOPED_TRACE(Json(question.parameters).dump());
            const std::vector<Written> all = expected(question);
            ASSERT_NO_FATAL_FAILURE(compareItems(question, all));
            ASSERT_NO_FATAL_FAILURE(compareHistogram(question, all));
            ASSERT_NO_FATAL_FAILURE(compareFacets(question));
            compared += all.size();
        }
    }
    EXPECT_GT(compared, 10000U);
}

TEST_F(ServeTest, Histogram_LongSpan_StaysWithinItsBucketsAndAtMidnights) {
    makeLog(line("a", 1) + line("b", 4294967295U) + line("c", kTime));
    serve();
    const Json got = json("histogram", {{"buckets", "2000"}});
    EXPECT_EQ(got["step"], 28 * 86400);
    EXPECT_EQ(got["buckets"].size(), 3U);
    const Json days =
        json("histogram", {{"buckets", "10"}, {"since", "2023-11-13"}, {"until", "2023-11-15"}});
    EXPECT_EQ(days["step"], 12 * 3600);
    EXPECT_EQ(days["buckets"].dump(), "[[1699963200,0,1,0,0,0]]");
}

}  // namespace
}  // namespace test
