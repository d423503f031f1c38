// SPDX-License-Identifier: Apache-2.0
// `jorn repair`: what it brings back, what it leaves alone, and that the store itself agrees.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <numeric>

#include "damaged_log.h"
#include "health/diagnosis.h"
#include "health/repair_plan.h"
#include "jorn.h"
#include "repair/directory_rebuild.h"

namespace test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kStart[] = "Log start init!";

class RepairTest : public DamagedLogTest {
protected:
    /// Repairs, and sees that the result is sound, that nothing is left to do, and that the log as it was is
    /// in the backup.
    void repairWhole(std::vector<std::string> options = {}) const {
        const auto before = contents("log");
        options.insert(options.end(), {"--yes", "--backup", path("backup")});
        const Outcome run = repair(options);
        ASSERT_EQ(run.status, 0) << run.out << run.err;
        const Outcome checked = check();
        EXPECT_EQ(checked.status, 0) << checked.out;
        const Outcome again = repair();
        EXPECT_EQ(again.status, 0) << again.out << again.err;
        EXPECT_EQ(again.out, "log: nothing to do\n");
        auto kept = contents("backup");
        for (auto entry = kept.begin(); entry != kept.end();) {
            entry = entry->first.find("torn-") == 0 ? kept.erase(entry) : std::next(entry);
        }
        EXPECT_TRUE(kept == before);
        EXPECT_FALSE(exists("backup.partial"));
    }

    void expectRefused(const std::vector<std::string> &options, const std::string &reason,
                       int status = 3) const {
        const std::string before = stateOf(path("log"));
        std::vector<std::string> all = options;
        all.insert(all.end(), {"--yes", "--backup", path("backup")});
        const Outcome run = repair(all);
        EXPECT_EQ(run.status, status) << run.out;
        EXPECT_THAT(run.err, HasSubstr(reason));
        EXPECT_TRUE(stateOf(path("log")) == before);
        EXPECT_FALSE(exists("backup"));
        EXPECT_FALSE(exists("backup.partial"));
    }

    std::map<std::string, std::string> contents(const std::string &directory) const {
        std::map<std::string, std::string> all;
        for (const auto &entry : std::filesystem::directory_iterator(path(directory))) {
            const std::string name = entry.path().filename().string();
            all[name] = entry.is_regular_file() ? read(std::string(directory).append("/").append(name)) : "";
        }
        return all;
    }

    static std::vector<std::string> joined(std::vector<std::string> texts,
                                           const std::vector<std::string> &more) {
        texts.insert(texts.end(), more.begin(), more.end());
        return texts;
    }
};

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

/// The start took 0,0 for its index and went on in or behind 0.csv. Unless that was the newest file anyway,
/// it has overwritten the items of 1.csv; all others come back.
TEST_P(RepairCutRingTest, Repair_StoreStartedTwiceSince_EveryItemInViewInOrder) {
    makeCutRing(kRing, GetParam());
    startStore(kRing);
    startStore(kRing);
    std::vector<std::string> expected = itemTexts(1, 3 * kFull);
    const bool is1Lost = GetParam() != 0 && GetParam() != kRing - 1;
    if (is1Lost) {
        // How many files are older than 1.csv was: those between the newest and it.
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
    EXPECT_EQ(run.err, "jorn: nothing was changed; --yes does it\n");
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
    expectRefused({}, "their order cannot be told");
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

/// Whatever bears the name of the list of what was cut, is neither followed nor waited for, and stays.
class RepairListTest : public RepairTest {
protected:
    void repairTorn() const {
        writeFiles({0, 1});
        write(fileName(1), items(11, 20) + "no item\n");
        write("log/index.csv", "");
        age();
        Setting setting;
        setting.processorSeconds = 5;
        const Outcome run = jorn({"repair", "--yes", "--backup", "backup", "log"}, setting);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(textsInRange(2), itemTexts(1, 20));
        EXPECT_EQ(read("backup/torn-1-2.txt"), "270: no item\n");
    }
};

TEST_F(RepairListTest, Repair_LinkBearsTheNameOfTheList_TargetStays) {
    write("outside", "precious");
    std::filesystem::create_symlink(path("outside"), path("log/torn-1.txt"));
    repairTorn();
    EXPECT_EQ(read("outside"), "precious");
    EXPECT_TRUE(std::filesystem::is_symlink(path("backup/torn-1.txt")));
}

TEST_F(RepairListTest, Repair_DanglingLinkBearsTheNameOfTheList_NothingIsMadeOutside) {
    std::filesystem::create_symlink(path("outside"), path("log/torn-1.txt"));
    repairTorn();
    EXPECT_FALSE(exists("outside"));
}

TEST_F(RepairListTest, Repair_ListOfAFormerRepair_Stays) {
    write("log/torn-1.txt", "5: former");
    repairTorn();
    EXPECT_EQ(read("backup/torn-1.txt"), "5: former");
}

TEST_F(RepairTest, Repair_PipeAmongOtherNames_RefusedWithoutWaiting) {
    makeCutRing(3, 1);
    ASSERT_EQ(mkfifo(path("log/torn-0.txt").c_str(), 0600), 0);
    expectRefused({}, "log/torn-0.txt: is no file; move it elsewhere first", 4);
}

TEST_F(RepairTest, Repair_LogOfAnotherUser_IndexIsTheirsToo) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    constexpr uid_t kUser = 12345;
    writeFiles({0, 1});
    write("log/index.csv", "");
    age();
    ASSERT_EQ(chmod(path("log").c_str(), 0750), 0);
    ASSERT_EQ(chown(path("log").c_str(), kUser, kUser), 0);
    ASSERT_EQ(chown(path("log/index.csv").c_str(), kUser, kUser), 0);
    ASSERT_EQ(chmod(path("log/index.csv").c_str(), 0600), 0);
    ASSERT_EQ(repair({"--yes", "--backup", "backup"}).status, 0);
    struct stat status = {};
    ASSERT_EQ(stat(path("log/index.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kUser);
    EXPECT_EQ(status.st_gid, kUser);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    std::filesystem::remove(path("log/index.csv"));
    ASSERT_EQ(repair({"--yes", "--backup", "second"}).status, 0);
    ASSERT_EQ(stat(path("log/index.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kUser);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
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

TEST_F(RepairTest, Repair_MissingDirectory_FailsAndMakesNone) {
    const Outcome run = jorn({"repair", "none", "--yes"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: none: No such file or directory\n");
    EXPECT_FALSE(exists("none"));
}

TEST_F(RepairTest, Repair_EntriesThatAreNoFiles_Refused) {
    writeFiles({0});
    makeDirectory("log/1.csv");
    expectRefused({}, "not every data file can be read");
    std::filesystem::remove(path("log/1.csv"));
    std::filesystem::create_symlink("0.csv", path("log/index.csv"));
    expectRefused({}, "`jorn check` names what is in the way");
}

TEST_F(RepairTest, Repair_BackupExists_Refused) {
    makeCutRing(3, 1);
    makeDirectory("taken");
    const std::string before = stateOf(path("log"));
    const Outcome run = repair({"--yes", "--backup", path("taken")});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("taken: exists already"));
    EXPECT_TRUE(stateOf(path("log")) == before);
}

/// It may be a log as it was, of a repair that was cut short.
TEST_F(RepairTest, Repair_PartOfSuchABackupExists_Refused) {
    makeCutRing(3, 1);
    makeDirectory("backup.partial");
    const std::string before = stateOf(path("log"));
    const Outcome run = repair({"--yes", "--backup", path("backup")});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("backup.partial: exists already; give another name with --backup"));
    EXPECT_TRUE(stateOf(path("log")) == before);
    EXPECT_TRUE(exists("backup.partial"));
    EXPECT_FALSE(exists("backup"));
}

TEST_F(RepairTest, Repair_LeftoverOfACutClearing_IsNotTakenOver) {
    makeCutRing(3, 1);
    write("log/.jorn-abc012", "half of an index");
    ASSERT_EQ(repair({"--yes", "--backup", path("backup")}).status, 0);
    EXPECT_FALSE(exists("log/.jorn-abc012"));
    EXPECT_TRUE(exists("backup/.jorn-abc012"));
}

TEST_F(RepairTest, Repair_BackupInTheLogItself_Refused) {
    makeCutRing(3, 1);
    makeDirectory("log/notes");
    const std::string before = stateOf(path("log"));
    for (const char *const place : {"log/backup", "log/../log/backup", "log/notes/backup"}) {
        const Outcome run = repair({"--yes", "--backup", path(place)});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err,
                    HasSubstr(std::string(place) + ": lies in the log's own directory; give another"));
    }
    EXPECT_TRUE(stateOf(path("log")) == before);
}

TEST_F(RepairTest, Repair_BackupOnAnotherFileSystem_Refused) {
    struct stat here;
    struct stat there;
    ASSERT_EQ(stat(root_.c_str(), &here), 0);
    if (stat("/dev/shm", &there) != 0 || there.st_dev == here.st_dev || access("/dev/shm", W_OK) != 0) {
        GTEST_SKIP() << "there is no other file system to be had";
    }
    makeCutRing(3, 1);
    const std::string before = stateOf(path("log"));
    const std::string backup = "/dev/shm/" + std::filesystem::path(root_).filename().string();
    const Outcome run = repair({"--yes", "--backup", backup});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: " + backup +
                           ": lies on another file system than log; give a name on the same " +
                           "one with --backup\n");
    EXPECT_TRUE(stateOf(path("log")) == before);
    EXPECT_FALSE(std::filesystem::exists(backup));
    EXPECT_FALSE(std::filesystem::exists(backup + ".partial"));
}

TEST_F(RepairTest, Repair_NoBackupNamed_KeptBesideWithTheTime) {
    makeCutRing(3, 1);
    ASSERT_EQ(repair({"--yes"}).status, 0);
    int backups = 0;
    for (const auto &entry : std::filesystem::directory_iterator(root_)) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "log" || name.find("log.bak-2") == 0) << name;
        backups += name == "log" ? 0 : 1;
    }
    EXPECT_EQ(backups, 1);
}

TEST_F(RepairTest, Repair_WorkingDirectoryIsTheLog_SaysThatItIsTheBackupNow) {
    for (const std::string &directory : {std::string("."), path("log")}) {
        makeCutRing(3, 1);
        Setting setting;
        setting.directory = path("log");
        const Outcome run = jorn({"repair", "--yes", "--backup", path("backup"), directory}, setting);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "jorn: the working directory is the backup now; the repaired log is in " +
                               path("log") + ": cd there again\n");
        std::filesystem::remove_all(path("log"));
        std::filesystem::remove_all(path("backup"));
        makeDirectory("log");
    }
}

TEST_F(RepairTest, Repair_WorkingDirectoryElsewhere_SaysNothingOfIt) {
    makeCutRing(3, 1);
    EXPECT_EQ(repair({"--yes", "--backup", "backup"}).err, "");
    Setting setting;
    setting.directory = path("backup");
    EXPECT_EQ(jorn({"repair", "."}, setting).err, "jorn: nothing was changed; --yes does it\n");
}

TEST_F(RepairTest, Repair_OtherNames_StayInTheLog) {
    makeCutRing(3, 1);
    write("log/readme.txt", "kept");
    write("log/90.csv", "kept too");
    std::filesystem::create_symlink("readme.txt", path("log/link"));
    repairWhole();
    EXPECT_EQ(read("log/readme.txt"), "kept");
    EXPECT_EQ(read("log/90.csv"), "kept too");
    EXPECT_TRUE(std::filesystem::is_symlink(path("log/link")));
}

TEST_F(RepairTest, Repair_WhileRecording_Refused) {
    RunningTool recorder(root_, {"record", "--files", "3", "log"});
    recorder.feed("one\n");
    CloseWatch watch(path("log"));
    watch.waitUntil(
        [&] { return exists("log/0.csv") && read("log/0.csv").find("one\n") != std::string::npos; });
    const Outcome run = repair({"--yes"});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("a jorn is recording into this directory"));
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
}

/// Ends a child process in the midst of a repair, after its k-th step, for every k.
TEST_F(RepairTest, Repair_PowerCutAfterAnyStep_LogIsAsItWasOrRepaired) {
    constexpr int kRing = 3;
    int cut = 1;
    bool isWhole = false;
    for (; !isWhole; ++cut) {
        ASSERT_LT(cut, 40);
        std::filesystem::remove_all(path("log"));
        std::filesystem::remove_all(path("backup"));
        std::filesystem::remove_all(path("backup.partial"));
        makeDirectory("log");
        write(fileName(2), items(1, 10));
        write(fileName(0), items(11, 20) + "torn\n");
        write(fileName(1), items(21, 25));
        write("log/index.csv", "");
        const auto before = contents("log");
        const pid_t child = fork();
        if (child == 0) {
            int steps = 0;
            jorn_SetDebugPrintLevel(0);
            const auto directory = tool::StoreDirectory::openForRepair(path("log"));
            const tool::Diagnosis diagnosis = tool::diagnose(directory, {});
            const tool::RepairPlan plan = tool::planRepair(directory, diagnosis);
            tool::rebuildDirectory(directory, diagnosis, plan, {path("backup"), [&] {
                                                                    if (++steps == cut) {
                                                                        _exit(1);
                                                                    }
                                                                }});
            _exit(0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        isWhole = WEXITSTATUS(status) == 0;
        const bool isRepaired = contents("log") != before;
        if (isRepaired) {
            const std::string kept = exists("backup") ? "backup" : "backup.partial";
            EXPECT_EQ(read(kept + "/0.csv"), before.at("0.csv")) << cut;
        } else {
            ASSERT_EQ(repair({"--yes", "--backup", path("second")}).status, 0) << cut;
            std::filesystem::remove_all(path("second"));
        }
        EXPECT_EQ(check().status, 0) << cut;
        EXPECT_TRUE(textsInRange(kRing) == itemTexts(1, 25)) << cut;
        EXPECT_EQ(itemsSeenByStore(kRing), 25) << cut;
    }
    EXPECT_GT(cut, 8);
}

/// Nobody records into the repaired directory, under whatever name, before the repair is done.
TEST_F(RepairTest, Repair_EveryStepOfIt_RepairedDirectoryIsLocked) {
    write(fileName(2), items(1, 10));
    write(fileName(0), items(11, 20) + "torn\n");
    write(fileName(1), items(21, 25));
    write("log/index.csv", "");
    jorn_SetDebugPrintLevel(0);
    const auto directory = tool::StoreDirectory::openForRepair(path("log"));
    const tool::Diagnosis diagnosis = tool::diagnose(directory, {});
    const tool::RepairPlan plan = tool::planRepair(directory, diagnosis);
    int steps = 0;
    tool::rebuildDirectory(
        directory, diagnosis, plan,
        {path("backup"), [&] {
             ++steps;
             int directories = 0;
             for (const auto &entry : std::filesystem::directory_iterator(root_)) {
                 const int fd = open(entry.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                 EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), -1) << entry.path() << " after step " << steps;
                 close(fd);
                 ++directories;
             }
             EXPECT_EQ(directories, 2);
         }});
    EXPECT_GT(steps, 6);
}

TEST_F(RepairTest, RepairJson_StepsAndSummary_OneObjectALine) {
    writeFiles({0, 1});
    writeIndex("0,1");
    write("log/index.bak", "version:1\n0,1\n");
    age();
    const std::string step = "{\"type\":\"step\",\"directory\":\"log\",\"what\":\"remove index.bak\"}\n";
    const Outcome plan = repair({"-o", "json"});
    EXPECT_EQ(plan.status, 3);
    EXPECT_EQ(plan.out,
              step + "{\"type\":\"summary\",\"directory\":\"log\",\"steps\":1,\"repaired\":false}\n");
    EXPECT_EQ(plan.err, "jorn: nothing was changed; --yes does it\n");
    const Outcome done = repair({"-o", "json", "--yes", "--backup", "backup"});
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.out, step +
                            "{\"type\":\"summary\",\"directory\":\"log\",\"steps\":1,\"repaired\":true,"
                            "\"backup\":\"backup\"}\n");
    EXPECT_EQ(repair({"-o", "json"}).out,
              "{\"type\":\"summary\",\"directory\":\"log\",\"steps\":0,\"repaired\":false}\n");
}

TEST_F(RepairTest, RepairColor_Always_ColorsTheResult) {
    writeFiles({0, 1});
    writeIndex("0,1");
    age();
    EXPECT_EQ(repair({"--color", "always"}).out, "log: \x1b[32mnothing to do\x1b[0m\n");
    EXPECT_EQ(repair({"--color", "never"}).out, "log: nothing to do\n");
    EXPECT_EQ(repair({"--color", "sometimes"}).status, 2);
}

}  // namespace
}  // namespace test
