// SPDX-License-Identifier: Apache-2.0
// `jorn repair`: what it brings back, what it leaves alone, and that the store itself agrees.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "repaired_log.h"

namespace test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// The power cut in the index rewrite of a full ring, for every place where the newest file can be.
class RepairCutRingTest : public RepairTest, public ::testing::WithParamInterface<int> {
protected:
    static constexpr int kRing = 4;
};

TEST_P(RepairCutRingTest, Repair_NothingStartedSince_EveryItemInViewInOrder) {
    makeCutRing(kRing, GetParam());
    repairWhole();
    EXPECT_TRUE(textsInRange(kRing) == itemTexts(1, 3 * kFull));
    EXPECT_EQ(itemsSeenByStore(kRing), 3 * kFull);
}

/// The start took 0,0 as its index and continued in or after 0.csv. Unless that was the newest file anyway,
/// it has overwritten the items of 1.csv; all others come back.
TEST_P(RepairCutRingTest, Repair_StoreStartedTwiceSince_EveryItemInViewInOrder) {
    makeCutRing(kRing, GetParam());
    startStore(kRing);
    startStore(kRing);
    std::vector<std::string> expected = itemTexts(1, 3 * kFull);
    const bool is1Lost = GetParam() != 0 && GetParam() != kRing - 1;
    if (is1Lost) {
        // How many files were older than 1.csv: those between the newest and it.
        const int older = (1 - (GetParam() + 2) + 2 * kRing) % kRing;
        const auto begin = expected.begin() + static_cast<ptrdiff_t>(older) * kFull;
        expected.erase(begin, begin + kFull);
    }
    repairWhole();
    EXPECT_TRUE(textsInRange(kRing) == joined(expected, {kStart, kStart}));
    EXPECT_EQ(itemsSeenByStore(kRing), static_cast<int>(expected.size()) + 2);
}

INSTANTIATE_TEST_SUITE_P(Latest, RepairCutRingTest, ::testing::Range(0, 4));

TEST_F(RepairTest, Repair_RingNotComeRoundAndStoreStarted_EveryItemLeftInViewInOrder) {
    constexpr int kRing = 10;
    writeFiles({0, 1, 2}, kFull);
    write(fileName(3), "");
    write("log/index.csv", "");
    write("log/index.bak", "version:1\n0,2\n");
    startStore(kRing);
    ASSERT_EQ(read("log/index.csv"), "version:1\n0,1\n");
    ASSERT_TRUE(exists("log/9.csv"));
    repairWhole();
    EXPECT_TRUE(textsInRange(kRing) == joined(itemTexts(1, 3 * kFull), {kStart}));
    EXPECT_EQ(itemsSeenByStore(kRing), 3 * kFull + 1);
}

TEST_F(RepairTest, Repair_RingNotComeRoundNothingStarted_EveryItemInView) {
    writeFiles({0, 1, 2}, kFull);
    write(fileName(3), "");
    write("log/index.csv", "version:1\n0");
    write("log/index.bak", "version:1\n0,2\n");
    repairWhole();
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,2\n");
    EXPECT_FALSE(exists(fileName(3)));
    EXPECT_EQ(itemsSeenByStore(10), 3 * kFull);
}

TEST_F(RepairTest, Repair_NoYes_TellsAndChangesNothing) {
    makeCutRing(4, 1);
    const std::string before = stateOf(path("log"));
    const Outcome run = repair();
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(
        run.out,
        HasSubstr("log: write index.csv: 3,1, because index.bak names 2,1, and the file after its newest was "
                  "just begun\n"));
    EXPECT_THAT(run.out, HasSubstr("log: remove index.bak\n"));
    EXPECT_EQ(run.err, "jorn: nothing was changed; --yes makes these changes\n");
    EXPECT_TRUE(stateOf(path("log")) == before);
}

TEST_F(RepairTest, Repair_90FullFiles_EveryItemInView) {
    constexpr int kRing = 90;
    std::vector<int> order(kRing);
    std::iota(order.begin(), order.end(), 0);
    std::rotate(order.begin(), order.begin() + 41, order.end());
    writeFiles(order, 50);
    repairWhole();
    EXPECT_EQ(read("log/index.csv"), "version:1\n41,40\n");
    EXPECT_TRUE(textsInRange(kRing) == itemTexts(1, kRing * 50));
    EXPECT_THAT(jorn({"count", "log"}).out, HasSubstr("total       4500\n"));
}

TEST_F(RepairTest, Repair_ClockRanBackALittle_RingOrderHolds) {
    writeFiles({2, 3}, 100);
    write(fileName(0), items(195, 294));
    write(fileName(1), items(290, 350));
    repairWhole();
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
    EXPECT_EQ(itemsSeenByStore(4), 361);
}

TEST_F(RepairTest, Repair_ClockSetBackForGood_RefusedUnlessRangeIsGiven) {
    writeFiles({2, 3, 0}, kFull, kFull);
    write(fileName(1), items(1, 20));
    expectRefused({}, "the clock may have been set back");
    repairWhole({"--oldest", "2", "--latest", "1"});
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
    EXPECT_EQ(itemsSeenByStore(4), 3 * kFull + 20);
}

TEST_F(RepairTest, Repair_AllTimesEqual_FillTellsTheNewest) {
    std::string full;
    for (int i = 0; i < kFull; ++i) {
        full += dataLine(kFirstTime, 1, 0, "same");
    }
    for (const int position : {0, 2, 3}) {
        write(fileName(position), full);
    }
    write(fileName(1), dataLine(kFirstTime, 1, 0, "newest"));
    repairWhole();
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
    EXPECT_EQ(itemsSeenByStore(4), 3 * kFull + 1);
}

TEST_F(RepairTest, Repair_AllTimesEqualNothingTells_Refused) {
    for (const int position : {0, 1, 2}) {
        write(fileName(position), dataLine(kFirstTime, 1, 0, "same"));
    }
    expectRefused({}, "the times of all files are equal");
}

TEST_F(RepairTest, Repair_FilesShareTheirTimes_Refused) {
    write(fileName(0), items(1, 10) + items(500, 510));
    write(fileName(1), items(20, 30));
    write(fileName(2), items(11, 19));
    expectRefused({}, "their order cannot be determined");
}

TEST_F(RepairTest, Repair_BackupDoesNotAgree_Refused) {
    writeFiles({2, 3, 0, 1});
    write("log/index.csv", "");
    write("log/index.bak", "version:1\n1,3\n");
    expectRefused({}, "index.bak names 1,3, which does not agree");
}

TEST_F(RepairTest, Repair_Gap_ClosedWithoutALoss) {
    writeFiles({0, 1, 2, 4, 5});
    writeIndex("0,5");
    repairWhole();
    EXPECT_TRUE(textsInRange(5) == itemTexts(1, 50));
    EXPECT_EQ(itemsSeenByStore(10), 50);
}

TEST_F(RepairTest, Repair_GapInRingThatCameRound_ClosedInOrder) {
    writeFiles({7, 9, 0, 1});
    writeIndex("7,1");
    repairWhole();
    EXPECT_TRUE(textsInRange(10) == itemTexts(1, 40));
    EXPECT_EQ(itemsSeenByStore(10), 40);
}

TEST_F(RepairTest, Repair_IndexBeyondTheRing_WrittenAnew) {
    writeFiles({1, 2, 0});
    for (const char *positions : {"-1,2", "0,90", "5,200", "99999999999,0"}) {
        writeIndex(positions);
        repairWhole();
        EXPECT_EQ(read("log/index.csv"), "version:1\n1,0\n") << positions;
        EXPECT_EQ(itemsSeenByStore(3), 30);
        std::filesystem::remove_all(path("backup"));
    }
}

TEST_F(RepairTest, Repair_PositionsBeyondStatedRing_WrittenAnew) {
    writeFiles({1, 2, 0});
    writeIndex("1,6");
    repairWhole({"--files", "3"});
    EXPECT_EQ(read("log/index.csv"), "version:1\n1,0\n");
    EXPECT_EQ(itemsSeenByStore(3), 30);
}

TEST_F(RepairTest, Repair_StatedRingTooSmall_Refused) {
    writeFiles({0, 1, 2, 3});
    writeIndex("0,3");
    expectRefused({"--files", "3"}, "a ring of 3 files has no room for 3.csv");
}

TEST_F(RepairTest, Repair_GivenRangeLeavesItemsOut_Refused) {
    writeFiles({0, 1, 2, 3});
    expectRefused({"--oldest", "0", "--latest", "2"}, "leave out the items of 3.csv");
    expectRefused({"--oldest", "0", "--latest", "50"}, "outside a ring of 4 files");
    expectRefused({"--oldest", "0"}, "--latest", 2);
}

TEST_F(RepairTest, Repair_BothIndexFilesWhole_BackupGoes) {
    writeFiles({0, 1});
    writeIndex("0,1");
    write("log/index.bak", "version:1\n0,0\n");
    repairWhole();
    EXPECT_FALSE(exists("log/index.bak"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,1\n");
}

TEST_F(RepairTest, Repair_BackupOnly_BecomesTheIndex) {
    writeFiles({2, 3, 0, 1});
    write("log/index.bak", "version:1\n2,1\n");
    repairWhole();
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
    EXPECT_EQ(itemsSeenByStore(4), 40);
}

TEST_F(RepairTest, Repair_LogWasCleared_ClearedItemsStayOut) {
    writeFiles({0, 1, 2, 3});
    write(fileName(2), dataLine(kFirstTime + 100, 3, 0, "Log all cleared!"));
    writeIndex("2,2");
    const Outcome run = repair();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "log: nothing to do\n");
}

TEST_F(RepairTest, Repair_ClearedWithoutAWord_RefusedUnlessRangeIsGiven) {
    writeFiles({3, 0, 1, 2});
    writeIndex("2,2");
    expectRefused({}, "as after a clearing that was not logged");
    repairWhole({"--oldest", "3", "--latest", "2"});
    EXPECT_EQ(itemsSeenByStore(4), 40);
}

TEST_F(RepairTest, Repair_DamagedLines_EveryItemKeptTheRestListed) {
    const std::string zeros(5000, '\0');
    write(fileName(0), items(1, 2) + "17000,\n" + items(3, 4) + zeros + items(5, 6) + "\xff\xff\x1b[2J\n");
    write(fileName(1), items(7, 8) + "170000");
    write(fileName(2), items(9, 9) + "1700000009,1,2,item0000010");
    writeIndex("0,2");
    repairWhole();
    EXPECT_TRUE(textsInRange(3) == itemTexts(1, 10));
    EXPECT_EQ(read(fileName(2)), items(9, 10));
    EXPECT_EQ(itemsSeenByStore(3), 10);
    EXPECT_EQ(read("backup/torn-0.txt"), "54: 17000,\n115: 5000 zero bytes\n5169: \\xff\\xff\\x1b[2J\n");
    EXPECT_EQ(read("backup/torn-1.txt"), "54: 170000\n");
    EXPECT_EQ(read("backup/torn-2.txt"), "");
}

TEST_F(RepairTest, Repair_BlankLinesBesideDamagedOne_AreKept) {
    write(fileName(0), items(1, 1) + "\n\r\n17000,\n" + items(2, 2));
    writeIndex("0,0");
    repairWhole();
    EXPECT_EQ(read(fileName(0)), items(1, 1) + "\n\r\n" + items(2, 2));
    EXPECT_EQ(itemsSeenByStore(2), 2);
}

TEST_F(RepairTest, Repair_LongLine_PiecesThatCountAreKept) {
    const std::string longItem = "1700000000,1,2," + std::string(400, 'x') + "\n";
    write(fileName(0), items(1, 1) + longItem + items(2, 2));
    writeIndex("0,0");
    repairWhole();
    const auto texts = textsInRange(2);
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[1], std::string(241, 'x'));
    EXPECT_EQ(itemsSeenByStore(2), 3);
}

TEST_F(RepairTest, Repair_Garbage_OnlyGarbageGoes) {
    std::string garbage;
    uint32_t state = 12345;
    for (int i = 0; i < 100000; ++i) {
        state = state * 1664525 + 1013904223;
        garbage += static_cast<char>(state >> 24);
    }
    write(fileName(0), items(1, 100));
    write(fileName(1), garbage + "\n" + items(101, 110));
    writeIndex("0,1");
    const Outcome checked = check({"-o", "json"});
    EXPECT_EQ(checked.status, 3);
    repairWhole();
    EXPECT_THAT(read(fileName(1)), HasSubstr(items(101, 110)));
}

TEST_F(RepairTest, Repair_LargeSparseFile_MendedInBoundedMemory) {
    constexpr int64_t kGibibyte = 1073741824;
    writeFiles({0, 1});
    ASSERT_EQ(truncate(path(fileName(1)).c_str(), kGibibyte), 0);
    writeIndex("0,1");
    const Outcome run = repair({"--yes", "--backup", path("backup")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read(fileName(1)), items(11, 20));
    EXPECT_EQ(read("backup/torn-1.txt"), "to the end: 1073741554 zero bytes\n");
    EXPECT_EQ(itemsSeenByStore(2), 20);
}

TEST_F(RepairTest, Repair_EmptyDirectory_NothingToDo) {
    const Outcome run = repair({"--yes"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "log: nothing to do\n");
    EXPECT_THAT(contents("log"), IsEmpty());
}

TEST_F(RepairTest, Repair_NoFilesAndIndexDamaged_IndexWrittenAnew) {
    write("log/index.csv", "nonsense");
    repairWhole();
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
}

}  // namespace
}  // namespace test
