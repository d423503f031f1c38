// SPDX-License-Identifier: Apache-2.0
// `jorn record`, started again on files that contradict the index or each other: by clocks that were set, by
// indexes of another moment, and after a clearing.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "restarted_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// A ring of full files, of which the two newest got times of before the others': by their times they are the
/// oldest.
class RecordClockTest : public RecordRestartTest {
protected:
    void makeFullRing() const {
        writeFiles({0, 1}, kFull);
        writeFiles({2, 3}, kFull, 50001);
        write("log/index.csv", "");
    }
};

TEST_F(RecordClockTest, Record_EveryFileFullAndClockSetBack_RefusedAndNothingChanged) {
    makeFullRing();
    const std::string why =
        "0.csv is the oldest and 3.csv the newest (1700000000 to 1700059999); if the clock was set back, "
        "1.csv could be the newest instead; nothing was changed. `jorn repair --yes --oldest A --latest B "
        "log` decides; --if-unclear aside puts the files aside\n";
    expectRefused({}, why);
    expectRefused({"--files", "4"}, why);
}

/// The files of a ring of 10 lie so if it has never come round, and the clock was set back in between.
TEST_F(RecordClockTest, Record_FallWithinFullFilesOfALargerRing_RefusedAndNothingChanged) {
    writeFiles({2, 3}, kFull);
    writeFiles({0, 1}, kFull, 50001);
    write("log/index.csv", "");
    for (const char *files : {"4", "10"}) {
        expectRefused({"--files", files}, "if the clock was set back, 3.csv could be the newest instead");
    }
}

/// A clock that was set back would have had to come to just before the oldest item's time.
TEST_F(RecordClockTest, Record_EveryFileFullAndTimesRunOn_EveryItemStaysInView) {
    writeFiles({2, 3, 0, 1}, kFull);
    write("log/index.csv", "");
    expectMended(record({"--files", "4"}), "was empty", "2,1", "; index.csv.lost keeps the former one");
}

/// In a ring of 3, the file that is not full would be the newest; in one of 10, it may be the last one too.
TEST_F(RecordClockTest, Record_TimesAreEqualAndALargerRingIsAskedFor_RefusedAndNothingChanged) {
    std::string full;
    for (int i = 0; i < kFull; ++i) {
        full += dataLine(kFirstTime, 1, 0, "same");
    }
    write(fileName(0), full);
    write(fileName(1), dataLine(kFirstTime, 1, 0, "same"));
    write(fileName(2), full);
    write("log/index.csv", "");
    expectRefused({"--files", "10"}, "the times of all files are equal, and not exactly one of them");
    EXPECT_EQ(record({"--files", "3"}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
}

TEST_F(RecordClockTest, Record_EveryFileFullAndBackupAgrees_EveryItemStaysInView) {
    makeFullRing();
    write("log/index.bak", "version:1\n0,3\n");
    expectMended(record({"--files", "4"}), "was empty", "0,3",
                 "; index.csv.lost and index.bak.lost keep the former ones");
}

TEST_F(RecordClockTest, Record_EveryFileFullAndNextIsFree_EveryItemStaysInView) {
    makeFullRing();
    EXPECT_EQ(record({"--files", "5"}, "new\n").status, 0);
    auto texts = itemTexts(1, 2 * kFull);
    const auto later = itemTexts(50001, 50000 + 2 * kFull);
    texts.insert(texts.end(), later.begin(), later.end());
    texts.insert(texts.end(), {kStart, "new"});
    EXPECT_TRUE(textsInRange(5) == texts);
}

/// In a ring that nothing was ever overwritten in, the numbers tell the order, whatever the times say.
TEST_F(RecordClockTest, Record_RingNeverCameRoundAndClockSetBack_EveryItemStaysInView) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{}, {"--files", "2"}, {"--files", "10"}}) {
        removeKept();
        write(fileName(0), items(2001, 2000 + kFull));
        write(fileName(1), items(1, 20));
        write("log/index.csv", "");
        expectMended(record(options, "new\n"), "was empty", "0,1", "; index.csv.lost keeps the former one");
        auto texts = itemTexts(2001, 2000 + kFull);
        const auto second = itemTexts(1, 20);
        texts.insert(texts.end(), second.begin(), second.end());
        expectInView(texts, {"new"});
    }
}

/// By 0,3 the store would go on behind 3; but in the ring that the files need 0 holds items.
TEST_F(RecordClockTest, Record_BackupOfARingSmallerThanAskedFor_RefusedAndNothingChanged) {
    makeRingOfUnclearTimes();
    write(fileName(0), items(5001, 5000 + kFull));
    write("log/index.csv", "");
    write("log/index.bak", "version:1\n0,3\n");
    for (const char *files : {"4", "5", "10"}) {
        expectRefused({"--files", files}, "; index.bak names 0,3, but 3.csv is full and 0.csv holds items");
    }
}

/// A whole index that the files contradict.
class RecordContradictedTest : public RecordRestartTest {};

TEST_F(RecordContradictedTest, Record_IndexOfAStartWithoutIndex_EveryItemStaysInView) {
    for (const char *positions : {"0,0", "0,1", "0,2"}) {
        makeRingThatCameRound();
        writeIndex(positions);
        expectMended(record({"--files", "4"}, "new\n"), "was at odds with the files", "2,1",
                     " keeps the former one");
        expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
    }
}

TEST_F(RecordContradictedTest, Record_IndexBeyondTheRingAskedFor_EveryItemStaysInView) {
    for (const char *positions : {"88,89", "5,5", "0,5", "2,6"}) {
        makeRingThatCameRound();
        writeIndex(positions);
        expectMended(record({"--files", "4"}, "new\n"), "was beyond a ring of 4 files", "2,1",
                     " keeps the former one");
        expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
    }
}

TEST_F(RecordContradictedTest, Record_IndexLeavesItemsOut_RefusedAndNothingChanged) {
    const std::string why =
        "index.csv is at odds with the files, and the index leaves out the items of 0.csv";
    makeRingThatCameRound();
    for (const char *positions : {"88,89", "5,5", "1,1", "3,3"}) {
        writeIndex(positions);
        expectRefused({}, why);
    }
    writeIndex("5,5");
    expectRefused({"--files", "10"}, why);
}

TEST_F(RecordContradictedTest, Record_NewestFileOfTheIndexIsMissing_FilesDecide) {
    makeRingThatCameRound();
    writeIndex("0,5");
    expectRefused({}, "index.csv is at odds with the files, and files would have to be renamed");
    makeRingNotComeRound();
    remove(fileName(3));
    const Outcome run = record({}, "new\n");
    EXPECT_EQ(run.status, 0);
    auto texts = itemTexts(1, itemsOfRing(3));
    texts.insert(texts.end(), {kStart, "new"});
    EXPECT_TRUE(textsInRange(10) == texts);
}

/// The ring has moved on, but the index that was written then did not get to the medium: the store would
/// begin the newest file afresh.
TEST_F(RecordContradictedTest, Record_IndexOfBeforeTheRingMovedOn_EveryItemStaysInView) {
    makeRingThatCameRound();
    writeIndex("1,0");
    EXPECT_EQ(check().status, 3);
    EXPECT_THAT(check().out,
                HasSubstr("log/index.csv:0: error: names 0.csv as the newest file, but 1.csv is: the store's "
                          "next start would continue in the wrong one; see what `jorn repair` would do\n"));
    expectMended(record({"--files", "4"}, "new\n"), "was at odds with the files", "2,1",
                 "; index.csv.lost keeps the former one");
    expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
}

/// The same, where the ring is to become larger, in which 0 is not the newest file's next.
TEST_F(RecordContradictedTest, Record_IndexOfBeforeTheRingMovedOnAndALargerRing_EveryItemStaysInView) {
    makeRingThatCameRound();
    writeIndex("0,3");
    const Outcome run = record({"--files", "10"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err,
                StartsWith("jorn: log: index.csv was at odds with the files: written again as 2,1, "));
    auto texts = itemTexts(1, itemsOfRing(4));
    texts.insert(texts.end(), {kStart, "new"});
    EXPECT_TRUE(textsInRange(10) == texts);
}

TEST_F(RecordContradictedTest, Record_EveryFileFull_IndexIsBelieved) {
    for (const char *positions : {"0,3", "2,1"}) {
        writeFiles({0, 1, 2, 3}, kFull);
        writeIndex(positions);
        const Outcome run = record({"--files", "4"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
    }
}

TEST_F(RecordContradictedTest, Record_Refused_PutsAsideIfAskedTo) {
    makeRingThatCameRound();
    writeIndex("5,5");
    const Outcome run = record({"--if-unclear", "aside"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, StartsWith("jorn: log: index.csv was at odds with the files, and the index leaves "
                                    "out the items of 0.csv to 3.csv, as after a clearing that was not "
                                    "logged: the files are now in log/aside-"));
    EXPECT_THAT(textsIn(fileName(0)), ElementsAre(kStart, "new"));
}

/// What a kill leaves of `jorn clear`: its file has not been begun.
TEST_F(RecordContradictedTest, Record_ClearingWasCut_IndexIsBelieved) {
    makeRingThatCameRound();
    writeIndex("2,2");
    const Outcome run = record({"--files", "4"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(textsIn(fileName(3)), (std::vector<std::string>{kStart, "new"}));
    EXPECT_EQ(textsIn(fileName(1)).size(), static_cast<size_t>(kNewest));
}

/// The index is lost after the log was cleared.
class RecordClearedTest : public RecordRestartTest {
protected:
    /// 1 was the newest file then; 2 begins with the item of the clearing.
    void clear() const {
        write(fileName(2), dataLine(kFirstTime + 30000, 3, 0, kCleared) + items(30002, 30010));
        write("log/index.csv", "");
    }

    void expectClearedStaysOut() const {
        const Outcome run = record({"--files", "4"}, "new\n");
        expectMended(run, "was empty", "2,2", "; index.csv.lost keeps the former one");
        EXPECT_THAT(run.err, HasSubstr("; what was cleared before 2.csv stays out of view; "));
        auto texts = itemTexts(30002, 30010);
        texts.insert(texts.begin(), kCleared);
        expectInView(texts, {"new"});
        EXPECT_EQ(textsIn(fileName(0)).size(), static_cast<size_t>(kFull));
        EXPECT_EQ(textsIn(fileName(1)).size(), static_cast<size_t>(kNewest));
    }
};

TEST_F(RecordClearedTest, Record_ClearedRingNotComeRound_ClearedItemsStayOut) {
    writeRing({0, 1});
    clear();
    expectClearedStaysOut();
}

TEST_F(RecordClearedTest, Record_ClearedRingThatCameRound_ClearedItemsStayOut) {
    writeRing({3, 0, 1});
    clear();
    expectClearedStaysOut();
}

TEST_F(RecordClearedTest, Record_ClearedRingWentOn_ItemsSinceInView) {
    writeRing({0, 1});
    write(fileName(2), dataLine(kFirstTime + 30000, 3, 0, kCleared) + items(30002, 30000 + kFull));
    write(fileName(3), items(30001 + kFull, 30010 + kFull));
    EXPECT_THAT(record({"--files", "4"}, "new\n").err, HasSubstr("written again as 2,3, because "));
    auto texts = itemTexts(30002, 30010 + kFull);
    texts.insert(texts.begin(), kCleared);
    expectInView(texts, {"new"});
}

/// Either could be the newest: the one that was, or the one that the clearing began.
TEST_F(RecordClearedTest, Record_ClearedAndClockSetBack_RefusedAndNothingChanged) {
    write(fileName(0), items(1001, 1000 + kFull));
    write(fileName(1), items(1001 + kFull, 1010 + kFull));
    write(fileName(2), dataLine(kFirstTime, 3, 0, kCleared) + items(1, 10));
    write("log/index.csv", "");
    expectRefused({"--files", "4"}, "if the clock was set back, 2.csv could be the newest instead");
}

/// The backup is an index of after the clearing.
TEST_F(RecordClearedTest, Record_CutInTheNextRotation_ClearedItemsStayOut) {
    writeRing({0, 1});
    clear();
    write(fileName(3), "");
    write("log/index.bak", "version:1\n2,2\n");
    EXPECT_THAT(
        record({"--files", "5"}).err,
        HasSubstr("written again as 2,2, because index.bak names 2,2, and the file after its newest was "
                  "just begun; what was cleared before 2.csv stays out of view; "));
}

TEST_F(RecordClearedTest, Repair_IndexLostAfterAClearing_ClearedItemsStayOut) {
    writeRing({3, 0, 1});
    clear();
    EXPECT_THAT(check().out, HasSubstr("log: error: 2.csv holds items that no query sees"));
    const Outcome run = repair({"--yes"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
    EXPECT_EQ(check().status, 0) << check().out;
    EXPECT_TRUE(textsIn(fileName(3)) == itemTexts(1, kFull));
}

// What a kill leaves of a log that is just being created. The store would accept positions without a line
// end, and leave them so until its first rotation.
}  // namespace
}  // namespace test
