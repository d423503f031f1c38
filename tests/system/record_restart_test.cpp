// SPDX-License-Identifier: Apache-2.0
// `jorn record`, started again on what a crash or outside changes left, before anybody has repaired it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "restarted_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(RecordRestartTest, Record_IndexEmptied_EveryItemStaysInView) {
    makeRingThatCameRound();
    write("log/index.csv", "");
    expectMended(record({"--files", "4"}, "new\n"), "was empty", "2,1",
                 "; index.csv.lost keeps the former one");
    expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
    EXPECT_EQ(read("log/index.csv.lost"), "");
}

TEST_F(RecordRestartTest, Record_IndexEmptiedAfterARecording_EveryItemStaysInView) {
    ASSERT_EQ(record({"--files", "4"}, numberedLines("line", 15901)).status, 0);
    write("log/index.csv", "");
    const Outcome run = record({"--files", "4"});
    EXPECT_EQ(run.status, 0);
    auto texts = numberedTexts("line", 1, 15901);
    texts.insert(texts.begin(), kStart);
    expectInView(texts, {});
}

TEST_F(RecordRestartTest, Record_IndexGone_EveryItemStaysInView) {
    makeRingThatCameRound();
    expectMended(record({}, "new\n"), "was missing", "2,1", " is not full, as the newest is");
    expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
    EXPECT_FALSE(exists("log/index.csv.lost"));
}

TEST_F(RecordRestartTest, Record_IndexHalfWritten_EveryItemStaysInView) {
    for (const char *text :
         {"version:1\n", "version:1\n2", "version:1\n2,1", "vers", "version:1\n99999999999,0\n"}) {
        makeRingThatCameRound();
        write("log/index.csv", text);
        expectMended(record({"--files", "4"}, "new\n"), "was not whole", "2,1",
                     "; index.csv.lost keeps the former one");
        expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
        EXPECT_EQ(read("log/index.csv.lost"), text);
    }
}

TEST_F(RecordRestartTest, Record_IndexNamesWhatNoRingHas_EveryItemStaysInView) {
    for (const char *positions : {"-1,2", "0,90", "5,200"}) {
        makeRingThatCameRound();
        writeIndex(positions);
        expectMended(record({"--files", "4"}, "new\n"), "was beyond any ring", "2,1",
                     "; index.csv.lost keeps the former one");
        expectInView(itemTexts(1, itemsOfRing(4)), {"new"});
    }
}

TEST_F(RecordRestartTest, Record_IndexEmptiedRingNotComeRound_EveryItemStaysInView) {
    for (const char *files : {"4", "10"}) {
        makeRingNotComeRound();
        write("log/index.csv", "");
        expectMended(record({"--files", files}, "new\n"), "was empty", "0,2",
                     "; index.csv.lost keeps the former one");
        expectInView(itemTexts(1, itemsOfRing(3)), {"new"});
    }
}

/// The same start also enlarges the full ring.
TEST_F(RecordRestartTest, Record_IndexEmptiedAndRingEnlarged_EveryItemStaysInView) {
    makeRingThatCameRound();
    write("log/index.csv", "");
    const Outcome run = record({"--files", "10"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("written again as 2,1"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n8,1\n");
    auto texts = itemTexts(1, itemsOfRing(4));
    texts.insert(texts.end(), {kStart, "new"});
    EXPECT_TRUE(textsInRange(10) == texts);
}

/// The only sign that 1 is the newest is that the file after it was never written.
TEST_F(RecordRestartTest, Record_TimesAreEqualAndSizeOfTheRingIsGiven_EveryItemStaysInView) {
    std::string full;
    for (int i = 0; i < kFull; ++i) {
        full += dataLine(kFirstTime, 1, 0, "same");
    }
    write(fileName(0), full);
    write(fileName(1), full);
    expectRefused({}, "the times of all files are equal");
    const Outcome run = record({"--files", "4"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("written again as 0,1"));
    std::vector<std::string> texts(2 * kFull, "same");
    expectInView(texts, {"new"});
}

TEST_F(RecordRestartTest, Record_SmallerRingAndIndexLost_RefusedAndNothingChanged) {
    makeRingThatCameRound();
    const std::string before = stateOf(path("log"));
    EXPECT_EQ(record({"--files", "3"}).status, 2);
    EXPECT_TRUE(stateOf(path("log")) == before);
}

/// What a kill in the rewrite of the index leaves, wherever the newest file is.
class RecordCutRingTest : public RecordRestartTest, public ::testing::WithParamInterface<int> {};

TEST_P(RecordCutRingTest, Record_EmptyIndexBesideWholeBackup_EveryItemStaysInView) {
    makeCutRing(kRing, GetParam());
    const std::string backup = read("log/index.bak");
    const Outcome run = record({"--files", "4"}, "new\n");
    const std::string oldest = std::to_string((GetParam() + 2) % kRing);
    expectMended(run, "was empty", oldest + "," + std::to_string(GetParam()),
                 "; index.csv.lost and index.bak.lost keep the former ones");
    expectInView(itemTexts(1, 3 * kFull), {"new"});
    EXPECT_EQ(read("log/index.bak.lost"), backup);
    EXPECT_FALSE(exists("log/index.bak"));
}

/// Times prove nothing here, and would mislead where the clock was set back: that the file after the backup's
/// newest has just been begun is proof enough.
TEST_P(RecordCutRingTest, Record_ClockWasSetBack_BackupIsBelieved) {
    makeCutRing(kRing, GetParam());
    const int newest = GetParam();
    write(fileName(newest), items(1, kFull));
    const Outcome run = record({"--files", "4"}, "new\n");
    EXPECT_THAT(run.err, HasSubstr("because index.bak names " + read("log/index.bak.lost").substr(10, 3) +
                                   ", and the file after its newest was just begun"));
    auto texts = itemTexts(1, 2 * kFull);
    const auto last = itemTexts(1, kFull);
    texts.insert(texts.end(), last.begin(), last.end());
    expectInView(texts, {"new"});
}

INSTANTIATE_TEST_SUITE_P(Latest, RecordCutRingTest, ::testing::Range(0, 4));

TEST_F(RecordRestartTest, Record_CutInRingNotComeRound_EveryItemStaysInView) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{}, {"--files", "4"}, {"--files", "10"}}) {
        writeFiles({0, 1, 2}, kFull);
        write(fileName(3), "");
        write("log/index.csv", "version:1\n0");
        write("log/index.bak", "version:1\n0,2\n");
        EXPECT_EQ(record(options, "new\n").status, 0);
        expectInView(itemTexts(1, 3 * kFull), {"new"});
        EXPECT_EQ(check().status, 0) << check().out;
        fs::remove_all(path("log"));
        makeDirectory("log");
    }
}

/// The store itself would continue from such a backup, but the ring has moved on since.
TEST_F(RecordRestartTest, Record_OnlyAnOldBackup_ItemsThatItLeavesOutStayInView) {
    makeRingNotComeRound();
    write("log/index.bak", "version:1\n0,1\n");
    expectMended(record({"--files", "4"}, "new\n"), "was missing", "0,2",
                 "; index.bak.lost keeps the former backup");
    expectInView(itemTexts(1, itemsOfRing(3)), {"new"});
}

/// A backup from before the ring wrapped: its newest file is full, and the next holds newer items.
TEST_F(RecordRestartTest, Record_OnlyABackupThatTheRingHasLeftBehind_EveryItemStaysInView) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{}, {"--files", "4"}, {"--files", "10"}}) {
        writeFiles({1, 2, 3}, kFull);
        write(fileName(0), items(3 * kFull + 1, 3 * kFull + 2003));
        write("log/index.bak", "version:1\n0,3\n");
        const Outcome run = record(options, "new\n");
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.err, StartsWith("jorn: log: index.csv was missing: written again as 1,0, because "));
        auto texts = itemTexts(1, 3 * kFull + 2003);
        texts.insert(texts.end(), {kStart, "new"});
        EXPECT_TRUE(textsInRange(options.size() == 2 && options[1] == "10" ? 10 : kRing) == texts);
        EXPECT_EQ(read("log/index.bak.lost"), "version:1\n0,3\n");
        fs::remove_all(path("log"));
        makeDirectory("log");
    }
}

TEST_F(RecordRestartTest, Record_OnlyABackupOfTwoFilesAgo_EveryItemStaysInView) {
    writeFiles({2, 3, 0}, kFull);
    write(fileName(1), items(3 * kFull + 1, 3 * kFull + 20));
    write("log/index.bak", "version:1\n0,3\n");
    EXPECT_THAT(record({"--files", "4"}, "new\n").err,
                HasSubstr("1.csv is not full, as the newest is; index.bak names 0,3, but the ring has moved "
                          "on since"));
    expectInView(itemTexts(1, 3 * kFull + 20), {"new"});
}

TEST_F(RecordRestartTest, Record_RingHasLeftTheBackupBehindAndTimesAreUnclear_RefusedAndNothingChanged) {
    makeRingOfUnclearTimes();
    write("log/index.bak", "version:1\n0,3\n");
    const std::string why =
        "so their order cannot be determined; index.bak names 0,3, but 3.csv is full and 0.csv holds items; "
        "nothing was changed";
    expectRefused({"--files", "4"}, why);
    write("log/index.csv", "");
    expectRefused({"--files", "4"}, why);
    EXPECT_EQ(repair().status, 3);
}

TEST_F(RecordRestartTest, Record_OnlyABackupAndItsNewestIsNotFull_BackupIsBelieved) {
    makeRingOfUnclearTimes();
    write("log/index.bak", "version:1\n1,0\n");
    const Outcome run = record({"--files", "4"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "jorn: log: index.csv was missing: index.bak, which is whole, takes its place\n");
    EXPECT_EQ(textsIn(fileName(0)).size(), 3002U);
}

TEST_F(RecordRestartTest, Record_WholeIndexOfAClearedLog_IsBelieved) {
    writeFiles({3, 0, 1}, kFull);
    write(fileName(2), dataLine(kFirstTime, 3, 0, kCleared) + items(1, 20));
    writeIndex("2,2");
    const Outcome run = record({"--files", "4"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
}

TEST_F(RecordRestartTest, Record_IndexHalfWrittenAndNoFile_BeginsWithAWholeIndex) {
    for (const char *text : {"version:", "version:1\n0", "version:1\n0,0", "version:1\n0,3"}) {
        removeKept();
        remove(fileName(0));
        write("log/index.csv", text);
        const Outcome run = record({"--files", "4"}, "new\n");
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.err,
                    StartsWith("jorn: log: index.csv was not whole: written again as 0,0, because no file "
                               "holds an item; index.csv.lost keeps the former one\n"));
        EXPECT_THAT(textsIn(fileName(0)), ElementsAre(kStart, "new"));
        EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
        EXPECT_EQ(read("log/index.csv.lost"), text);
        EXPECT_EQ(check().status, 0) << check().out;
    }
}

TEST_F(RecordRestartTest, Record_EmptyIndexAndNoFile_BeginsWithoutAWord) {
    write("log/index.csv", "");
    const Outcome run = record({"--files", "4"}, "new\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
}

TEST_F(RecordRestartTest, Record_EvidenceUnclear_RefusedAndNothingChanged) {
    for (const int position : {0, 1, 2}) {
        write(fileName(position), dataLine(kFirstTime, 1, 0, "same"));
    }
    write("log/index.csv", "");
    expectRefused(
        {},
        "jorn: log: index.csv is empty, and the times of all files are equal, and not exactly one "
        "of them looks like the newest; nothing was changed. `jorn repair --yes --oldest A --latest "
        "B log` decides; --if-unclear aside puts the files aside\n");
    expectRefused({"--if-unclear", "refuse"}, "nothing was changed");
}

TEST_F(RecordRestartTest, Record_FilesWouldHaveToMove_RefusedAndNothingChanged) {
    writeFiles({0, 2, 3}, kFull);
    expectRefused({},
                  "jorn: log: index.csv is missing, and files would have to be renamed; nothing was "
                  "changed. `jorn repair log` shows how; --if-unclear aside puts the files aside\n");
}

TEST_F(RecordRestartTest, Record_NameIsNoWordOfTheShell_AdviceQuotesIt) {
    writeFiles({0, 2, 3}, kFull);
    fs::rename(path("log"), path("door's log"));
    const Outcome run = jorn({"record", "door's log"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr(" `jorn repair 'door'\\''s log'` shows how;"));
}

TEST_F(RecordRestartTest, Record_OtherValueOfIfUnclear_Refused) {
    EXPECT_EQ(record({"--if-unclear", "guess"}).status, 2);
}

/// Each former index is kept.
TEST_F(RecordRestartTest, Record_KeptNameIsTaken_AnotherOne) {
    makeRingThatCameRound();
    write("log/index.csv", "first");
    ASSERT_EQ(record().status, 0);
    fs::create_symlink(path("nowhere"), path("log/index.csv.lost-2"));
    write("log/index.csv", "second");
    EXPECT_THAT(record().err, HasSubstr("; index.csv.lost-3 keeps the former one\n"));
    EXPECT_EQ(read("log/index.csv.lost"), "first");
    EXPECT_FALSE(exists("nowhere"));
    EXPECT_EQ(read("log/index.csv.lost-3"), "second");
}

/// A start that was killed, or found no room, had given it its second name already.
TEST_F(RecordRestartTest, Record_FormerIndexIsKeptAlready_NotKeptAgain) {
    makeRingThatCameRound();
    write("log/index.csv.lost", "of before");
    write("log/index.csv", "lost");
    fs::create_hard_link(path("log/index.csv"), path("log/index.csv.lost-2"));
    EXPECT_THAT(record().err, HasSubstr("; index.csv.lost-2 keeps the former one\n"));
    EXPECT_EQ(read("log/index.csv.lost"), "of before");
    EXPECT_EQ(read("log/index.csv.lost-2"), "lost");
    EXPECT_FALSE(exists("log/index.csv.lost-3"));
}

TEST_F(RecordRestartTest, Record_KeptNameIsThatOfADirectory_AnotherOne) {
    makeRingThatCameRound();
    for (const char *name : {"log/index.csv.lost", "log/index.csv.lost-2", "log/index.bak.lost"}) {
        makeDirectory(name);
    }
    write("log/index.csv", "version");
    write("log/index.bak", "version:1");
    const Outcome run = record();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("; index.csv.lost-3 and index.bak.lost-2 keep the former ones\n"));
    EXPECT_EQ(read("log/index.csv.lost-3"), "version");
    EXPECT_EQ(read("log/index.bak.lost-2"), "version:1");
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
}

/// Neither the store's own first item nor anything else fits.
TEST_F(RecordRestartTest, Record_MediumFullAndNoInput_Fails) {
    writeFiles({0}, 3);
    writeIndex("0,0");
    Setting setting;
    setting.fileSizeLimit = fs::file_size(path("log/0.csv")) + 20;
    const Outcome run = jorn({"record", "log"}, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/0.csv: cannot be written: File too large\n");
}

/// Appending fails, and so does beginning anew.
TEST_F(RecordRestartTest, Record_FileMayNotBeWrittenAndNoInput_Fails) {
    writeFiles({0}, 3);
    writeIndex("0,0");
    ASSERT_EQ(chmod(path("log/0.csv").c_str(), 0444), 0);
    Setting setting;
    setting.obeysPermissions = true;
    const std::string before = read("log/0.csv");
    const Outcome run = jorn({"record", "log"}, setting);
    if (run.status == 126) {
        GTEST_SKIP() << "root's rights cannot be laid down here";
    }
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("jorn: log/0.csv: cannot be written: Permission denied\n"));
    EXPECT_EQ(read("log/0.csv"), before);
}

}  // namespace
}  // namespace test
