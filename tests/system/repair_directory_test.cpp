// SPDX-License-Identifier: Apache-2.0
// `jorn repair` as a change of directories: other entries, the backup, cuts, locks, and what it prints.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "health/diagnosis.h"
#include "health/repair_plan.h"
#include "repair/directory_rebuild.h"
#include "repaired_log.h"

namespace test {
namespace {

using ::testing::HasSubstr;

/// Whatever has the name of the list of cut pieces is neither followed nor waited for, and stays.
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
    expectRefused({}, "log/torn-0.txt: not a regular file; move it elsewhere first", 4);
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
    EXPECT_THAT(run.err, HasSubstr("taken: already exists"));
    EXPECT_TRUE(stateOf(path("log")) == before);
}

/// It may be the original log, left by a repair that was cut short.
TEST_F(RepairTest, Repair_PartOfSuchABackupExists_Refused) {
    makeCutRing(3, 1);
    makeDirectory("backup.partial");
    const std::string before = stateOf(path("log"));
    const Outcome run = repair({"--yes", "--backup", path("backup")});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("backup.partial: already exists; give another name with --backup"));
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
                    HasSubstr(std::string(place) + ": is inside the log's own directory; give another"));
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
    EXPECT_EQ(run.err, "jorn: " + backup + ": is on another file system than log; give a name on the same " +
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
        EXPECT_EQ(run.err, "jorn: the working directory is now the backup; the repaired log is in " +
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
    EXPECT_EQ(jorn({"repair", "."}, setting).err, "jorn: nothing was changed; --yes makes these changes\n");
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
    EXPECT_THAT(run.err, HasSubstr("another jorn is recording into this directory"));
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
        Child child(fork());
        if (child.process() == 0) {
            Child::begin();
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
        const int status = child.wait();
        ASSERT_TRUE(status == 0 || status == 1) << status;
        isWhole = status == 0;
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
    EXPECT_EQ(plan.err, "jorn: nothing was changed; --yes makes these changes\n");
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
