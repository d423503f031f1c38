// SPDX-License-Identifier: Apache-2.0
// The store task's rotation to the next file, and what happens when a file cannot be opened.
#include "store/store_fixture.h"
#include "store/store_task.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using StoreFileTest = StoreTest;

// --- Rotation ------------------------------------------------------------------------------------------

struct RingStep {
    const char *name;
    int32_t csvNum;
    int32_t oldest;
    int32_t latest;
    int32_t newOldest;
    int32_t newLatest;
    const char *index;
    friend std::ostream &operator<<(std::ostream &out, const RingStep &row) { return out << row.name; }
};

class RotationTest : public StoreTest, public ::testing::WithParamInterface<RingStep> {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        handle_ = createAtRest(GetParam().csvNum);
        setRange(handle_, GetParam().oldest, GetParam().latest);
        info(handle_, GetParam().latest).itemCount = 5000;
        newInfo() = staleRecord();
        dir_.write(newFile(), "1600000000,1,1,former\n");
        add(handle_);
    }

    static JORN_CSV_INFO staleRecord() {
        JORN_CSV_INFO stale;
        memset(&stale, 0x5a, sizeof stale);
        return stale;
    }

    JORN_CSV_INFO &newInfo() const { return info(handle_, GetParam().newLatest); }
    static std::string newFile() { return std::to_string(GetParam().newLatest) + ".csv"; }

    int32_t handle_ = 0;
};

TEST_P(RotationTest, Rotation_FullFile_MovesThePositions) {
    pass();
    EXPECT_EQ(object(handle_).csv_oldest, GetParam().newOldest);
    EXPECT_EQ(object(handle_).csv_latest, GetParam().newLatest);
}

TEST_P(RotationTest, Rotation_FullFile_WritesThePositionsToTheIndex) {
    pass();
    EXPECT_EQ(dir_.read("index.csv"), GetParam().index);
    EXPECT_FALSE(dir_.has("index.bak"));
}

TEST_P(RotationTest, Rotation_FullFile_NewFileHoldsTheNewLineOnly) {
    settle();
    EXPECT_EQ(dir_.read(newFile()), kItemLine);
}

TEST_P(RotationTest, Rotation_FullFile_NewRecordCountsTheNewLineOnly) {
    pass();
    JORN_CSV_INFO expected = {};
    expected.itemCount = 1;
    expected.timeMin = expected.timeMax = expected.timeLast = 1700000000U;
    expected.levelStat[1].levelCount = 1;
    expected.levelStat[1].slotCount[5] = 1;
    EXPECT_EQ(memcmp(&newInfo(), &expected, sizeof expected), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rings, RotationTest,
    ::testing::Values(RingStep{"FirstStep", 3, 0, 0, 0, 1, "version:1\n0,1\n"},
                      RingStep{"LastFreeFile", 3, 0, 1, 0, 2, "version:1\n0,2\n"},
                      RingStep{"WrapOntoTheOldest", 3, 0, 2, 1, 0, "version:1\n1,0\n"},
                      RingStep{"WrapBelowTheOldest", 3, 1, 2, 1, 0, "version:1\n1,0\n"},
                      RingStep{"OldestWrapsToo", 3, 2, 1, 0, 2, "version:1\n0,2\n"},
                      RingStep{"OneBehindTheOldest", 5, 3, 1, 3, 2, "version:1\n3,2\n"},
                      RingStep{"SmallestRingFromStart", 2, 0, 0, 0, 1, "version:1\n0,1\n"},
                      RingStep{"SmallestRingWraps", 2, 0, 1, 1, 0, "version:1\n1,0\n"},
                      RingStep{"SmallestRingWrapped", 2, 1, 0, 0, 1, "version:1\n0,1\n"},
                      RingStep{"LargestRingWraps", 90, 0, 89, 1, 0, "version:1\n1,0\n"},
                      RingStep{"LargestRingEnd", 90, 89, 88, 0, 89, "version:1\n0,89\n"}),
    RowName());

TEST_F(StoreFileTest, Rotation_IndexRewrite_ComesAfterThePositionsAndBeforeTheRecord) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 0, 2);
    info(handle, 2).itemCount = 5000;
    info(handle, 0).itemCount = 4711;
    bool isReached = false;
    platform().onCall("fopen index.csv w", [&](const std::string &) {
        isReached = true;
        EXPECT_EQ(object(handle).csv_latest, 0);
        EXPECT_EQ(object(handle).csv_oldest, 1);
        EXPECT_EQ(info(handle, 0).itemCount, 4711U);
    });
    storeOne(handle);
    EXPECT_TRUE(isReached);
    EXPECT_EQ(info(handle, 0).itemCount, 1U);
}

TEST_F(StoreFileTest, Rotation_NewFileBeingOpened_PositionsAreStillTheFormerOnes) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 1, 0);
    info(handle, 0).itemCount = 5000;
    bool isReached = false;
    platform().onCall("fopen 1.csv w", [&](const std::string &) {
        isReached = true;
        EXPECT_EQ(object(handle).csv_latest, 0);
        EXPECT_EQ(object(handle).csv_oldest, 1);
    });
    storeOne(handle);
    EXPECT_TRUE(isReached);
}

TEST_F(StoreFileTest, Rotation_OtherRecords_StayAsTheyAre) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    info(handle, 2).itemCount = 123;
    storeOne(handle);
    EXPECT_EQ(info(handle, 0).itemCount, 5000U);
    EXPECT_EQ(info(handle, 2).itemCount, 123U);
}

TEST_F(StoreFileTest, Rotation_IndexCannotBeWritten_LinesGoOnInTheNewFile) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    platform().fail("fopen index.csv w");
    storeOne(handle);
    settle();
    EXPECT_THAT(messages(), ElementsAre("Create index.csv error!"));
    EXPECT_EQ(dir_.read("1.csv"), kItemLine);
    EXPECT_EQ(object(handle).csv_latest, 1);
    EXPECT_EQ(dir_.read("index.bak"), "version:1\n0,0\n") << "the medium keeps the former positions";
    EXPECT_FALSE(dir_.has("index.csv"));
}

TEST_F(StoreFileTest, Rotation_Restarted_GoesOnWithTheNewFile) {
    createSecondAtRest(2);  // keeps the store task alive, so that the test controls its passes
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    storeOne(handle);
    settle();
    ASSERT_EQ(JORN_Destroy(handle), 0);
    ASSERT_EQ(createAtRest(3), handle);
    EXPECT_EQ(object(handle).csv_oldest, 0);
    EXPECT_EQ(object(handle).csv_latest, 1);
    EXPECT_EQ(dir_.read("1.csv"), std::string(kItemLine) + kInitLine);
}

// --- Files that cannot be opened -----------------------------------------------------------------------

TEST_F(StoreFileTest, Start_Fails_MessageNamesThePosition) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 0, 2);
    dir_.block("2.csv");
    expectMessageAt(1, "Create 2.csv failed!", [handle] { storeOne(handle); });
    EXPECT_THAT(platform().calls({"fopen"}), ElementsAre("fopen 2.csv w"));
}

TEST_F(StoreFileTest, Start_Fails_RecordAndPositionsStay) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 0, 2);
    dir_.block("2.csv");
    storeOne(handle);
    EXPECT_EQ(object(handle).csv_oldest, 0);
    EXPECT_EQ(object(handle).csv_latest, 2);
    EXPECT_TRUE(isAllZero(info(handle, 2)));
}

TEST_F(StoreFileTest, Start_FailsOnce_NextMessageStartsTheFile) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 0, 2);
    platform().fail("fopen 2.csv w");
    JORN_AddOneLog(handle, 1, 5, "lost");
    add(handle);
    pass();
    settle();
    EXPECT_EQ(dir_.read("2.csv"), kItemLine);
}

TEST_F(StoreFileTest, Continue_AppendAndWriteFail_MessageNamesThePosition) {
    const int32_t handle = createAtRest(3);
    dir_.remove("0.csv");
    dir_.block("0.csv");
    expectMessageAt(1, "Create 0.csv failed!", [handle] { storeOne(handle); });
    EXPECT_THAT(platform().calls({"fopen"}), ElementsAre("fopen 0.csv a", "fopen 0.csv w"));
}

TEST_F(StoreFileTest, Continue_AppendAndWriteFail_RecordStays) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 7;
    platform().fail("fopen 0.csv", 2);
    storeOne(handle);
    EXPECT_EQ(info(handle, 0).itemCount, 7U);
}

TEST_F(StoreFileTest, Rotation_Fails_MessageNamesTheNewPosition) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    dir_.block("1.csv");
    expectMessageAt(1, "Create 1.csv failed!", [handle] { storeOne(handle); });
}

TEST_F(StoreFileTest, Rotation_FailsWithFileOpen_FileIsClosedAndBatchEnds) {
    const int32_t handle = createAtRest(3);
    storeOne(handle);
    info(handle, 0).itemCount = 5000;
    dir_.block("1.csv");
    add(handle);
    add(handle);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "fclose",
                                           "fopen 1.csv w", "semGive", "taskDelay 100"));
}

TEST_F(StoreFileTest, Rotation_Fails_PositionsRecordsAndIndexStay) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 1, 0);
    info(handle, 0).itemCount = 5000;
    info(handle, 1).itemCount = 4711;
    dir_.block("1.csv");
    storeOne(handle);
    EXPECT_EQ(object(handle).csv_latest, 0);
    EXPECT_EQ(object(handle).csv_oldest, 1);
    EXPECT_EQ(info(handle, 0).itemCount, 5000U);
    EXPECT_EQ(info(handle, 1).itemCount, 4711U);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,0\n");
}

TEST_F(StoreFileTest, Rotation_FailsAgainAndAgain_EachMessageTriesAndIsLost) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    dir_.block("1.csv");
    JORN_AddOneLog(handle, 1, 5, "lost");
    JORN_AddOneLog(handle, 1, 5, "lost too");
    add(handle);
    pass();
    pass();
    EXPECT_THAT(messages(), ElementsAre("Create 1.csv failed!", "Create 1.csv failed!"));

    dir_.remove("1.csv");
    settle();
    EXPECT_EQ(dir_.read("1.csv"), kItemLine);
    EXPECT_EQ(dir_.read("0.csv"), kInitLine);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n");
}

TEST_F(StoreFileTest, Rotation_FailsForOneObject_OtherObjectsAreServedInLaterPasses) {
    const int32_t handle = createAtRest(3);
    const int32_t other = createSecondAtRest(2);
    info(handle, 0).itemCount = 5000;
    dir_.block("1.csv");
    add(handle);
    add(other);
    pass();
    EXPECT_EQ(info(other, 0).itemCount, 1U) << "the batch has ended early";
    pass();
    EXPECT_EQ(info(other, 0).itemCount, 2U);
}

// --- A file that is gone after a rotation --------------------------------------------------------------

/// Makes the store task lose its open file in the middle of a rotation, as the destruction of the object at
/// that moment would.
void letGoDuringRotation(JORN_OBJ *obj) {
    platform().onCall("fopen index.csv w", [obj](const std::string &) { jorn::storeTaskLetGo(obj); });
}

TEST_F(StoreFileTest, Rotation_FileGoneAfterIt_IsReported) {
    const int32_t handle = createAtRest(3);
    letGoDuringRotation(&object(handle));
    expectMessageAt(1, "process error, fp=NULL!", [handle] {
        info(handle, object(handle).csv_latest).itemCount = 5000;
        storeOne(handle);
    });
}

TEST_F(StoreFileTest, Rotation_FileGoneAfterIt_EndsTheBatch) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    letGoDuringRotation(&object(handle));
    add(handle);
    add(handle);
    Calls rewrite = indexRewrite();
    rewrite.insert(rewrite.begin() + 5, "fclose");
    EXPECT_THAT(callsOfPass(),
                ElementsAreArray(Calls{"msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "fopen 1.csv w"} +
                                 rewrite + Calls{"semGive", "taskDelay 100"}));
    EXPECT_TRUE(isMutexFree());
}

TEST_F(StoreFileTest, Rotation_FileGoneAfterIt_PositionsAreMovedAndRecordCleared) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 5000;
    info(handle, 1).itemCount = 4711;
    letGoDuringRotation(&object(handle));
    storeOne(handle);
    EXPECT_EQ(object(handle).csv_latest, 1);
    EXPECT_TRUE(isAllZero(info(handle, 1)));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n");
}

}  // namespace
}  // namespace test
