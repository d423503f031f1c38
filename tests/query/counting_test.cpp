// SPDX-License-Identifier: Apache-2.0
// Counting one file, by reading it or from memory, and the exported function.
#include "query/counting_support.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// One file by reading.

class CountOneFileTest : public ModuleTest {
protected:
    int32_t countIn(const std::string &bytes, const JORN_REQUIRE &require) {
        dir_.write("1.csv", bytes);
        return jorn_CountRequireNumInOneCsv(object_.get(), 1, &require);
    }

    HandMadeObject object_{dir_.path(), 3};
};

TEST_F(CountOneFileTest, CountInOne_NullObject_Fails) {
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_CountRequireNumInOneCsv(nullptr, 1, &require), -1);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(CountOneFileTest, CountInOne_MissingFile_FailsAndIsReportedFromLevelOne) {
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_CountRequireNumInOneCsv(object_.get(), 1, &require), -1);
    expectMessageAt(1, "Open file error: 1.csv!\n",
                    [&] { jorn_CountRequireNumInOneCsv(object_.get(), 1, &require); });
}

TEST_F(CountOneFileTest, CountInOne_MissingFile_DoesNotSayThatItCounts) {
    jorn_SetDebugPrintLevel(100);
    const JORN_REQUIRE require = anything();
    jorn_CountRequireNumInOneCsv(object_.get(), 1, &require);
    EXPECT_THAT(messages(), ElementsAre("Open file error: 1.csv!\n"));
}

TEST_F(CountOneFileTest, CountInOne_OpenedFile_IsToldFromLevelSeven) {
    expectMessageAt(7, "CountRequireNumIn 1.Csv", [&] { countIn("1,1,1,a\n", anything()); });
}

TEST_F(CountOneFileTest, CountInOne_Lines_AreReadOnceByPiecesOf256) {
    EXPECT_EQ(countIn("1,1,1,a\n2,1,1,b\n", anything()), 2);
    EXPECT_THAT(platform().calls(),
                ElementsAre("fopen 1.csv r", "fgets 257", "fgets 257", "fgets 257", "fclose"));
}

TEST_F(CountOneFileTest, CountInOne_MixedLines_CountsTheAcceptedOnes) {
    EXPECT_EQ(countIn("1,1,1,a\n2,3,1,b\n\n\r\n3,2,7,c\n4,2\nbad\n5,0,9,d\n6,-1,-1,e\n", anything()), 4);
    EXPECT_EQ(countIn("1,1,1,a\n2,3,1,b\n3,2,1,c\n", wanted(3, 1, -1)), 1);
}

TEST_F(CountOneFileTest, CountInOne_EmptyFile_CountsNone) { EXPECT_EQ(countIn("", anything()), 0); }

TEST_F(CountOneFileTest, CountInOne_LongLine_CountsEachPieceByItself) {
    const std::string start = "1,1,1,";
    EXPECT_EQ(countIn(start + std::string(256 - start.size(), 'x') + "2,1,1,rest\n", anything()), 2);
    EXPECT_EQ(countIn(start + std::string(300, 'x') + "\n", anything()), 1);
}

TEST_F(CountOneFileTest, CountInOne_NulsAndBytesAbove127_CountTheirLines) {
    EXPECT_EQ(countIn(std::string("1,1,1,a\0b\n2,1,1,\xff\n\0\n", 20), anything()), 2);
}

TEST_F(CountOneFileTest, CountInOne_DaysBeyond31Bits_AreJudgedUnsigned) {
    const std::string bytes = "4294967295,1,1,a\n2147483648,1,1,b\n2147483647,1,1,c\n4294943999,1,1,d\n";
    EXPECT_EQ(countIn(bytes, ofDays(49710, 49710)), 1);
    EXPECT_EQ(countIn(bytes, ofDays(24855, 49709)), 3);
}

TEST_F(CountOneFileTest, CountInOne_ReadingError_EndsTheCount) {
    dir_.write("1.csv", lines(5, 100, "n"));
    platform().fail("fgets", probe::Probe::kForever, 2);
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_CountRequireNumInOneCsv(object_.get(), 1, &require), 2);
    EXPECT_EQ(platform().calls({"fgets"}).size(), 3U);
    EXPECT_EQ(platform().calls({"fclose"}).size(), 1U);
}

TEST_F(CountOneFileTest, CountInOne_DirectoryInPlaceOfTheFile_EndsWithNone) {
    dir_.block("1.csv");
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_CountRequireNumInOneCsv(object_.get(), 1, &require), 0);
}

// One file from memory.

struct ArrayRow {
    int32_t level;
    int32_t levelMode;
    int32_t slot;
    int32_t expected;
};

class CountFromArrayTest : public ModuleTest {
protected:
    /// Level l has 10^l items, and s * 10^l in slot s; the object has 3 slots.
    void SetUp() override {
        ModuleTest::SetUp();
        uint32_t levelCount = 1;
        for (JORN_LEVEL_STAT &stat : object_.info(1).levelStat) {
            stat.levelCount = levelCount;
            for (uint32_t slot = 0; slot < 8; ++slot) {
                stat.slotCount[slot] = slot * levelCount;
            }
            levelCount *= 10;
        }
    }

    HandMadeObject object_{dir_.path(), 2, 3};
};

class CountFromArrayRowTest : public CountFromArrayTest, public ::testing::WithParamInterface<ArrayRow> {};

TEST_P(CountFromArrayRowTest, CountFromArray_LevelAndSlot_AddsUpTheirCounters) {
    const ArrayRow &row = GetParam();
    const JORN_REQUIRE require = wanted(row.level, row.levelMode, row.slot);
    EXPECT_EQ(jorn_CountRequireNumFromArray(object_.get(), 1, &require), row.expected)
        << "level " << row.level << " mode " << row.levelMode << " slot " << row.slot;
}

INSTANTIATE_TEST_SUITE_P(AnyLevel, CountFromArrayRowTest,
                         ::testing::Values(ArrayRow{-1, 0, -1, 111}, ArrayRow{-1, 1, -1, 111},
                                           ArrayRow{INT32_MIN, 7, -1, 111}, ArrayRow{4, 0, -1, 111},
                                           ArrayRow{4, 1, -1, 111}, ArrayRow{5, 0, -1, 111},
                                           ArrayRow{INT32_MAX, 1, -1, 111}, ArrayRow{-1, 0, 2, 222},
                                           ArrayRow{4, 1, 2, 222}));

INSTANTIATE_TEST_SUITE_P(UpToALevel, CountFromArrayRowTest,
                         ::testing::Values(ArrayRow{0, 0, -1, 1}, ArrayRow{1, 0, -1, 11},
                                           ArrayRow{2, -7, -1, 111}, ArrayRow{3, 0, -1, 1111},
                                           ArrayRow{3, 0, 2, 2222}, ArrayRow{1, INT32_MIN, 1, 11}));

INSTANTIATE_TEST_SUITE_P(ExactlyOneLevel, CountFromArrayRowTest,
                         ::testing::Values(ArrayRow{0, 1, -1, 1}, ArrayRow{1, 1, -1, 10},
                                           ArrayRow{2, 7, -1, 100}, ArrayRow{3, 1, -1, 1000},
                                           ArrayRow{3, INT32_MAX, 2, 2000}, ArrayRow{0, 1, 0, 0}));

INSTANTIATE_TEST_SUITE_P(Slots, CountFromArrayRowTest,
                         ::testing::Values(ArrayRow{-1, 0, 0, 0}, ArrayRow{-1, 0, 1, 111},
                                           ArrayRow{-1, 0, 2, 222}, ArrayRow{-1, 0, 3, 111},
                                           ArrayRow{-1, 0, 4, 111}, ArrayRow{-1, 0, 8, 111},
                                           ArrayRow{-1, 0, INT32_MAX, 111}, ArrayRow{-1, 0, INT32_MIN, 111}));

TEST_F(CountFromArrayTest, CountFromArray_PositionBeyondTheRing_IsTakenModuloItsSize) {
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_CountRequireNumFromArray(object_.get(), 3, &require), 111);
    EXPECT_EQ(jorn_CountRequireNumFromArray(object_.get(), 89, &require), 111);
    EXPECT_EQ(jorn_CountRequireNumFromArray(object_.get(), 2, &require), 0);
}

TEST_F(CountFromArrayTest, CountFromArray_DayLimits_AreNotLookedAt) {
    const JORN_REQUIRE require = ofDays(5000, 4000);
    EXPECT_EQ(jorn_CountRequireNumFromArray(object_.get(), 1, &require), 111);
}

TEST_F(CountFromArrayTest, CountFromArray_NullObject_Fails) {
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_CountRequireNumFromArray(nullptr, 1, &require), -1);
}

TEST_F(CountFromArrayTest, CountFromArray_AnyRequirement_OpensNothingAndSaysNothing) {
    jorn_SetDebugPrintLevel(100);
    const JORN_REQUIRE require = anything();
    jorn_CountRequireNumFromArray(object_.get(), 1, &require);
    EXPECT_THAT(platform().calls(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

// The exported function.

class CountTotalTest : public ModuleTest {
protected:
    /// A real object at rest over this ring.
    int32_t createOver(const ModelRing &ring) {
        const int32_t handle = createAtRest(ring.csvNum, ring.slotMax);
        layOut(ring, dir_, FindObj(handle));
        platform().clearLog();
        return handle;
    }
};

TEST_F(CountTotalTest, CountTotal_UnknownHandle_FailsWithoutTakingTheMutex) {
    createOver(ringOfDays(4, {{0, 1}}));
    EXPECT_EQ(JORN_CountRequireTotalNum(99, anything()), -1);
    EXPECT_THAT(platform().calls(), IsEmpty());
    EXPECT_THAT(messages(), ElementsAre("hanld_id = 99, not found!"));
}

TEST_F(CountTotalTest, CountTotal_UnknownHandle_IsReportedFromLevelOne) {
    expectMessageAt(1, "hanld_id = -5, not found!", [] { JORN_CountRequireTotalNum(-5, anything()); });
}

TEST_F(CountTotalTest, CountTotal_SeveralFiles_GivesTheSum) {
    const int32_t handle = createOver(ringOfDays(4, {{2, 3}, {3, 4}, {0, 5}}));
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, anything()), 12);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, ofDays(101, 102)), 9);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, wanted(0, 0, -1)), 0);
}

TEST_F(CountTotalTest, CountTotal_PageFields_AreNotRead) {
    const int32_t handle = createOver(ringOfDays(4, {{0, 3}}));
    JORN_REQUIRE require = anything();
    require.itemsPerPage = 0;
    require.pageDisp = 0;
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, require), 3);
}

TEST_F(CountTotalTest, CountTotal_EachCall_TellsOfTheNullOutputsFromLevelTwo) {
    const int32_t handle = createOver(ringOfDays(4, {{0, 3}}));
    jorn_SetDebugPrintLevel(2);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, anything()), 3);
    EXPECT_THAT(messages(),
                ElementsAre("Pointer to dstFileRange is null!", "Pointer to dstNumInCsv is null!"));
    jorn_SetDebugPrintLevel(1);
    platform().clearLog();
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, anything()), 3);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(CountTotalTest, CountTotal_AnyCount_TakesTheMutexFirstAndGivesItLast) {
    const int32_t handle = createOver(ringOfDays(4, {{0, 1}, {1, 1}}));
    JORN_CountRequireTotalNum(handle, anything());
    EXPECT_THAT(platform().calls(),
                ElementsAre("semTake -1", "fopen 1.csv r", "fgets 257", "fgets 257", "fclose",
                            "fopen 0.csv r", "fgets 257", "fgets 257", "fclose", "semGive"));
}

TEST_F(CountTotalTest, CountTotal_WhileAFileIsRead_KeepsOtherTasksOut) {
    const int32_t handle = createOver(ringOfDays(4, {{0, 1}, {1, 1}}));
    std::vector<bool> wasFree;
    platform().onCall("fgets", [&](const std::string &) { wasFree.push_back(isMutexFree()); });
    JORN_CountRequireTotalNum(handle, anything());
    EXPECT_EQ(wasFree, std::vector<bool>(4, false));
    EXPECT_TRUE(isMutexFree());
}

TEST_F(CountTotalTest, CountTotal_NoFileForTheDays_GivesTheMutexBack) {
    const int32_t handle = createOver(ringOfDays(4, {{0, 1}}));
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, ofDays(1, 2)), -1);
    EXPECT_THAT(platform().calls(), ElementsAre("semTake -1", "semGive"));
    EXPECT_TRUE(isMutexFree());
}

TEST_F(CountTotalTest, CountTotal_MutexCannotBeTaken_CountsAllTheSame) {
    const int32_t handle = createOver(ringOfDays(4, {{0, 3}}));
    platform().fail("semTake");
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, anything()), 3);
}

TEST_F(CountTotalTest, CountTotal_ItemsPutThroughTheStore_AreCounted) {
    const int32_t handle = createAtRest(4);
    store(handle, 7, "n");
    settle();
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, anything()), 7);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, everything()), 8) << "with the first item of the object";
}

}  // namespace
}  // namespace test
