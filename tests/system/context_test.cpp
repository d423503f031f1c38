// SPDX-License-Identifier: Apache-2.0
// The neighbours of matches, by -A, -B and -C.
#include <gmock/gmock.h>

#include <random>
#include <string>
#include <vector>

#include "query/context_window.h"
#include "show_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ContextTest : public ShowTest {
protected:
    /// Two files of items "1" to "20"; level 1 is that of even ones.
    void writeTwenty() const {
        writeIndex("0,1");
        for (const int file : {0, 1}) {
            std::string lines;
            for (int number = 10 * file + 1; number <= 10 * (file + 1); ++number) {
                lines += dataLine(kMidnight, number % 2 == 0 ? 1 : 0, 0, std::to_string(number));
            }
            write("log/" + std::to_string(file) + ".csv", lines);
        }
    }

    std::vector<std::string> texts(std::vector<std::string> options) const {
        options.insert(options.begin(), {"show", "log", "-o", "cat"});
        const Outcome run = jorn(options);
        EXPECT_EQ(run.status, 0) << run.err;
        return linesOf(run.out);
    }
};

TEST_F(ContextTest, Show_Neighbours_AsGrepPrintsThem) {
    writeTwenty();
    EXPECT_THAT(texts({"-g", "^5$", "-A", "2"}), ElementsAre("5", "6", "7"));
    EXPECT_THAT(texts({"-g", "^5$", "-B", "2"}), ElementsAre("3", "4", "5"));
    EXPECT_THAT(texts({"-g", "^5$", "-C", "1"}), ElementsAre("4", "5", "6"));
    EXPECT_THAT(texts({"-g", "^(5|8)$", "-C", "1"}), ElementsAre("4", "5", "6", "7", "8", "9"));
    EXPECT_THAT(texts({"-g", "^5$", "-g", "^9$", "-C", "1"}),
                ElementsAre("4", "5", "6", "--", "8", "9", "10"));
    EXPECT_THAT(texts({"-g", "^1$|^20$", "-C", "1"}), ElementsAre("1", "2", "--", "19", "20"));
    EXPECT_THAT(texts({"-g", "^10$", "-A", "1", "-B", "2"}), ElementsAre("8", "9", "10", "11"));
    EXPECT_THAT(texts({"-v", "-g", "^[2-9]$|^..$", "-A", "1"}), ElementsAre("1", "2"));
}

TEST_F(ContextTest, Show_OtherFilters_ChooseAmongWhomNeighboursAre) {
    writeTwenty();
    EXPECT_THAT(texts({"-g", "^10$", "-C", "1", "--level", "1"}), ElementsAre("8", "10", "12"));
}

TEST_F(ContextTest, Show_NewestMatches_EachWithItsNeighbours) {
    writeTwenty();
    EXPECT_THAT(texts({"-g", "^(5|9|13)$", "-C", "1", "-n", "2"}),
                ElementsAre("8", "9", "10", "--", "12", "13", "14"));
    // Those before the oldest of the matches that are asked for may match themselves.
    EXPECT_THAT(texts({"-g", "^(12|13)$", "-B", "2", "-n", "1"}), ElementsAre("11", "12", "13"));
    EXPECT_THAT(texts({"-g", "^1$", "-B", "3", "-n", "1"}), ElementsAre("1"));
    EXPECT_THAT(texts({"-g", "^(5|9)$", "-A", "1", "-r"}), ElementsAre("10", "9", "--", "6", "5"));
    EXPECT_THAT(texts({"-g", "^(12|13)$", "-B", "2", "-r", "-n", "1"}), ElementsAre("13", "12", "11"));
    EXPECT_THAT(texts({"-g", "^(5|9)$", "-B", "1", "-r", "-n", "1"}), ElementsAre("9", "8"));
}

TEST_F(ContextTest, Show_FormsForPrograms_NoLineBetweenGroups) {
    writeTwenty();
    for (const char *form : {"csv", "json"}) {
        EXPECT_THAT(jorn({"show", "log", "-g", "^(5|9)$", "-C", "1", "-o", form}).out,
                    ::testing::Not(HasSubstr("--")));
    }
    EXPECT_THAT(jorn({"show", "log", "-g", "^(5|9)$", "-C", "1", "-o", "text"}).out, HasSubstr(" 6\n--\n"));
}

TEST_F(ContextTest, Show_NoMatch_NoNeighboursAndExit1) {
    writeTwenty();
    const Outcome run = jorn({"show", "log", "-g", "x", "-C", "3"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
}

TEST_F(ContextTest, Follow_Neighbours_AsShow) {
    writeTwenty();
    // An end that has passed already: it looks once.
    const std::vector<std::string> follow = {"follow", "log", "-o", "cat", "-U", "@1700006400"};
    const auto followed = [&](std::vector<std::string> options) {
        options.insert(options.begin(), follow.begin(), follow.end());
        const Outcome run = jorn(options);
        EXPECT_EQ(run.status, 0) << run.err;
        return linesOf(run.out);
    };
    EXPECT_THAT(followed({"-g", "^(5|9)$", "-C", "1"}), ElementsAre("4", "5", "6", "--", "8", "9", "10"));
    EXPECT_THAT(followed({"-g", "^(5|9|13)$", "-C", "1", "-n", "2"}),
                ElementsAre("8", "9", "10", "--", "12", "13", "14"));
    EXPECT_THAT(followed({"-q", "-g", "^5$", "-C", "1"}), ElementsAre());
}

/// Numbers with "--" where some are left out, by looking at each and all around it.
std::vector<std::string> modelOf(const std::vector<bool> &matches, size_t before, size_t after) {
    std::vector<std::string> out;
    size_t last = 0;
    for (size_t i = 0; i < matches.size(); ++i) {
        bool isNear = false;
        for (size_t k = 0; k < matches.size(); ++k) {
            isNear = isNear || (matches[k] && i + before >= k && i <= k + after);
        }
        if (!isNear) {
            continue;
        }
        if (!out.empty() && last + 1 < i) {
            out.emplace_back("--");
        }
        out.push_back(std::to_string(i));
        last = i;
    }
    return out;
}

TEST(ContextWindowTest, Take_RandomMatches_AsASlowModel) {
    for (uint32_t seed = 1; seed <= 400; ++seed) {
        std::mt19937 random(seed);
        std::vector<bool> matches(random() % 30);
        for (size_t i = 0; i < matches.size(); ++i) {
            matches[i] = random() % 5 == 0;
        }
        const tool::ContextSize size = {random() % 4, random() % 4};
        std::vector<std::string> out;
        tool::ContextWindow window(size, [&out](const tool::Item &item, bool isApart) {
            if (isApart) {
                out.emplace_back("--");
            }
            out.push_back(item.text);
            return true;
        });
        for (size_t i = 0; i < matches.size(); ++i) {
            tool::Item item;
            item.text = std::to_string(i);
            item.isMatch = matches[i];
            EXPECT_TRUE(window.take(item));
        }
        EXPECT_EQ(out, modelOf(matches, size.before, size.after)) << seed;
    }
}

TEST(ContextWindowTest, Take_SinkWantsNoMore_GivesNothingElse) {
    int given = 0;
    tool::ContextWindow window({2, 2}, [&given](const tool::Item &, bool) { return ++given < 2; });
    tool::Item item;
    item.isMatch = false;
    EXPECT_TRUE(window.take(item));
    EXPECT_TRUE(window.take(item));
    item.isMatch = true;
    EXPECT_FALSE(window.take(item));
    EXPECT_EQ(given, 2);
}

}  // namespace
}  // namespace test
