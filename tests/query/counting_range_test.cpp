// SPDX-License-Identifier: Apache-2.0
// Counting the whole range: the files at its two ends by reading, those between them from memory.
#include <algorithm>

#include "query/counting_support.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(CountAllTest, CountAll_NullObject_FailsAndLeavesTheOutputs) {
    const Counted counted = count(nullptr, anything());
    EXPECT_EQ(counted.total, -1);
    EXPECT_EQ(counted.range[0], kUnset);
    EXPECT_EQ(counted.nums[0], kUnset);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(CountAllTest, CountAll_FullRing_CountsBelowTheDebugLevelInAllFiles) {
    ModelRing ring = ringOfDays(4, {{1, 5}, {2, 6}, {3, 7}, {0, 8}});
    for (auto &[position, file] : ring.files) {
        file[0].level = 3;
        file[1].level = 2;
        file[2].level = 0;
    }
    HandMadeObject object = objectOf(ring);
    const Counted counted = count(object.get(), anything());
    EXPECT_EQ(counted.total, 4 + 5 + 6 + 7);
    EXPECT_EQ(counted.numsText(), "0: 7, 1: 4, 2: 5, 3: 6");
    EXPECT_THAT(counted.range, ElementsAre(1, 0, kUnset));
    EXPECT_THAT(opened(), ElementsAre("fopen 0.csv r", "fopen 1.csv r"));
}

TEST_F(CountAllTest, CountAll_OneFile_IsReadOnceAndTheOthersAreIgnored) {
    HandMadeObject object = objectOf(ringOfDays(4, {{2, 5}}));
    jorn_SetDebugPrintLevel(8);
    EXPECT_EQ(count(object.get(), anything()).total, 5);
    EXPECT_THAT(messages(), ElementsAre("CountRequireNumIn 2.Csv", "Find 5 items in latest CSV file!",
                                        "Ignore oldest CSV!", "Ignore other CSV!"));
    EXPECT_THAT(opened(), ElementsAre("fopen 2.csv r"));
}

TEST_F(CountAllTest, CountAll_TwoFiles_AreBothReadAndNoCounterIsUsed) {
    HandMadeObject object = objectOf(ringOfDays(4, {{2, 5}, {3, 2}}));
    object.info(2).levelStat[1].levelCount = 900;
    object.info(3).levelStat[1].levelCount = 900;
    jorn_SetDebugPrintLevel(8);
    const Counted counted = count(object.get(), anything());
    EXPECT_EQ(counted.total, 7);
    EXPECT_EQ(counted.numsText(), "2: 5, 3: 2");
    EXPECT_THAT(messages(), ElementsAre("CountRequireNumIn 3.Csv", "Find 2 items in latest CSV file!",
                                        "CountRequireNumIn 2.Csv", "Find 5 items in oldest CSV file!",
                                        "Ignore other CSV!"));
}

TEST_F(CountAllTest, CountAll_WrappedRange_ReadsItsEndsThenCountsTheMiddleFromTheNewest) {
    EXPECT_THAT(
        said(ringOfDays(10, {{8, 1}, {9, 2}, {0, 3}, {1, 4}}), anything()),
        ElementsAre("CountRequireNumIn 1.Csv", "Find 4 items in latest CSV file!", "CountRequireNumIn 8.Csv",
                    "Find 1 items in oldest CSV file!", "Find 3 items in 0.csv!", "Find 2 items in 9.csv!"));
    EXPECT_THAT(opened(), ElementsAre("fopen 1.csv r", "fopen 8.csv r"));
}

TEST_F(CountAllTest, CountAll_WrappedRange_GivesItsRangeInTheRingsOrder) {
    HandMadeObject object = objectOf(ringOfDays(10, {{8, 1}, {9, 2}, {0, 3}, {1, 4}}));
    const Counted counted = count(object.get(), anything());
    EXPECT_EQ(counted.total, 10);
    EXPECT_THAT(counted.range, ElementsAre(8, 1, kUnset));
    EXPECT_EQ(counted.numsText(), "0: 3, 1: 4, 8: 1, 9: 2");
}

TEST_F(CountAllTest, CountAll_MiddleFiles_AreCountedWithoutTheirFiles) {
    HandMadeObject object = objectOf(ringOfDays(5, {{0, 1}, {1, 40}, {2, 50}, {3, 2}}));
    dir_.remove("1.csv");
    dir_.remove("2.csv");
    EXPECT_EQ(count(object.get(), anything()).numsText(), "0: 1, 1: 40, 2: 50, 3: 2");
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(CountAllTest, CountAll_NoMatchAnywhere_GivesNoRangeAndNoCounts) {
    HandMadeObject object = objectOf(ringOfDays(5, {{0, 1}, {1, 2}, {2, 3}}));
    jorn_SetDebugPrintLevel(4);
    const Counted counted = count(object.get(), wanted(0, 0, -1));
    EXPECT_EQ(counted.total, 0);
    EXPECT_THAT(counted.range, ElementsAre(-1, -1, kUnset));
    EXPECT_EQ(counted.numsText(), "");
    EXPECT_THAT(messages(), ElementsAre("Total num is 0!"));
}

TEST_F(CountAllTest, CountAll_NoMatchAnywhere_SaysSoForEachFile) {
    std::vector<std::string> notes;
    for (const std::string &message : said(ringOfDays(5, {{0, 1}, {1, 1}, {2, 1}}), wanted(0, 0, -1))) {
        if (message != "Not require because of level!") {
            notes.push_back(message);
        }
    }
    EXPECT_THAT(notes, ElementsAre("CountRequireNumIn 2.Csv", "No require item in latest CSV!",
                                   "CountRequireNumIn 0.Csv", "No require item in oldest CSV!",
                                   "No require item in 1.csv!", "Total num is 0!"));
}

TEST_F(CountAllTest, CountAll_MatchesInOneMiddleFile_GivesItForBothEndsOfTheRange) {
    ModelRing ring = ringOfDays(10, {{3, 2}, {4, 2}, {5, 2}, {6, 2}, {7, 2}});
    ring.files[5][1].slot = 6;
    HandMadeObject object = objectOf(ring);
    const Counted counted = count(object.get(), wanted(-1, 0, 6));
    EXPECT_EQ(counted.total, 1);
    EXPECT_THAT(counted.range, ElementsAre(5, 5, kUnset));
    EXPECT_EQ(counted.numsText(), "5: 1");
}

TEST_F(CountAllTest, CountAll_MatchesInsideTheRange_GivesTheOuterFilesThatHoldThem) {
    ModelRing ring = ringOfDays(6, {{3, 2}, {4, 2}, {5, 2}, {0, 2}, {1, 2}});
    ring.files[4][0].slot = 6;
    ring.files[0][0].slot = 6;
    HandMadeObject object = objectOf(ring);
    EXPECT_THAT(count(object.get(), wanted(-1, 0, 6)).range, ElementsAre(4, 0, kUnset));
}

TEST_F(CountAllTest, CountAll_DayRange_CountsTheFilesOfTheDaysOnly) {
    HandMadeObject object = objectOf(ringOfDays(10, {{3, 1}, {4, 2}, {5, 3}, {6, 4}, {7, 5}}));
    EXPECT_EQ(count(object.get(), ofDays(101, 103)).numsText(), "4: 2, 5: 3, 6: 4");
    EXPECT_EQ(count(object.get(), ofDays(102, 102)).numsText(), "5: 3");
}

TEST_F(CountAllTest, CountAll_EndFilesReachBeyondTheDays_CountsTheirItemsOfTheDaysOnly) {
    ModelRing ring = {4, 8, 0, 1, {}};
    ring.files[0] = {{dayStart(100), 1, 1, "a"}, {dayStart(101), 1, 1, "b"}};
    ring.files[1] = {{dayStart(102), 1, 1, "c"}, {dayStart(103), 1, 1, "d"}};
    HandMadeObject object = objectOf(ring);
    EXPECT_EQ(count(object.get(), ofDays(101, 102)).numsText(), "0: 1, 1: 1");
}

TEST_F(CountAllTest, CountAll_NoFileForTheDays_FailsAndLeavesTheOutputs) {
    HandMadeObject object = objectOf(ringOfDays(4, {{0, 1}, {1, 1}}));
    jorn_SetDebugPrintLevel(4);
    const Counted counted = count(object.get(), ofDays(200, 300));
    EXPECT_EQ(counted.total, -1);
    EXPECT_EQ(counted.range[0], kUnset);
    EXPECT_EQ(counted.range[1], kUnset);
    EXPECT_TRUE(std::all_of(std::begin(counted.nums), std::end(counted.nums),
                            [](int32_t num) { return num == kUnset; }));
    EXPECT_THAT(messages(), ElementsAre("Can not find CSV file, dayDwLimit=200",
                                        "Sorry! Can not find CSV file according to date!"));
    EXPECT_THAT(opened(), IsEmpty());
}

TEST_F(CountAllTest, CountAll_LatestFileMissing_CountsAsNoneAndGoesOn) {
    HandMadeObject object = objectOf(ringOfDays(4, {{0, 3}, {1, 2}}));
    dir_.remove("1.csv");
    jorn_SetDebugPrintLevel(8);
    const Counted counted = count(object.get(), anything());
    EXPECT_EQ(counted.numsText(), "0: 3");
    EXPECT_THAT(counted.range, ElementsAre(0, 0, kUnset));
    EXPECT_THAT(messages(), ElementsAre("Open file error: 1.csv!\n", "No require item in latest CSV!",
                                        "CountRequireNumIn 0.Csv", "Find 3 items in oldest CSV file!",
                                        "Ignore other CSV!"));
}

TEST_F(CountAllTest, CountAll_OldestFileMissing_CountsAsNoneAndGoesOn) {
    HandMadeObject object = objectOf(ringOfDays(4, {{0, 3}, {1, 5}, {2, 2}}));
    dir_.remove("0.csv");
    jorn_SetDebugPrintLevel(8);
    const Counted counted = count(object.get(), anything());
    EXPECT_EQ(counted.numsText(), "1: 5, 2: 2");
    EXPECT_THAT(counted.range, ElementsAre(1, 2, kUnset));
    EXPECT_THAT(messages(), ElementsAre("CountRequireNumIn 2.Csv", "Find 2 items in latest CSV file!",
                                        "Open file error: 0.csv!\n", "No require item in oldest CSV!",
                                        "Find 5 items in 1.csv!"));
}

TEST_F(CountAllTest, CountAll_LargestRing_CountsAll90Entries) {
    std::vector<std::pair<int32_t, int>> files;
    files.reserve(90);
    for (int32_t i = 0; i < 90; ++i) {
        files.emplace_back((45 + i) % 90, 1 + i % 3);
    }
    HandMadeObject object = objectOf(ringOfDays(90, files));
    const Counted counted = count(object.get(), anything());
    EXPECT_EQ(counted.total, 180);
    EXPECT_THAT(counted.range, ElementsAre(45, 44, kUnset));
    for (const auto &[position, number] : files) {
        EXPECT_EQ(counted.nums[position], number) << position;
    }
}

TEST_F(CountAllTest, CountAll_SmallRing_SetsTheEntriesOutsideItToZero) {
    HandMadeObject object = objectOf(ringOfDays(4, {{0, 1}, {1, 1}}));
    const Counted counted = count(object.get(), anything());
    EXPECT_TRUE(std::all_of(counted.nums + 2, counted.nums + 90, [](int32_t num) { return num == 0; }));
}

// Where the counters and the filter differ.

ModelRing ringOfThreeWithLevelsAndSlots() {
    const ModelFile file = {{0, 0, 0, "a"}, {0, 1, 1, "b"}, {0, 2, 2, "c"}, {0, 3, 3, "d"}, {0, 5, 9, "e"}};
    ModelRing ring = {4, 4, 0, 2, {{0, file}, {1, file}, {2, file}}};
    for (auto &[position, items] : ring.files) {
        for (ModelItem &item : items) {
            item.time = dayStart(100);
        }
    }
    return ring;
}

struct DifferenceRow {
    const char *name;
    JORN_REQUIRE require;
    const char *nums;
};

class CountDifferenceTest : public CountAllTest, public ::testing::WithParamInterface<DifferenceRow> {};

TEST_P(CountDifferenceTest, CountAll_EndsAndMiddle_CountByTheirOwnRules) {
    HandMadeObject object = objectOf(ringOfThreeWithLevelsAndSlots());
    EXPECT_EQ(count(object.get(), GetParam().require).numsText(), GetParam().nums);
}

INSTANTIATE_TEST_SUITE_P(
    , CountDifferenceTest,
    ::testing::Values(DifferenceRow{"NoLevelNoSlot", wanted(-1, 0, -1), "0: 3, 1: 3, 2: 3"},
                      DifferenceRow{"LastLevel", wanted(3, 0, -1), "0: 4, 1: 4, 2: 4"},
                      DifferenceRow{"LevelAtTheLimit", wanted(4, 0, -1), "0: 4, 1: 3, 2: 4"},
                      DifferenceRow{"LevelAtTheLimitExactly", wanted(4, 1, -1), "1: 3"},
                      DifferenceRow{"LevelBeyondTheLimit", wanted(5, 0, -1), "0: 5, 1: 3, 2: 5"},
                      DifferenceRow{"LevelBeyondTheLimitExactly", wanted(5, 1, -1), "0: 1, 1: 3, 2: 1"},
                      DifferenceRow{"LastSlot", wanted(3, 0, 3), "0: 1, 1: 1, 2: 1"},
                      DifferenceRow{"SlotAtTheLimit", wanted(-1, 0, 4), "1: 3"},
                      DifferenceRow{"SlotBeyondTheLimit", wanted(3, 0, 9), "1: 4"}),
    [](const auto &row) { return row.param.name; });

TEST_F(CountAllTest, CountAll_NegativeLevels_CountInTheEndsButInNoCounter) {
    const ModelFile file = {{dayStart(100), -1, 0, "a"}, {dayStart(100), 0, -1, "b"}};
    HandMadeObject object = objectOf({4, 8, 0, 2, {{0, file}, {1, file}, {2, file}}});
    EXPECT_EQ(count(object.get(), anything()).numsText(), "0: 2, 1: 1, 2: 2");
    EXPECT_EQ(count(object.get(), wanted(-1, 0, 0)).numsText(), "0: 1, 2: 1");
}

// Messages and their levels.

struct NoteRow {
    const char *name;
    int32_t printLevel;
    const char *message;
    std::vector<std::pair<int32_t, int>> files;
    JORN_REQUIRE require;
};

class CountNoteTest : public CountAllTest, public ::testing::WithParamInterface<NoteRow> {};

TEST_P(CountNoteTest, CountAll_Note_IsToldFromItsLevel) {
    const NoteRow &row = GetParam();
    HandMadeObject object = objectOf(ringOfDays(5, row.files));
    expectMessageAt(row.printLevel, row.message, [&] { count(object.get(), row.require); });
}

INSTANTIATE_TEST_SUITE_P(
    , CountNoteTest,
    ::testing::Values(
        NoteRow{"NoFile", 4, "Sorry! Can not find CSV file according to date!", {{0, 1}}, ofDays(1, 2)},
        NoteRow{"LatestFound", 8, "Find 2 items in latest CSV file!", {{0, 2}}, anything()},
        NoteRow{"LatestWithout", 8, "No require item in latest CSV!", {{0, 2}}, wanted(0, 1, -1)},
        NoteRow{"OldestFound", 8, "Find 3 items in oldest CSV file!", {{0, 3}, {1, 1}}, anything()},
        NoteRow{"OldestWithout", 8, "No require item in oldest CSV!", {{0, 3}, {1, 1}}, wanted(0, 1, -1)},
        NoteRow{"OldestIgnored", 7, "Ignore oldest CSV!", {{0, 2}}, anything()},
        NoteRow{"OthersIgnoredForOneFile", 7, "Ignore other CSV!", {{0, 2}}, anything()},
        NoteRow{"OthersIgnoredForTwoFiles", 7, "Ignore other CSV!", {{0, 2}, {1, 1}}, anything()},
        NoteRow{"MiddleFound", 8, "Find 4 items in 1.csv!", {{0, 1}, {1, 4}, {2, 1}}, anything()},
        NoteRow{"MiddleWithout", 8, "No require item in 1.csv!", {{0, 1}, {1, 4}, {2, 1}}, wanted(0, 1, -1)},
        NoteRow{"TotalZero", 4, "Total num is 0!", {{0, 1}}, wanted(0, 1, -1)}),
    [](const auto &row) { return row.param.name; });

TEST_F(CountAllTest, CountAll_NullOutputs_AreToldFromLevelTwo) {
    HandMadeObject object = objectOf(ringOfDays(4, {{0, 1}}));
    const JORN_REQUIRE require = anything();
    const auto countWithout = [&] { jorn_CountRequireNumInAllCsv(object.get(), &require, nullptr, nullptr); };
    expectMessageAt(2, "Pointer to dstFileRange is null!", countWithout);
    expectMessageAt(2, "Pointer to dstNumInCsv is null!", countWithout);
}

TEST_F(CountAllTest, CountAll_NullRangeAndNoMatch_DoesNotTellTheTotal) {
    HandMadeObject object = objectOf(ringOfDays(4, {{0, 1}}));
    const JORN_REQUIRE require = wanted(0, 1, -1);
    int32_t nums[90];
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(jorn_CountRequireNumInAllCsv(object.get(), &require, nullptr, nums), 0);
    EXPECT_THAT(messages(), ElementsAre("Pointer to dstFileRange is null!"));
}

TEST_F(CountAllTest, CountAll_NullCountsOnly_StillGivesTheRange) {
    HandMadeObject object = objectOf(ringOfDays(4, {{2, 1}}));
    const JORN_REQUIRE require = anything();
    int32_t range[2] = {kUnset, kUnset};
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(jorn_CountRequireNumInAllCsv(object.get(), &require, range, nullptr), 1);
    EXPECT_THAT(range, ElementsAre(2, 2));
    EXPECT_THAT(messages(), ElementsAre("Pointer to dstNumInCsv is null!"));
}

// Against the model.

std::string describeRequirement(const JORN_REQUIRE &require) {
    return "days " + std::to_string(require.dayDwLimit) + " to " + std::to_string(require.dayUpLimit) +
           ", level " + std::to_string(require.level) + " mode " + std::to_string(require.levelMode) +
           ", slot " + std::to_string(require.slot);
}

void expectAsModelled(const Counted &counted, const std::optional<ModelCount> &expected) {
    ASSERT_EQ(counted.total, expected ? expected->total : -1);
    if (!expected) {
        EXPECT_EQ(counted.range[0], kUnset);
        return;
    }
    std::vector<int32_t> withMatches;
    for (const int32_t position : expected->range) {
        if (expected->nums.count(position) != 0) {
            withMatches.push_back(position);
        }
    }
    EXPECT_EQ(counted.range[1], withMatches.empty() ? -1 : withMatches.front());
    EXPECT_EQ(counted.range[0], withMatches.empty() ? -1 : withMatches.back());
    for (int32_t position = 0; position < 90; ++position) {
        const auto num = expected->nums.find(position);
        ASSERT_EQ(counted.nums[position], num == expected->nums.end() ? 0 : num->second) << position;
    }
}

TEST_F(CountAllTest, CountAll_SmallRingsOfAllKinds_AgreesWithTheModel) {
    QueryGenerator generator(1969);
    jorn_SetDebugPrintLevel(0);
    int found = 0;
    for (int i = 0; i < 300; ++i) {
        const ModelRing ring = generator.nextRing();
        HandMadeObject object = objectOf(ring);
        for (int j = 0; j < 10; ++j) {
            const JORN_REQUIRE require = generator.nextRequirement();
            SCOPED_TRACE("ring " + std::to_string(i) + ", " + describeRequirement(require));
            const std::optional<ModelCount> expected = modelCount(ring, require);
            expectAsModelled(count(object.get(), require), expected);
            found += expected && expected->total > 0 ? 1 : 0;
            if (HasFailure()) {
                return;
            }
        }
    }
    EXPECT_GT(found, 1000) << "the rings must give the model something to count";
}

}  // namespace
}  // namespace test
