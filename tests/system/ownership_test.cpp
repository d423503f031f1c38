// SPDX-License-Identifier: Apache-2.0
// Owners and permissions: whoever repairs or clears a log, it stays its owner's; a user without permission
// gets a message that says where.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "damaged_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr uid_t kUser = 4711;
constexpr gid_t kGroup = 4712;

/// Root at work on a user's log.
class OwnershipTest : public DamagedLogTest {
protected:
    void SetUp() override {
        const std::string reason = whyNoOtherUser();
        if (!reason.empty()) {
            GTEST_SKIP() << reason;
        }
        ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
    }

    void give(const std::string &name, mode_t mode, uid_t owner = kUser, gid_t group = kGroup) const {
        ASSERT_EQ(chown(path(name).c_str(), owner, group), 0);
        ASSERT_EQ(chmod(path(name).c_str(), mode), 0);
    }

    /// Gives away the log and all that is in it.
    void giveLog(mode_t directoryMode, mode_t fileMode) const {
        for (const fs::directory_entry &entry : fs::directory_iterator(path("log"))) {
            give("log/" + entry.path().filename().string(), fileMode);
        }
        give("log", directoryMode);
    }

    /// "OWNER:GROUP MODE".
    std::string attributes(const std::string &name) const {
        struct stat status;
        EXPECT_EQ(lstat(path(name).c_str(), &status), 0) << name;
        char text[64];
        snprintf(text, sizeof text, "%u:%u %04o", status.st_uid, status.st_gid, status.st_mode & 07777);
        return text;
    }

    Outcome asUser(const std::vector<std::string> &arguments, const std::string &input = "") const {
        Setting setting;
        setting.input = input;
        setting.user = kUser;
        return jorn(arguments, setting);
    }
};

TEST_F(OwnershipTest, Repair_ByRootNoIndex_NewIndexIsAsTheDirectory) {
    writeFiles({0, 1});
    giveLog(0750, 0600);
    ASSERT_EQ(repair({"--yes", "--backup", path("backup")}).status, 0);
    EXPECT_EQ(attributes("log"), "4711:4712 0750");
    EXPECT_EQ(attributes("log/index.csv"), "4711:4712 0640");
    EXPECT_EQ(attributes("log/0.csv"), "4711:4712 0600");
}

TEST_F(OwnershipTest, Repair_ByRootDamagedIndex_NewIndexIsAsTheOldOne) {
    writeFiles({0, 1});
    writeIndex("77");
    giveLog(0755, 0664);
    ASSERT_EQ(repair({"--yes", "--backup", path("backup")}).status, 0);
    EXPECT_EQ(attributes("log/index.csv"), "4711:4712 0664");
}

TEST_F(OwnershipTest, Repair_ByRootLinesCut_TheirListIsAsTheFile) {
    write(fileName(0), items(1, 1) + "torn\n" + items(2, 2));
    writeIndex("0,0");
    giveLog(0750, 0600);
    ASSERT_EQ(repair({"--yes", "--backup", path("backup")}).status, 0);
    EXPECT_EQ(attributes("log/0.csv"), "4711:4712 0600");
    EXPECT_EQ(attributes("backup/torn-0.txt"), "4711:4712 0600");
}

TEST_F(OwnershipTest, Repair_ByAnotherUserThanTheFilesOwner_RepairedAllTheSame) {
    writeFiles({0, 1});
    giveLog(0755, 0644);
    give(fileName(0), 0644, 0, 0);
    fs::create_directory(path("parent"));
    fs::rename(path("log"), path("parent/log"));
    give("parent", 0755);
    const Outcome run = asUser({"repair", "--yes", "--backup", path("parent/backup"), "parent/log"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(attributes("parent/log/0.csv"), "4711:4711 0644");
    EXPECT_EQ(attributes("parent/log/1.csv"), "4711:4712 0644");
    EXPECT_EQ(attributes("parent/log/index.csv"), "4711:4712 0644");
}

TEST_F(OwnershipTest, Clear_ByRootIndexOfRoot_OwnersRecorderGoesOn) {
    writeFiles({0, 1});
    writeIndex("0,1");
    giveLog(0750, 0640);
    give("log/index.csv", 0644, 0, 0);
    ASSERT_EQ(jorn({"clear", "--yes", "--files", "9", "log"}).status, 0);
    EXPECT_EQ(attributes("log/2.csv"), "4711:4712 0640");
    EXPECT_EQ(attributes("log/index.csv"), "0:0 0644");
    const Outcome run = asUser({"record", "log"}, "new\n");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(textsIn(fileName(2)), ElementsAre("Log all cleared!", "Log start init!", "new"));
}

TEST_F(OwnershipTest, Clear_ByRootFileWrittenOver_StaysItsOwners) {
    writeFiles({2, 3, 0, 1});
    writeIndex("2,1");
    giveLog(0755, 0604);
    give(fileName(2), 0620);
    ASSERT_EQ(jorn({"clear", "--yes", "--files", "9", "log"}).status, 0);
    EXPECT_EQ(attributes(fileName(2)), "4711:4712 0620");
    EXPECT_EQ(attributes("log/index.csv"), "4711:4712 0604");
}

TEST_F(OwnershipTest, Clear_ByRootBackupIndexOnly_NewIndexIsAsTheDirectory) {
    writeFiles({0, 1});
    write("log/index.bak", "version:1\n0,1\n");
    giveLog(0750, 0604);
    ASSERT_EQ(jorn({"clear", "--yes", "--files", "9", "log"}).status, 0);
    EXPECT_EQ(attributes("log/index.csv"), "4711:4712 0640");
}

TEST_F(OwnershipTest, Record_ByRootPieceMoved_ItsFileIsAsTheDataFile) {
    write(fileName(0), items(1, 1) + "torn");
    writeIndex("0,0");
    giveLog(0755, 0620);
    ASSERT_EQ(jorn({"record", "log"}).status, 0);
    EXPECT_EQ(attributes("log/torn-0.txt"), "4711:4712 0620");
    EXPECT_EQ(attributes("log/0.csv"), "4711:4712 0620");
}

TEST_F(OwnershipTest, Record_DirectoryOfAnother_IsNamed) {
    writeFiles({0});
    writeIndex("0,0");
    giveLog(0755, 0666);
    give("log", 0755, 0, 0);
    const std::string before = stateOf(path("log"));
    const Outcome run = asUser({"record", "log"}, "x\n");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log: files cannot be written in this directory: Permission denied\n");
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(OwnershipTest, Record_EmptyDirectoryOfAnother_IsNamed) {
    give("log", 0755, 0, 0);
    const Outcome run = asUser({"record", "log"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log: files cannot be written in this directory: Permission denied\n");
}

TEST_F(OwnershipTest, Record_ParentOfAnother_ParentIsNamed) {
    makeDirectory("parent");
    give("parent", 0755, 0, 0);
    const Outcome run = asUser({"record", "parent/new/"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: parent/new/: cannot be created in parent: Permission denied\n");
    const Outcome here = asUser({"record", "new"});
    EXPECT_EQ(here.status, 4);
    EXPECT_EQ(here.err, "jorn: new: cannot be created in .: Permission denied\n");
}

TEST_F(OwnershipTest, AnyCommand_DirectoryOnTheWayIsClosed_ItIsNamed) {
    makeDirectory("way/closed/deeper/log");
    give("way/closed/deeper/log", 0755);
    give("way/closed", 0700, 0, 0);
    for (const char *const command : {"record", "show", "check", "repair", "clear"}) {
        const Outcome run = asUser({command, "way/closed/deeper/log"});
        EXPECT_EQ(run.status, 4) << command;
        EXPECT_EQ(run.err,
                  "jorn: way/closed/deeper/log: cannot be reached through way/closed: Permission denied\n")
            << command;
    }
    const Outcome absolute = asUser({"record", path("way/closed/new")});
    EXPECT_EQ(absolute.err, "jorn: " + path("way/closed/new") + ": cannot be reached through " +
                                path("way/closed") + ": Permission denied\n");
}

TEST_F(OwnershipTest, Record_DirectoryMayNotBeRead_ItIsNamed) {
    give("log", 0700, 0, 0);
    const Outcome run = asUser({"record", "log"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log: Permission denied\n");
}

TEST_F(OwnershipTest, Record_DirectoryIsClosedMeanwhile_IsNamed) {
    RunningTool tool(root_, {"record", "log"}, "", true);
    tool.feed(numberedLines("line", kFull - 1));
    CloseWatch watch(path("log"));
    watch.waitUntil([&] { return exists(fileName(0)) && linesOf(read(fileName(0))).size() == kFull; });
    give("log", 0500, 0, 0);
    tool.feed("in the next file\n");
    const Outcome run = tool.wait();
    give("log", 0700, 0, 0);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err,
                HasSubstr("jorn: log: files cannot be written in this directory: Permission denied; 1 "
                          "of the lines read are not in the files\n"));
}

TEST_F(OwnershipTest, Clear_ByAMemberOfTheGroup_FilesStayTheGroups) {
    writeFiles({2, 3, 0, 1});
    writeIndex("2,1");
    giveLog(0770, 0660);
    give("log", 0770, 0);
    give(fileName(2), 0660, 0);
    const Outcome run = asUser({"clear", "--yes", "log"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(attributes(fileName(2)), "4711:4712 0660");
}

/// The modes of what a recording makes.
class ModeTest : public OwnershipTest {
protected:
    /// The mask of file modes while a test runs.
    class Mask {
    public:
        explicit Mask(mode_t mask) : former_(umask(mask)) {}
        ~Mask() { umask(former_); }
        Mask(const Mask &) = delete;
        Mask &operator=(const Mask &) = delete;

    private:
        const mode_t former_;
    };

    std::string mode(const std::string &name) const {
        const std::string all = attributes(name);
        return all.substr(all.find(' ') + 1);
    }
};

TEST_F(ModeTest, Record_NoMode_DirectoryIsClosedToOthers) {
    const Mask mask(022);
    ASSERT_EQ(jorn({"record", "new"}).status, 0);
    EXPECT_EQ(mode("new"), "0750");
    EXPECT_EQ(mode("new/0.csv"), "0644");
    EXPECT_EQ(mode("new/index.csv"), "0644");
}

TEST_F(ModeTest, RecordMode_NewDirectory_DirectoryAndEveryFileHaveIt) {
    const Mask mask(077);
    ASSERT_EQ(
        jorn({"record", "--mode", "0775", "new"}, {numberedLines("line", kFull + 5), "", {}, {}}).status, 0);
    EXPECT_EQ(mode("new"), "0775");
    for (const char *const name : {"new/0.csv", "new/1.csv", "new/index.csv"}) {
        EXPECT_EQ(mode(name), "0664") << name;
    }
}

TEST_F(ModeTest, RecordMode_Narrower_DirectoryAndFilesHaveIt) {
    const Mask mask(022);
    ASSERT_EQ(jorn({"record", "--mode", "700", "new"}).status, 0);
    EXPECT_EQ(mode("new"), "0700");
    EXPECT_EQ(mode("new/0.csv"), "0600");
    EXPECT_EQ(mode("new/index.csv"), "0600");
}

TEST_F(ModeTest, RecordMode_LogThatIsThere_IsWidened) {
    writeFiles({0, 1});
    write(fileName(1), read(fileName(1)) + "torn");
    write("log/other.txt", "");
    writeIndex("0,1");
    giveLog(0750, 0600);
    give("log", 02750, kUser, kUser);
    const Outcome run = asUser({"record", "--mode", "0755", "log"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(attributes("log"), "4711:4711 2755");
    for (const char *const name : {"log/0.csv", "log/1.csv", "log/index.csv", "log/torn-0.txt"}) {
        EXPECT_EQ(mode(name), "0644") << name;
    }
    EXPECT_EQ(mode("log/other.txt"), "0600");
}

TEST_F(ModeTest, RecordMode_LogOfAnother_RefusedUnlessItHasTheMode) {
    writeFiles({0});
    writeIndex("0,0");
    giveLog(0777, 0666);
    give("log", 0777, 0, 0);
    const Outcome refused = asUser({"record", "--mode", "0755", "log"});
    EXPECT_EQ(refused.status, 4);
    EXPECT_EQ(refused.err, "jorn: log: its mode cannot be changed: Operation not permitted\n");
    EXPECT_EQ(mode("log"), "0777");
    EXPECT_EQ(asUser({"record", "--mode", "0777", "log"}).status, 0);
    give(fileName(0), 0660, 0, kUser);
    const Outcome ofFile = asUser({"record", "--mode", "0777", "log"});
    EXPECT_EQ(ofFile.status, 4);
    EXPECT_EQ(ofFile.err, "jorn: log/0.csv: its mode cannot be changed: Operation not permitted\n");
}

TEST_F(ModeTest, RecordMode_NoMode_Refused) {
    for (const char *const wrong : {"888", "75", "0500", "1777", "75a", "-755", "00755", "", "rwx"}) {
        const Outcome run = jorn({"record", std::string("--mode=") + wrong, "new"});
        EXPECT_EQ(run.status, 2) << wrong;
        EXPECT_EQ(run.err.rfind("jorn: --mode", 0), 0U) << run.err;
    }
    EXPECT_FALSE(exists("new"));
}

}  // namespace
}  // namespace test
