// SPDX-License-Identifier: Apache-2.0
// After a clearing: where the next lines go, and what a restart finds.
#include "store/clearing_fixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;

// --- Lines after a clearing ----------------------------------------------------------------------------

TEST_F(ClearingTest, Clear_NothingOpen_NextLineEmptiesTheNewFile) {
    const int32_t handle = createAtRest(3);
    dir_.write("1.csv", "1600000000,1,1,former\n");
    JORN_ClearAllLog(handle, 0);
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 1.csv w", "fwrite 25x1"));
    settle();
    EXPECT_EQ(dir_.read("1.csv"), kItemLine);
    EXPECT_EQ(dir_.read("0.csv"), kInitLine);
}

TEST_F(ClearingTest, Clear_FileOpen_LinesGoOnIntoItAndCountAtTheNewPosition) {
    const int32_t handle = createAtRest(3);
    storeOne(handle);
    JORN_ClearAllLog(handle, 1);
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 32x1", "fwrite 25x1"));
    EXPECT_EQ(info(handle, 0).itemCount, 0U);
    EXPECT_EQ(info(handle, 1).itemCount, 2U);
    settle();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine + kClearLine + kItemLine);
    EXPECT_FALSE(dir_.has("1.csv"));
}

TEST_F(ClearingTest, Clear_FileOpenAndLinesCountedSince_NewFileIsContinued) {
    const int32_t handle = createAtRest(3);
    dir_.write("1.csv", "1600000000,1,1,former\n");
    storeOne(handle);
    JORN_ClearAllLog(handle, 1);
    settle();
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 1.csv a", "fwrite 25x1"));
    settle();
    EXPECT_EQ(dir_.read("1.csv"), std::string("1600000000,1,1,former\n") + kItemLine);
}

TEST_F(ClearingTest, Clear_FileOpenAndNoLineSince_NewFileIsEmptied) {
    const int32_t handle = createAtRest(3);
    dir_.write("1.csv", "1600000000,1,1,former\n");
    storeOne(handle);
    JORN_ClearAllLog(handle, 0);
    pass();
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 1.csv w", "fwrite 25x1"));
}

TEST_F(ClearingTest, Clear_FileOpenAndOtherObjectServed_NewFileIsOpened) {
    const int32_t handle = createAtRest(3);
    const int32_t other = createSecondAtRest(2);
    storeOne(handle);
    JORN_ClearAllLog(handle, 0);
    add(other);
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fclose", "fopen 0.csv a", "fwrite 25x1", "fclose",
                                               "fopen 1.csv w", "fwrite 25x1"));
}

TEST_F(ClearingTest, Clear_FileOpenUntilTheNewRecordIsFull_IsClosedAndTheRingMovesOn) {
    const int32_t handle = createAtRest(3);
    storeOne(handle);
    JORN_ClearAllLog(handle, 0);
    info(handle, 1).itemCount = 4999;
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1", "fclose"));
    add(handle);
    pass();
    expectRange(handle, 1, 2);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,2\n");
}

TEST_F(ClearingTest, Clear_ItemsStillQueued_AreStoredAfterTheClearing) {
    const int32_t handle = createAtRest(3);
    add(handle);
    JORN_ClearAllLog(handle, 1);
    settle();
    EXPECT_EQ(dir_.read("1.csv"), std::string(kItemLine) + kClearLine);
}

// --- Restart before the new file was opened ------------------------------------------------------------

/// A cleared object that is created anew. Another object keeps the store task alive, so that nothing is
/// stored before the test looks.
class RestartTest : public ClearingTest {
protected:
    void SetUp() override {
        ClearingTest::SetUp();
        createSecondAtRest(2);
        handle_ = createAtRest(3);
    }

    void clearAndRestart() {
        ASSERT_EQ(JORN_ClearAllLog(handle_, 0), 0);
        ASSERT_EQ(JORN_Destroy(handle_), 0);
        ASSERT_EQ(JORN_Create(dir_.name(), 8, 3), handle_);
    }

    int32_t handle_ = 0;
};

TEST_F(RestartTest, Restart_NewFileHeldItemsBefore_TheyAreSummarisedAgain) {
    dir_.write("1.csv", "1600000000,1,1,former\n1600000001,2,1,former\n");
    clearAndRestart();
    expectRange(handle_, 1, 1);
    EXPECT_EQ(info(handle_, 1).itemCount, 2U);
    EXPECT_EQ(object(handle_).final_csv_time, 1600000001U);
    EXPECT_TRUE(isAllZero(info(handle_, 0)));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,1\n");
    EXPECT_THAT(dir_.names(), ElementsAre("0.csv", "1.csv", "index.csv"));
}

TEST_F(RestartTest, Restart_NewFileHeldItemsBefore_LinesAreAppendedToThem) {
    dir_.write("1.csv", "1600000000,1,1,former\n");
    clearAndRestart();
    settle();
    EXPECT_EQ(dir_.read("1.csv"), std::string("1600000000,1,1,former\n") + kInitLine);
}

TEST_F(RestartTest, Restart_NewFileMissing_NewestFormerFileIsMovedThere) {
    clearAndRestart();
    expectRange(handle_, 1, 1);
    EXPECT_EQ(dir_.read("1.csv"), kInitLine) << "the gap in the ring is closed";
    EXPECT_FALSE(dir_.has("0.csv"));
    EXPECT_EQ(info(handle_, 1).itemCount, 1U);
}

TEST_F(RestartTest, Restart_ClearedAndLoggedBefore_HoldsTheClearingOnly) {
    ASSERT_EQ(JORN_ClearAllLog(handle_, 1), 0);
    settle();
    ASSERT_EQ(JORN_Destroy(handle_), 0);
    ASSERT_EQ(JORN_Create(dir_.name(), 8, 3), handle_);
    expectRange(handle_, 1, 1);
    EXPECT_EQ(info(handle_, 1).itemCount, 1U);
    EXPECT_EQ(dir_.read("1.csv"), kClearLine);
}

}  // namespace
}  // namespace test
