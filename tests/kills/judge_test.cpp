// SPDX-License-Identifier: Apache-2.0
// Tests that the comparison of a log before and after a run finds each fault, in rings of 3 files of 2 items.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "kills/record_campaign.h"
#include "kills/ring_files.h"
#include "trace/traced_run.h"

namespace test {
namespace {

constexpr RingSize kSize = {3, 2};

std::string line(int number) { return std::to_string(1700000000 + number) + ",2,0," + itemText(number); }

RingFiles ring(const std::vector<std::vector<int>> &files, const std::string &piece = "") {
    RingFiles made;
    for (const std::vector<int> &numbers : files) {
        RingFile file;
        for (const int number : numbers) {
            file.lines.push_back(line(number));
        }
        made.files.push_back(file);
    }
    made.files.back().piece = piece;
    return made;
}

std::vector<std::string> texts(int first, int last) {
    std::vector<std::string> all;
    for (int number = first; number <= last; ++number) {
        all.push_back(itemText(number));
    }
    return all;
}

struct Case {
    const char *name;
    RingFiles before;
    std::vector<std::string> given;
    RingFiles after;
    bool wasKilled;
    Fault fault;
};

std::ostream &operator<<(std::ostream &out, const Case &given) { return out << given.name; }

class JudgeTest : public ::testing::TestWithParam<Case> {};

TEST_P(JudgeTest, Judge_FilesOfARun_FindsTheFault) {
    const Case &given = GetParam();
    const Verdict verdict = judgeRun(given.before, given.given, given.after, given.wasKilled, kSize);
    EXPECT_STREQ(nameOf(verdict.fault), nameOf(given.fault)) << verdict.detail;
}

RingFiles withTornFile(RingFiles files, const std::string &piece) {
    files.tornPieces.push_back(piece);
    return files;
}

RingFiles aside(RingFiles files) {
    files.isSetAside = true;
    return files;
}

std::vector<Case> cases() {
    const std::string torn = line(4).substr(0, 12);
    const RingFiles full = ring({{1, 2}, {3, 4}, {5, 6}});
    return {
        {"NothingWritten", ring({{1, 2}, {3}}), {}, ring({{1, 2}, {3}}), false, Fault::None},
        {"Appended", ring({{1, 2}, {3}}), texts(4, 5), ring({{1, 2}, {3, 4}, {5}}), false, Fault::None},
        {"KilledEarly", ring({{1, 2}, {3}}), texts(4, 9), ring({{1, 2}, {3, 4}}), true, Fault::None},
        {"RingComesRound", full, texts(7, 7), ring({{3, 4}, {5, 6}, {7}}), false, Fault::None},
        {"KilledInRotation", full, texts(7, 7), ring({{3, 4}, {5, 6}, {}}), true, Fault::None},
        {"NewLineTorn", ring({{3}}), texts(4, 4), ring({{3}}, torn), true, Fault::None},
        {"TornLineEnded", ring({{3}}, line(4)), texts(5, 5), ring({{3, 4}, {5}}), false, Fault::None},
        {"TornLineMoved", ring({{3}}, torn), texts(5, 5), withTornFile(ring({{3, 5}}), torn), false,
         Fault::None},

        {"NewItemMissing", ring({{1, 2}, {3}}), texts(4, 5), ring({{1, 2}, {3, 4}}), false, Fault::Foreign},
        {"NewItemSkipped", ring({{1, 2}, {3}}), texts(4, 6), ring({{1, 2}, {3, 4}, {6}}), true, Fault::Order},
        {"ItemLost", ring({{1, 2}, {3}}), texts(4, 4), ring({{1}, {3, 4}}), false, Fault::ItemLost},
        {"NewestItemLost", ring({{1, 2}, {3}}), texts(4, 4), ring({{1, 2}, {4}}), false, Fault::ItemLost},
        {"FileLost", ring({{1, 2}, {3}}), texts(4, 4), ring({{3, 4}}), true, Fault::ItemLost},
        {"SecondOldestFileLost", full, texts(7, 7), ring({{1, 2}, {5, 6}, {7}}), false, Fault::ItemLost},
        {"OldestFileLostTooEarly", ring({{1, 2}, {3, 4}, {5}}), texts(6, 6), ring({{3, 4}, {5}}), true,
         Fault::ItemLost},
        {"LinesSwapped", ring({{1, 2}, {3}}), {}, ring({{2, 1}, {3}}), false, Fault::Order},
        {"LineTwice", ring({{1, 2}, {3}}), {}, ring({{1, 2}, {3, 3}}), false, Fault::Order},
        {"ForeignLine", ring({{1, 2}, {3}}), texts(4, 4), ring({{1, 2}, {3, 9}}), true, Fault::Foreign},
        {"TornLineLost", ring({{3}}, torn), texts(5, 5), ring({{3, 5}}), false, Fault::PieceLost},
        {"KeptPieceLost", withTornFile(ring({{3}}), torn), texts(5, 5), ring({{3, 5}}), false,
         Fault::PieceLost},
        {"StillTorn", ring({{3}}, torn), {}, withTornFile(ring({{3}}, "17"), torn), false, Fault::LineGlued},
        {"SetAside", ring({{3}}), texts(4, 4), aside(ring({{3, 4}})), false, Fault::SetAside},
    };
}

INSTANTIATE_TEST_SUITE_P(Files, JudgeTest, ::testing::ValuesIn(cases()),
                         [](const auto &given) { return given.param.name; });

TEST(JudgeGluedTest, Judge_TornLineGoesOnWithAnotherItem_FindsIt) {
    const RingFiles before = ring({{3}}, "17000");
    RingFiles after = ring({{3}});
    after.files.front().lines.push_back("17000" + line(4));
    EXPECT_EQ(judgeRun(before, texts(4, 4), after, false, kSize).fault, Fault::LineGlued);
}

TEST(JudgeGluedTest, Judge_PieceThatIsNoItemGotALineEnd_FindsIt) {
    const RingFiles before = ring({{3}}, "17000");
    RingFiles after = ring({{3}});
    after.files.front().lines.emplace_back("17000");
    EXPECT_EQ(judgeRun(before, {}, after, false, kSize).fault, Fault::Foreign);
}

TEST(JudgeGluedTest, Judge_TornLineWithinTheRing_FindsIt) {
    RingFiles after = ring({{1, 2}, {3}});
    after.files.front().piece = "17";
    EXPECT_EQ(judgeRun(ring({{1, 2}, {3}}), {}, after, true, kSize).fault, Fault::LineGlued);
}

}  // namespace
}  // namespace test
