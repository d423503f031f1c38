// SPDX-License-Identifier: Apache-2.0
// Clearing: the ring's range moves on, the index says so, and nothing is deleted.
#include <msgQLib.h>
#include <semLib.h>

#include "store/clearing_fixture.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr char kAllDeleted[] = "(bare) Logs are all deleted!\r\n";
constexpr char kClearMessage[] = "msgQSend 35 0 0 1,1700000000,3,0,Log all cleared!\n";

// --- The unknown handle --------------------------------------------------------------------------------

TEST_F(ClearingTest, Clear_UnknownHandle_FailsWithMessage) {
    createAtRest(5);
    expectMessageAt(1, "hanld_id = 2, not found!", [] { EXPECT_EQ(JORN_ClearAllLog(2, 1), -1); });
    expectMessageAt(1, "hanld_id = -1, not found!", [] { EXPECT_EQ(JORN_ClearAllLog(-1, 1), -1); });
    expectMessageAt(1, "hanld_id = 0, not found!", [] { EXPECT_EQ(JORN_ClearAllLog(0, 1), -1); });
}

TEST_F(ClearingTest, Clear_UnknownHandle_DoesNothing) {
    createAtRest(5);
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(JORN_ClearAllLog(2, 1), -1);
    EXPECT_THAT(platform().calls(), IsEmpty());
    EXPECT_THAT(messages(), ElementsAre("hanld_id = 2, not found!"));
}

TEST_F(ClearingTest, Clear_NoObjectAtAll_Fails) { EXPECT_EQ(JORN_ClearAllLog(1, 1), -1); }

// --- The range -----------------------------------------------------------------------------------------

struct ClearStep {
    const char *name;
    int32_t csvNum;
    int32_t oldest;
    int32_t latest;
    int32_t cleared;  ///< Oldest and latest position afterwards.
    const char *index;
    friend std::ostream &operator<<(std::ostream &out, const ClearStep &row) { return out << row.name; }
};

class ClearStepTest : public ClearingTest, public ::testing::WithParamInterface<ClearStep> {};

TEST_P(ClearStepTest, Clear_AnyRange_BothPositionsGoToTheFileAfterTheLatest) {
    const int32_t handle = createAtRest(GetParam().csvNum);
    setRange(handle, GetParam().oldest, GetParam().latest);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    expectRange(handle, GetParam().cleared, GetParam().cleared);
    EXPECT_EQ(dir_.read("index.csv"), GetParam().index);
    EXPECT_FALSE(dir_.has("index.bak"));
}

INSTANTIATE_TEST_SUITE_P(Ranges, ClearStepTest,
                         ::testing::Values(ClearStep{"FullRing", 5, 0, 4, 0, "version:1\n0,0\n"},
                                           ClearStep{"FirstFile", 5, 0, 0, 1, "version:1\n1,1\n"},
                                           ClearStep{"BeforeTheLast", 5, 1, 3, 4, "version:1\n4,4\n"},
                                           ClearStep{"WrappedRange", 5, 3, 1, 2, "version:1\n2,2\n"},
                                           ClearStep{"OntoTheOldest", 5, 3, 2, 3, "version:1\n3,3\n"},
                                           ClearStep{"SmallestRing", 2, 1, 0, 1, "version:1\n1,1\n"},
                                           ClearStep{"SmallestRingWraps", 2, 0, 1, 0, "version:1\n0,0\n"},
                                           ClearStep{"LargestRing", 90, 0, 88, 89, "version:1\n89,89\n"},
                                           ClearStep{"LargestRingWraps", 90, 0, 89, 0, "version:1\n0,0\n"},
                                           ClearStep{"LatestMinus1", 5, 0, -1, 0, "version:1\n0,0\n"}),
                         RowName());

class OutsideLatestTest : public ClearingTest, public ::testing::WithParamInterface<int32_t> {};

TEST_P(OutsideLatestTest, Clear_LatestOutsideTheRing_LeadsIntoTheRing) {
    const int32_t handle = createAtRest(5);
    setRange(handle, 0, GetParam());
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    const int32_t cleared = object(handle).csv_latest;
    EXPECT_GE(cleared, 0);
    EXPECT_LT(cleared, 5);
    expectRange(handle, cleared, cleared);
    EXPECT_EQ(dir_.read("index.csv"),
              "version:1\n" + std::to_string(cleared) + "," + std::to_string(cleared) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Positions, OutsideLatestTest,
                         ::testing::Values(-2, -90, 5, 89, 90, 2147483647, -2147483647 - 1));

TEST_F(ClearingTest, Clear_Twice_AdvancesTwice) {
    const int32_t handle = createAtRest(5);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    expectRange(handle, 1, 1);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    expectRange(handle, 2, 2);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n2,2\n");
}

TEST_F(ClearingTest, Clear_AsManyTimesAsTheRingHasFiles_IsBackWhereItBegan) {
    const int32_t handle = createAtRest(3);
    JORN_ClearAllLog(handle, 0);
    JORN_ClearAllLog(handle, 0);
    JORN_ClearAllLog(handle, 0);
    expectRange(handle, 0, 0);
}

TEST_F(ClearingTest, Clear_FilledRecords_AreAllZero) {
    const int32_t handle = createAtRest(90);
    fillRecords(handle);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_TRUE(areAllRecordsZero(handle));
}

TEST_F(ClearingTest, Clear_OtherVersionInMemory_SetsVersion1) {
    const int32_t handle = createAtRest(5);
    object(handle).index_version = 7;
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(object(handle).index_version, 1);
}

TEST_F(ClearingTest, Clear_OtherFields_StayAsTheyAre) {
    const int32_t handle = createAtRest(5, 6);
    object(handle).final_csv_time = 4294967295U;
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(object(handle).final_csv_time, 4294967295U);
    EXPECT_EQ(object(handle).csv_num, 5);
    EXPECT_EQ(object(handle).slot_max, 6);
    EXPECT_EQ(object(handle).level_max, 4);
    EXPECT_EQ(object(handle).handle_id, handle);
}

TEST_F(ClearingTest, Clear_OtherObject_StaysAsItIs) {
    const int32_t handle = createAtRest(5);
    const int32_t other = createSecondAtRest(3);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    expectRange(other, 0, 0);
    EXPECT_EQ(info(other, 0).itemCount, 1U);
    EXPECT_EQ(secondDir_.read("index.csv"), "version:1\n0,0\n");
}

TEST_F(ClearingTest, Clear_DataFiles_StayOnTheMedium) {
    const int32_t handle = createAtRest(3);
    dir_.write("1.csv", "1600000000,1,1,former\n");
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("0.csv", "1.csv", "index.csv"));
    EXPECT_EQ(dir_.read("0.csv"), kInitLine);
    EXPECT_EQ(dir_.read("1.csv"), "1600000000,1,1,former\n");
}

TEST_F(ClearingTest, Clear_Afterwards_QueriesFindNothing) {
    const int32_t handle = createAtRest(3);
    store(handle, 5, "item ");
    settle();
    ASSERT_EQ(JORN_CountRequireTotalNum(handle, everything()), 6);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, everything()), 0);
}

// --- Order and lock ------------------------------------------------------------------------------------

TEST_F(ClearingTest, Clear_WithoutItem_TakesTheMutexAroundTheIndexRewriteOnly) {
    const int32_t handle = createAtRest(5);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_THAT(platform().calls(),
                ElementsAreArray(Calls{"semTake -1"} + indexRewrite() + Calls{"semGive"}));
}

TEST_F(ClearingTest, Clear_WithItem_SubmitsItAfterTheMutexIsGiven) {
    const int32_t handle = createAtRest(5);
    EXPECT_EQ(JORN_ClearAllLog(handle, 1), 0);
    EXPECT_THAT(platform().calls(), ElementsAreArray(Calls{"semTake -1"} + indexRewrite() +
                                                     Calls{"semGive", "time", kClearMessage}));
}

TEST_F(ClearingTest, Clear_IndexBeingRewritten_MutexIsHeld) {
    const int32_t handle = createAtRest(5);
    std::vector<bool> wasFree;
    platform().onCall("fopen index.csv r", [&](const std::string &) { wasFree.push_back(isMutexFree()); });
    platform().onCall("rm index.bak", [&](const std::string &) { wasFree.push_back(isMutexFree()); });
    JORN_ClearAllLog(handle, 0);
    EXPECT_THAT(wasFree, ElementsAre(false, false));
    EXPECT_TRUE(isMutexFree());
}

TEST_F(ClearingTest, Clear_MutexBeingGiven_FieldsAreStillTheFormerOnes) {
    const int32_t handle = createAtRest(5);
    setRange(handle, 1, 3);
    object(handle).index_version = 7;
    fillRecords(handle);
    bool isReached = false;
    platform().onCall("semGive", [&](const std::string &) {
        isReached = true;
        expectRange(handle, 1, 3);
        EXPECT_EQ(object(handle).index_version, 7);
        EXPECT_EQ(info(handle, 4).itemCount, 100U);
        EXPECT_EQ(dir_.read("index.csv"), "version:1\n4,4\n");
    });
    JORN_ClearAllLog(handle, 0);
    EXPECT_TRUE(isReached);
}

TEST_F(ClearingTest, Clear_ItemBeingSubmitted_FieldsAreTheNewOnes) {
    const int32_t handle = createAtRest(5);
    fillRecords(handle);
    bool isReached = false;
    platform().onCall("msgQSend", [&](const std::string &) {
        isReached = true;
        expectRange(handle, 1, 1);
        EXPECT_TRUE(areAllRecordsZero(handle));
        EXPECT_TRUE(isMutexFree());
    });
    JORN_ClearAllLog(handle, 1);
    EXPECT_TRUE(isReached);
}

TEST_F(ClearingTest, Clear_RotationBeforeTheMutexIsTaken_GoesToThePositionAfterTheFormerLatest) {
    const int32_t handle = createAtRest(5);
    platform().onCall("semTake", [&](const std::string &) { setRange(handle, 0, 1); });
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    expectRange(handle, 1, 1);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,1\n");
}

TEST_F(ClearingTest, Clear_AnotherClearingBeforeTheMutexIsTaken_BothGoToTheSamePosition) {
    const int32_t handle = createAtRest(5);
    platform().onCall("semTake", once([handle] { EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0); }));
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    expectRange(handle, 1, 1);
}

TEST_F(ClearingTest, Clear_BatchRotatesBeforeTheFieldsChange_IndexKeepsTheRotationsPositions) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    add(handle);
    // The clearing releases the mutex, and the batch runs before it continues.
    platform().onCall("semGive", once([] {
                          semGive(logSemCsvRW_ID);
                          pass();
                          semTake(logSemCsvRW_ID, WAIT_FOREVER);
                      }));
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n") << "as the rotation wrote it";
    expectRange(handle, 1, 1);
    EXPECT_TRUE(areAllRecordsZero(handle));
    pass();
    EXPECT_EQ(dir_.read("1.csv"), kItemLine);
}

// --- The item ------------------------------------------------------------------------------------------

TEST_F(ClearingTest, Clear_AddClearLog1_QueuesOneItemOfLevel3Slot0) {
    const int32_t handle = createAtRest(5, 1);
    EXPECT_EQ(JORN_ClearAllLog(handle, 1), 0);
    EXPECT_EQ(msgQNumMsgs(logMsgCsvStore_ID), 1);
    settle();
    EXPECT_EQ(dir_.read("1.csv"), kClearLine);
    EXPECT_EQ(info(handle, 1).levelStat[3].slotCount[0], 1U);
}

TEST_F(ClearingTest, Clear_AddClearLogLargest_QueuesOneItem) {
    const int32_t handle = createAtRest(5);
    EXPECT_EQ(JORN_ClearAllLog(handle, 2147483647), 0);
    EXPECT_THAT(platform().calls({"msgQSend"}), ElementsAre(kClearMessage));
}

TEST_F(ClearingTest, Clear_AddClearLog0OrNegative_QueuesNothing) {
    const int32_t handle = createAtRest(5);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(JORN_ClearAllLog(handle, -1), 0);
    EXPECT_EQ(JORN_ClearAllLog(handle, -2147483647 - 1), 0);
    EXPECT_THAT(platform().calls({"msgQSend"}), IsEmpty());
}

TEST_F(ClearingTest, Clear_QueueFull_SucceedsWithoutTheItem) {
    const int32_t handle = createAtRest(5);
    for (int i = 0; i < JORN_QUEUE_MAX; ++i) {
        add(handle);
    }
    EXPECT_EQ(JORN_ClearAllLog(handle, 1), 0);
    EXPECT_THAT(messages(), ElementsAre("(bare) errno 0x3D0002\r\n",
                                        "Msg send error = 0x3D0002, 1,1700000000,3,0,Log all cleared!\n"));
    expectRange(handle, 1, 1);
}

// --- Messages ------------------------------------------------------------------------------------------

TEST_F(ClearingTest, Clear_Success_PrintsBareFromLevel7) {
    const int32_t handle = createAtRest(5);
    expectMessageAt(7, kAllDeleted, [handle] { EXPECT_EQ(JORN_ClearAllLog(handle, 1), 0); });
}

TEST_F(ClearingTest, Clear_SuccessAtLevel6_PrintsNothing) {
    const int32_t handle = createAtRest(5);
    jorn_SetDebugPrintLevel(6);
    EXPECT_EQ(JORN_ClearAllLog(handle, 1), 0);
    EXPECT_THAT(platform().pieces(), IsEmpty());
}

TEST_F(ClearingTest, Clear_SuccessAtLevel7_IsOnePrint) {
    const int32_t handle = createAtRest(5);
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_THAT(platform().pieces(), ElementsAre("Logs are all deleted!\r\n"));
}

TEST_F(ClearingTest, Clear_ItemRefusedAtLevel7_StillReportsTheClearing) {
    const int32_t handle = createAtRest(5);
    platform().fail("msgQSend");
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(JORN_ClearAllLog(handle, 1), 0);
    EXPECT_THAT(messages(), Contains(kAllDeleted));
}

// --- The index cannot be written -----------------------------------------------------------------------

class FailedClearingTest : public ClearingTest {
protected:
    void SetUp() override {
        ClearingTest::SetUp();
        handle_ = createAtRest(5);
        setRange(handle_, 0, 0);
        platform().fail("fopen index.csv w", probe::Probe::kForever);
    }

    int32_t handle_ = 0;
};

TEST_F(FailedClearingTest, Clear_IndexCannotBeWritten_FailsWithTheIndexMessage) {
    expectMessageAt(1, "Create index.csv error!", [this] { EXPECT_EQ(JORN_ClearAllLog(handle_, 1), -1); });
}

TEST_F(FailedClearingTest, Clear_IndexCannotBeWritten_MemoryStays) {
    object(handle_).index_version = 7;
    fillRecords(handle_);
    EXPECT_EQ(JORN_ClearAllLog(handle_, 1), -1);
    expectRange(handle_, 0, 0);
    EXPECT_EQ(object(handle_).index_version, 7);
    for (int32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(info(handle_, i).itemCount, 100U) << i;
    }
}

TEST_F(FailedClearingTest, Clear_IndexCannotBeWritten_QueuesAndReportsNothing) {
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(JORN_ClearAllLog(handle_, 1), -1);
    EXPECT_THAT(platform().calls({"msgQSend"}), IsEmpty());
    EXPECT_THAT(messages(), ElementsAre("Create index.csv error!"));
}

TEST_F(FailedClearingTest, Clear_IndexCannotBeWritten_GivesTheMutexBack) {
    EXPECT_EQ(JORN_ClearAllLog(handle_, 1), -1);
    EXPECT_EQ(platform().calls().back(), "semGive");
    EXPECT_TRUE(isMutexFree());
}

TEST_F(FailedClearingTest, Clear_IndexCannotBeWritten_RestartReadsTheFormerIndexFromTheBackup) {
    createSecondAtRest(2);  // keeps the store task alive, so that the test controls its passes
    EXPECT_EQ(JORN_ClearAllLog(handle_, 0), -1);
    EXPECT_EQ(dir_.read("index.bak"), "version:1\n0,0\n");
    EXPECT_FALSE(dir_.has("index.csv"));
    ASSERT_EQ(JORN_Destroy(handle_), 0);

    platform().reset();
    const int32_t again = JORN_Create(dir_.name(), 8, 5);
    expectRange(again, 0, 0);
    EXPECT_EQ(info(again, 0).itemCount, 1U);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,0\n");
    EXPECT_FALSE(dir_.has("index.bak"));
}

}  // namespace
}  // namespace test
