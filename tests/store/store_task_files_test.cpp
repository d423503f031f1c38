// SPDX-License-Identifier: Apache-2.0
// Which file the store task writes a line to: opening, continuing, and a full file.
#include "store/store_fixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// --- Choosing the file ---------------------------------------------------------------------------------

/// What the store task has open when a message for the object at position 0 of a ring of 3 arrives.
enum class Held { kNothing, kSameFile, kOtherObject };

struct FileChoice {
    const char *name;
    Held held;
    uint32_t count;  ///< Items counted in the current file before the message.
    Calls calls;     ///< What the message makes the task do to files.
    friend std::ostream &operator<<(std::ostream &out, const FileChoice &row) { return out << row.name; }
};

class FileChoiceTest : public StoreTest, public ::testing::WithParamInterface<FileChoice> {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        handle_ = createAtRest(3);
        other_ = createSecondAtRest(3);
        hold(GetParam().held);
        info(handle_, 0).itemCount = GetParam().count;
        add(handle_);
    }

    void hold(Held held) const {
        if (held != Held::kNothing) {
            storeOne(held == Held::kSameFile ? handle_ : other_);
        }
    }

    int32_t handle_ = 0;
    int32_t other_ = 0;
};

TEST_P(FileChoiceTest, Message_ByStateAndCount_TouchesJustTheseFiles) {
    EXPECT_THAT(fileCallsOfPass(), ElementsAreArray(GetParam().calls));
}

TEST_P(FileChoiceTest, Message_ByStateAndCount_IsCountedAtTheCurrentPosition) {
    pass();
    const bool isRotated = GetParam().count >= 5000;
    EXPECT_EQ(object(handle_).csv_latest, isRotated ? 1 : 0);
    EXPECT_EQ(object(handle_).csv_oldest, 0);
    EXPECT_EQ(info(handle_, 0).itemCount, isRotated ? GetParam().count : GetParam().count + 1);
    EXPECT_EQ(info(handle_, 1).itemCount, isRotated ? 1U : 0U);
}

Calls closing() { return {"fclose"}; }
Calls writing() { return {"fwrite 25x1"}; }
Calls starting() { return {"fopen 0.csv w"}; }
Calls continuing() { return {"fopen 0.csv a"}; }
Calls rotating() { return Calls{"fopen 1.csv w"} + indexRewrite(); }

INSTANTIATE_TEST_SUITE_P(
    NothingOpen, FileChoiceTest,
    ::testing::Values(FileChoice{"Count0", Held::kNothing, 0, starting() + writing()},
                      FileChoice{"Count1", Held::kNothing, 1, continuing() + writing()},
                      FileChoice{"Count4998", Held::kNothing, 4998, continuing() + writing()},
                      FileChoice{"Count4999", Held::kNothing, 4999, continuing() + writing() + closing()},
                      FileChoice{"Count5000", Held::kNothing, 5000, rotating() + writing()},
                      FileChoice{"Count5001", Held::kNothing, 5001, rotating() + writing()}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    SameFileOpen, FileChoiceTest,
    ::testing::Values(FileChoice{"Count0", Held::kSameFile, 0, writing()},
                      FileChoice{"Count1", Held::kSameFile, 1, writing()},
                      FileChoice{"Count4998", Held::kSameFile, 4998, writing()},
                      FileChoice{"Count4999", Held::kSameFile, 4999, writing() + closing()},
                      FileChoice{"Count5000", Held::kSameFile, 5000, closing() + rotating() + writing()},
                      FileChoice{"Count5001", Held::kSameFile, 5001, closing() + rotating() + writing()}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    OtherObjectsFileOpen, FileChoiceTest,
    ::testing::Values(FileChoice{"Count0", Held::kOtherObject, 0, closing() + starting() + writing()},
                      FileChoice{"Count1", Held::kOtherObject, 1, closing() + continuing() + writing()},
                      FileChoice{"Count4998", Held::kOtherObject, 4998, closing() + continuing() + writing()},
                      FileChoice{"Count4999", Held::kOtherObject, 4999,
                                 closing() + continuing() + writing() + closing()},
                      FileChoice{"Count5000", Held::kOtherObject, 5000, closing() + rotating() + writing()},
                      FileChoice{"Count5001", Held::kOtherObject, 5001, closing() + rotating() + writing()}),
    RowName());

using StoreFileTest = StoreTest;

TEST_F(StoreFileTest, Count_AboveInt32_IsNegativeAndDoesNotRotate) {
    const int32_t handle = createAtRest(3);
    storeOne(handle);
    info(handle, 0).itemCount = 0x80000000U + 5000U;
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1"));
}

TEST_F(StoreFileTest, Start_FileWithFormerContent_IsEmptiedFirst) {
    const int32_t handle = createAtRest(2);
    dir_.write("1.csv", "1600000000,1,1,former\n");
    setRange(handle, 1, 1);
    storeOne(handle);
    pass();
    EXPECT_EQ(dir_.read("1.csv"), kItemLine);
}

TEST_F(StoreFileTest, Continue_FileMissing_AppendCreatesItAndKeepsTheRecord) {
    const int32_t handle = createAtRest(2);
    info(handle, 0).itemCount = 7;
    dir_.remove("0.csv");
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fwrite 25x1"));
    settle();
    EXPECT_EQ(dir_.read("0.csv"), kItemLine);
    EXPECT_EQ(info(handle, 0).itemCount, 8U);
}

TEST_F(StoreFileTest, Continue_AppendFails_FileIsStartedAfreshAndRecordCleared) {
    const int32_t handle = createAtRest(2);
    info(handle, 0).itemCount = 7;
    info(handle, 0).levelStat[2].slotCount[3] = 7;
    platform().fail("fopen 0.csv a");
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fopen 0.csv w", "fwrite 25x1"));
    settle();
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(dir_.read("0.csv"), kItemLine);
    EXPECT_EQ(info(handle, 0).itemCount, 1U);
    EXPECT_EQ(info(handle, 0).levelStat[2].slotCount[3], 0U);
    EXPECT_EQ(info(handle, 0).levelStat[3].levelCount, 0U);
    EXPECT_EQ(info(handle, 0).levelStat[1].slotCount[5], 1U);
}

TEST_F(StoreFileTest, Line_FileOpenForAnotherPosition_GoesThereAndCountsAtTheCurrentOne) {
    const int32_t handle = createAtRest(3);
    storeOne(handle);
    object(handle).csv_latest = 2;
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1"));
    settle();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine + kItemLine);
    EXPECT_EQ(info(handle, 0).itemCount, 2U);
    EXPECT_EQ(info(handle, 2).itemCount, 1U);
    EXPECT_FALSE(dir_.has("2.csv"));
}

struct OutsidePosition {
    const char *name;
    int32_t latest;
    const char *file;
    friend std::ostream &operator<<(std::ostream &out, const OutsidePosition &row) { return out << row.name; }
};

class OutsidePositionTest : public StoreTest, public ::testing::WithParamInterface<OutsidePosition> {};

TEST_P(OutsidePositionTest, Line_LatestOutsideTheRing_StaysWithinTheRing) {
    const int32_t handle = createAtRest(3);
    setRange(handle, 0, GetParam().latest);
    storeOne(handle);
    settle();
    EXPECT_EQ(dir_.read(GetParam().file), kItemLine);
}

INSTANTIATE_TEST_SUITE_P(Positions, OutsidePositionTest,
                         ::testing::Values(OutsidePosition{"Negative", -1, "2.csv"},
                                           OutsidePosition{"AboveTheRing", 4, "1.csv"},
                                           OutsidePosition{"LastOfAll", 89, "2.csv"},
                                           OutsidePosition{"Largest", 2147483647, "1.csv"},
                                           OutsidePosition{"Smallest", -2147483647 - 1, "1.csv"}),
                         RowName());

// --- Two objects ---------------------------------------------------------------------------------------

TEST_F(StoreFileTest, TwoObjects_Alternating_FileIsReopenedForEveryMessage) {
    const int32_t first = createAtRest(2);
    const int32_t second = createSecondAtRest(3);
    setRange(second, 2, 2);
    add(first);
    add(second);
    add(first);
    add(second);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fwrite 25x1", "fclose", "fopen 2.csv w",
                                               "fwrite 25x1", "fclose", "fopen 0.csv a", "fwrite 25x1",
                                               "fclose", "fopen 2.csv a", "fwrite 25x1"));
    settle();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine + kItemLine);
    EXPECT_EQ(secondDir_.read("2.csv"), std::string(kItemLine) + kItemLine);
}

TEST_F(StoreFileTest, OneObject_ConsecutiveBatches_FileStaysOpen) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1"));
}

TEST_F(StoreFileTest, OneObject_AfterAnIdlePass_FileIsReopenedToAppend) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    pass();
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fwrite 25x1"));
}

// --- A full file ---------------------------------------------------------------------------------------

/// The lines of items "item <first>" and on, as store() submits them.
std::string itemLines(int first, int count) {
    std::string all;
    for (int i = first; i < first + count; ++i) {
        all += "1700000000,1,2,item " + std::to_string(i) + "\n";
    }
    return all;
}

TEST_F(StoreFileTest, FullFile_5000thItem_IsWrittenAndClosesTheFileAtOnce) {
    const int32_t handle = createAtRest(3);
    store(handle, 4998, "item ");
    ASSERT_EQ(info(handle, 0).itemCount, 4999U);
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1", "fclose"));
    EXPECT_EQ(dir_.read("0.csv"), kInitLine + itemLines(0, 4998) + kItemLine);
    EXPECT_EQ(object(handle).csv_latest, 0);
}

TEST_F(StoreFileTest, FullFile_5001stItem_GoesToTheNextFileEmptiedFirst) {
    const int32_t handle = createAtRest(3);
    store(handle, 4999, "item ");
    dir_.write("1.csv", "1600000000,1,1,former\n");
    add(handle);
    EXPECT_THAT(fileCallsOfPass(),
                ElementsAreArray(Calls{"fopen 1.csv w"} + indexRewrite() + Calls{"fwrite 25x1"}));
    settle();
    EXPECT_EQ(dir_.read("0.csv"), kInitLine + itemLines(0, 4999));
    EXPECT_EQ(dir_.read("1.csv"), kItemLine);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n");
}

TEST_F(StoreFileTest, FullFile_5000thAnd5001stItemInOneBatch_RotatesWithinTheBatch) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 4999;
    add(handle);
    add(handle);
    EXPECT_THAT(fileCallsOfPass(),
                ElementsAreArray(Calls{"fopen 0.csv a", "fwrite 25x1", "fclose", "fopen 1.csv w"} +
                                 indexRewrite() + Calls{"fwrite 25x1"}));
}

TEST_F(StoreFileTest, FullFile_RejectedLineAt4999_LeavesTheFileOpen) {
    const int32_t handle = createAtRest(3);
    info(handle, 0).itemCount = 4999;
    sendRest(handle, ",");
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fwrite 1x1"));
    EXPECT_EQ(info(handle, 0).itemCount, 4999U);
}

TEST_F(StoreFileTest, Ring_ThreeFilesFilled_OverwritesTheOldestOneInPlace) {
    const int32_t handle = createAtRest(2);
    store(handle, 10000, "item ");
    settle();
    EXPECT_THAT(dir_.names(), ElementsAre("0.csv", "1.csv", "index.csv"));
    EXPECT_EQ(dir_.read("0.csv"), "1700000000,1,2,item 9999\n");
    EXPECT_EQ(dir_.read("1.csv"), itemLines(4999, 5000));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,0\n");
}

}  // namespace
}  // namespace test
