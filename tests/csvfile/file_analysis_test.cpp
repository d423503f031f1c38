// SPDX-License-Identifier: Apache-2.0
#include "csvfile/file_analysis.h"

#include <cstring>

#include "csvfile/csvfile_support.h"
#include "registry/registry.h"
#include "support/module_test.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileSummaryTest : public ModuleTest {
protected:
    /// The result of analysing a file of these bytes, for an object of 8 slots.
    std::string analysed(const std::string &bytes) { return analysedBy(object_, bytes); }

    std::string analysedBy(HandMadeObject &object, const std::string &bytes) {
        dir_.write("1.csv", bytes);
        JORN_CSV_INFO info;
        memset(&info, 0xAA, sizeof info);
        EXPECT_EQ(jorn_AnalyseOneCsvInfo(object.get(), 1, &info), 0);
        return describe(info);
    }

    /// The summary of position 1 after these lines are appended one by one.
    std::string updated(const std::vector<std::string> &appended) {
        for (const std::string &line : appended) {
            EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), 1, line.c_str()), 0);
        }
        return describe(object_.info(1));
    }

    /// Marks all three summaries, so that a change of any of them is noticed.
    void markSummaries() {
        for (int32_t position = 0; position < 3; ++position) {
            memset(&object_.info(position), 0x11 * (position + 1), sizeof(JORN_CSV_INFO));
        }
    }

    void expectMarked(int32_t position) {
        JORN_CSV_INFO marked;
        memset(&marked, 0x11 * (position + 1), sizeof marked);
        EXPECT_EQ(memcmp(&object_.info(position), &marked, sizeof marked), 0) << "position " << position;
    }

    HandMadeObject object_{dir_.path(), 3};
};

/// An item of a negative level in each slot from -8 to 7: if the level were used as an index, some slot of it
/// would land on every word before the level counters, and beyond the record's start.
std::vector<std::string> negativeLevelInEverySlot() {
    std::vector<std::string> all;
    for (int32_t slot = -8; slot < 8; ++slot) {
        all.push_back(line(100, -1, slot, "x"));
    }
    return all;
}

/// The summary after 16 items at time 100 whose level has no counter.
JORN_CSV_INFO sixteenItemsOutsideTheTables() {
    JORN_CSV_INFO info = {};
    info.itemCount = 16;
    info.timeMin = info.timeMax = info.timeLast = 100;
    return info;
}

TEST_F(FileSummaryTest, Record_Layout_Is41WordsInTheirOrder) {
    EXPECT_EQ(sizeof(JORN_CSV_INFO), 164U);
    EXPECT_EQ(offsetof(JORN_CSV_INFO, itemCount), 0U);
    EXPECT_EQ(offsetof(JORN_CSV_INFO, timeMin), 4U);
    EXPECT_EQ(offsetof(JORN_CSV_INFO, timeMax), 8U);
    EXPECT_EQ(offsetof(JORN_CSV_INFO, timeLast), 12U);
    EXPECT_EQ(offsetof(JORN_CSV_INFO, reserved), 16U);
    EXPECT_EQ(offsetof(JORN_CSV_INFO, levelStat), 20U);
    EXPECT_EQ(sizeof(JORN_LEVEL_STAT), 36U);
    EXPECT_EQ(offsetof(JORN_LEVEL_STAT, slotCount), 4U);
}

// Analysing one file.

TEST_F(FileSummaryTest, Analyse_NullObject_FailsAndLeavesTheRecord) {
    markSummaries();
    EXPECT_EQ(jorn_AnalyseOneCsvInfo(nullptr, 1, &object_.info(1)), -1);
    expectMarked(1);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileSummaryTest, Analyse_MissingFile_FailsAndLeavesTheRecord) {
    markSummaries();
    EXPECT_EQ(jorn_AnalyseOneCsvInfo(object_.get(), 1, &object_.info(1)), -1);
    expectMarked(1);
}

TEST_F(FileSummaryTest, Analyse_MissingFile_IsReportedFromLevelOne) {
    expectMessageAt(1, "Open file error: 1.csv!",
                    [&] { jorn_AnalyseOneCsvInfo(object_.get(), 1, &object_.info(1)); });
}

TEST_F(FileSummaryTest, Analyse_PositionOutsideTheRing_IsReadAllTheSame) {
    dir_.write("50.csv", "7,1,2,x\n");
    dir_.write("-3.csv", "8,1,2,x\n");
    JORN_CSV_INFO info = {};
    EXPECT_EQ(jorn_AnalyseOneCsvInfo(object_.get(), 50, &info), 0);
    EXPECT_EQ(info.timeLast, 7U);
    EXPECT_EQ(jorn_AnalyseOneCsvInfo(object_.get(), -3, &info), 0);
    EXPECT_EQ(info.timeLast, 8U);
}

TEST_F(FileSummaryTest, Analyse_EmptyFile_GivesAZeroRecord) { EXPECT_EQ(analysed(""), kZeroSummary); }

TEST_F(FileSummaryTest, Analyse_ItemsOfAllKinds_CountsThemByLevelAndSlot) {
    EXPECT_EQ(analysed("10,0,0,a\n20,3,7,b\n30,3,7,c\n40,2,5,d\n50,3,1,e\n"),
              "5 items, 10 to 50, last 50; level 0: 1 (slot 0: 1); level 2: 1 (slot 5: 1); "
              "level 3: 3 (slot 1: 1, slot 7: 2)");
}

TEST_F(FileSummaryTest, Analyse_TimesOutOfOrder_KeepsSmallestLargestAndLast) {
    EXPECT_EQ(analysed("50,0,0,a\n90,0,0,b\n20,0,0,c\n60,0,0,d\n"),
              "4 items, 20 to 90, last 60; level 0: 4 (slot 0: 4)");
}

TEST_F(FileSummaryTest, Analyse_TimesBeyond31Bits_AreComparedUnsigned) {
    EXPECT_EQ(analysed("2147483648,0,0,a\n4294967295,0,0,b\n2147483647,0,0,c\n"),
              "3 items, 2147483647 to 4294967295, last 2147483647; level 0: 3 (slot 0: 3)");
}

TEST_F(FileSummaryTest, Analyse_TimeZeroFirst_CountsAsNotYetSet) {
    EXPECT_EQ(analysed("0,0,0,a\n50,0,0,b\n"), "2 items, 50 to 50, last 50; level 0: 2 (slot 0: 2)");
}

TEST_F(FileSummaryTest, Analyse_TimeZeroLast_IsTheSmallest) {
    EXPECT_EQ(analysed("50,0,0,a\n0,0,0,b\n"), "2 items, 0 to 50, last 0; level 0: 2 (slot 0: 2)");
}

TEST_F(FileSummaryTest, Analyse_TimeZeroBetween_LetsTheNextTimeBeTheSmallest) {
    EXPECT_EQ(analysed("50,0,0,a\n0,0,0,b\n70,0,0,c\n"),
              "3 items, 70 to 70, last 70; level 0: 3 (slot 0: 3)");
}

TEST_F(FileSummaryTest, Analyse_OneOfTenLinesWithoutSlot_CountsNineAndReportsIt) {
    EXPECT_EQ(analysed(lines(4, 100, "n") + "104,1\n" + lines(5, 105, "n")),
              "9 items, 100 to 109, last 109; level 1: 9 (slot 2: 9)");
    EXPECT_THAT(messages(), ElementsAre("Slot info error!"));
}

TEST_F(FileSummaryTest, Analyse_BadLineAtLevelZero_IsLeftOutSilently) {
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(analysed("104,1\n"), kZeroSummary);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileSummaryTest, Analyse_LastLineDoesNotParse_KeepsTheLastParsedTime) {
    EXPECT_EQ(analysed("10,1,1,a\n99,1\n"), "1 items, 10 to 10, last 10; level 1: 1 (slot 1: 1)");
}

TEST_F(FileSummaryTest, Analyse_BlankLines_AreNeitherCountedNorReported) {
    jorn_SetDebugPrintLevel(100);
    EXPECT_EQ(analysed("\n10,1,1,a\n\r\n\rnot,1,2,seen\n"),
              "1 items, 10 to 10, last 10; level 1: 1 (slot 1: 1)");
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileSummaryTest, Analyse_LevelsAroundTheLimit_CountBelowItOnly) {
    EXPECT_EQ(analysed("10,3,1,a\n20,4,1,b\n30,5,1,c\n40,2147483647,1,d\n"),
              "4 items, 10 to 40, last 40; level 3: 1 (slot 1: 1)");
}

TEST_F(FileSummaryTest, Analyse_SlotsAroundTheLimit_CountBelowItOnly) {
    HandMadeObject threeSlots(dir_.path(), 3, 3);
    EXPECT_EQ(analysedBy(threeSlots, "10,2,2,a\n20,2,3,b\n30,2,9,c\n40,2,2147483647,d\n"),
              "4 items, 10 to 40, last 40; level 2: 4 (slot 2: 1)");
}

TEST_F(FileSummaryTest, Analyse_SlotNineOfEight_CountsInItsLevelOnly) {
    EXPECT_EQ(analysed("10,2,9,a\n"), "1 items, 10 to 10, last 10; level 2: 1 ()");
    EXPECT_EQ(analysed("10,2,8,a\n"), "1 items, 10 to 10, last 10; level 2: 1 ()");
    EXPECT_EQ(analysed("10,2,7,a\n"), "1 items, 10 to 10, last 10; level 2: 1 (slot 7: 1)");
}

TEST_F(FileSummaryTest, Analyse_NegativeLevels_CountAsItemsAndInTheTimesOnly) {
    EXPECT_EQ(analysed("10,-1,0,a\n20,-2147483648,0,b\n30,-36,-1,c\n"), "3 items, 10 to 30, last 30");
}

TEST_F(FileSummaryTest, Analyse_NegativeLevelInEverySlot_TouchesNoOtherWord) {
    std::string bytes;
    for (const std::string &given : negativeLevelInEverySlot()) {
        bytes += given;
    }
    EXPECT_EQ(analysed(bytes), describe(sixteenItemsOutsideTheTables()));
}

TEST_F(FileSummaryTest, Analyse_NegativeSlots_CountInTheirLevel) {
    EXPECT_EQ(analysed("10,1,-1,a\n20,0,-1,b\n30,1,-2147483648,c\n"),
              "3 items, 10 to 30, last 30; level 0: 1 (); level 1: 2 ()");
}

TEST_F(FileSummaryTest, Analyse_NumbersBeyondAllWidths_StillCountTheItem) {
    dir_.write("1.csv", "10,99999999999999999999,-99999999999999999999,a\n20,1,1,b\n");
    JORN_CSV_INFO info = {};
    EXPECT_EQ(jorn_AnalyseOneCsvInfo(object_.get(), 1, &info), 0);
    EXPECT_EQ(info.itemCount, 2U);
    EXPECT_EQ(info.timeLast, 20U);
}

TEST_F(FileSummaryTest, Analyse_LongLine_CountsEachPieceThatParses) {
    EXPECT_EQ(analysed(padded("100,1,2,", 256) + "200,3,4,tail\n"),
              "2 items, 100 to 200, last 200; level 1: 1 (slot 2: 1); level 3: 1 (slot 4: 1)");
}

TEST_F(FileSummaryTest, Analyse_5000Items_CountsThemAll) {
    EXPECT_EQ(analysed(lines(5000, 1000, "n", 0, 0, 0)),
              "5000 items, 1000 to 5999, last 5999; level 0: 5000 (slot 0: 5000)");
}

TEST_F(FileSummaryTest, Analyse_AnyFile_LeavesTheObjectsOwnRecordsAlone) {
    markSummaries();
    EXPECT_EQ(analysed("10,1,1,a\n"), "1 items, 10 to 10, last 10; level 1: 1 (slot 1: 1)");
    for (int32_t position = 0; position < 3; ++position) {
        expectMarked(position);
    }
}

// Updating after one appended line.

TEST_F(FileSummaryTest, Update_NullObject_FailsWithoutAWord) {
    EXPECT_EQ(jorn_UpdateCsvInfo(nullptr, 1, "10,1,1,a\n"), -1);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileSummaryTest, Update_FirstAndLastPosition_AreInTheRing) {
    EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), 0, "10,1,1,a\n"), 0);
    EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), 2, "20,1,1,b\n"), 0);
    EXPECT_EQ(object_.info(0).timeLast, 10U);
    EXPECT_EQ(describe(object_.info(1)), kZeroSummary);
    EXPECT_EQ(object_.info(2).timeLast, 20U);
}

class FileSummaryOutsideTest : public FileSummaryTest, public ::testing::WithParamInterface<int32_t> {};

TEST_P(FileSummaryOutsideTest, Update_PositionOutsideTheRing_FailsAndChangesNothing) {
    markSummaries();
    EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), GetParam(), "10,1,1,a\n"), -1);
    for (int32_t position = 0; position < 3; ++position) {
        expectMarked(position);
    }
}

TEST_P(FileSummaryOutsideTest, Update_PositionOutsideTheRing_IsReportedFromLevelOne) {
    expectMessageAt(1, " Error: fileIdx = " + std::to_string(GetParam()) + "!",
                    [&] { jorn_UpdateCsvInfo(object_.get(), GetParam(), "10,1,1,a\n"); });
}

INSTANTIATE_TEST_SUITE_P(, FileSummaryOutsideTest, ::testing::Values(-1, 3, 4, 89, INT32_MIN, INT32_MAX));

TEST_F(FileSummaryTest, Update_PositionOutsideAndBadLine_ReportsThePositionOnly) {
    EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), 3, "bad"), -1);
    EXPECT_THAT(messages(), ElementsAre(" Error: fileIdx = 3!"));
}

TEST_F(FileSummaryTest, Update_BadLine_FailsAndChangesNothing) {
    markSummaries();
    EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), 1, ","), -1);
    expectMarked(1);
    EXPECT_THAT(messages(), ElementsAre("Time info error!", " Error: update CSV info failed!"));
}

TEST_F(FileSummaryTest, Update_BadLine_IsReportedFromLevelOne) {
    expectMessageAt(1, " Error: update CSV info failed!",
                    [&] { jorn_UpdateCsvInfo(object_.get(), 1, "10,1\n"); });
}

TEST_F(FileSummaryTest, Update_AnyLine_OpensNoFileAndSaysNothing) {
    jorn_SetDebugPrintLevel(100);
    EXPECT_EQ(jorn_UpdateCsvInfo(object_.get(), 1, "10,1,1,a\n"), 0);
    EXPECT_THAT(platform().calls(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileSummaryTest, Update_AnyLine_ChangesTheRecordOfItsPositionOnly) {
    markSummaries();
    object_.info(1) = JORN_CSV_INFO{};
    EXPECT_EQ(updated({"10,1,1,a\n"}), "1 items, 10 to 10, last 10; level 1: 1 (slot 1: 1)");
    expectMarked(0);
    expectMarked(2);
}

TEST_F(FileSummaryTest, Update_FirstItem_SetsBothTimesWhateverTheyWere) {
    object_.info(1).timeMin = 5;
    object_.info(1).timeMax = 90;
    EXPECT_EQ(updated({"50,0,0,a\n"}), "1 items, 50 to 50, last 50; level 0: 1 (slot 0: 1)");
}

TEST_F(FileSummaryTest, Update_TimesOutOfOrder_KeepsSmallestLargestAndLast) {
    EXPECT_EQ(updated({"50,0,0,a\n", "90,0,0,b\n", "20,0,0,c\n", "60,0,0,d\n"}),
              "4 items, 20 to 90, last 60; level 0: 4 (slot 0: 4)");
}

TEST_F(FileSummaryTest, Update_TimesBeyond31Bits_AreComparedUnsigned) {
    EXPECT_EQ(updated({"2147483648,0,0,a\n", "4294967295,0,0,b\n", "2147483647,0,0,c\n"}),
              "3 items, 2147483647 to 4294967295, last 2147483647; level 0: 3 (slot 0: 3)");
}

TEST_F(FileSummaryTest, Update_TimeZeroFirst_SurvivesAsTheSmallest) {
    EXPECT_EQ(updated({"0,0,0,a\n", "50,0,0,b\n"}), "2 items, 0 to 50, last 50; level 0: 2 (slot 0: 2)");
}

TEST_F(FileSummaryTest, Update_TimeZeroBetween_SurvivesAsTheSmallest) {
    EXPECT_EQ(updated({"50,0,0,a\n", "0,0,0,b\n", "70,0,0,c\n"}),
              "3 items, 0 to 70, last 70; level 0: 3 (slot 0: 3)");
}

TEST_F(FileSummaryTest, Update_LevelsAndSlotsAroundTheLimits_CountInsideThemOnly) {
    EXPECT_EQ(updated({"1,3,7,a\n", "2,3,8,b\n", "3,4,1,c\n", "4,5,9,d\n"}),
              "4 items, 1 to 4, last 4; level 3: 2 (slot 7: 1)");
}

TEST_F(FileSummaryTest, Update_NegativeLevelInEverySlot_TouchesNoOtherWord) {
    EXPECT_EQ(updated(negativeLevelInEverySlot()), describe(sixteenItemsOutsideTheTables()));
    EXPECT_EQ(describe(object_.info(0)), describe(JORN_CSV_INFO{}));
}

TEST_F(FileSummaryTest, Update_NegativeLevelsAndSlots_CountAboveTheTablesStartOnly) {
    EXPECT_EQ(updated({"1,-1,0,a\n", "2,0,-1,b\n", "3,-2147483648,-2147483648,c\n"}),
              "3 items, 1 to 3, last 3; level 0: 1 ()");
}

TEST_F(FileSummaryTest, Update_LineWithoutText_IsAnItem) {
    EXPECT_EQ(updated({"10,1,2\n"}), "1 items, 10 to 10, last 10; level 1: 1 (slot 2: 1)");
}

// The module's largest time.

TEST_F(FileSummaryTest, UpdateMaxTime_LaterTime_RaisesIt) {
    EXPECT_EQ(jorn_UpdateMaxTime(1700000000), 0);
    EXPECT_EQ(jorn_max_csv_time, 1700000000U);
    EXPECT_EQ(jorn_UpdateMaxTime(1700000001), 0);
    EXPECT_EQ(jorn_max_csv_time, 1700000001U);
}

TEST_F(FileSummaryTest, UpdateMaxTime_EarlierTime_LeavesIt) {
    jorn_max_csv_time = 1700000000;
    EXPECT_EQ(jorn_UpdateMaxTime(1699999999), 0);
    EXPECT_EQ(jorn_UpdateMaxTime(0), 0);
    EXPECT_EQ(jorn_max_csv_time, 1700000000U);
}

TEST_F(FileSummaryTest, UpdateMaxTime_TimesBeyond31Bits_AreComparedUnsigned) {
    jorn_UpdateMaxTime(2147483647U);
    jorn_UpdateMaxTime(2147483648U);
    EXPECT_EQ(jorn_max_csv_time, 2147483648U);
    jorn_UpdateMaxTime(4294967295U);
    jorn_UpdateMaxTime(1);
    EXPECT_EQ(jorn_max_csv_time, 4294967295U);
}

}  // namespace
}  // namespace test
