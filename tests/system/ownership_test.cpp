// SPDX-License-Identifier: Apache-2.0
// Owners and permissions: whoever mends or clears a log, it stays its owner's; and who has no rights is told
// where.
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

/// Root's hands in the log of a user.
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

    /// The log and all that is in it.
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
    EXPECT_EQ(attributes("parent/log/index.csv"), "4711:4711 0644");
}

TEST_F(OwnershipTest, Clear_ByRootIndexOfRoot_OwnersRecorderGoesOn) {
    writeFiles({0, 1});
    writeIndex("0,1");
    giveLog(0750, 0640);
    give("log/index.csv", 0644, 0, 0);
    ASSERT_EQ(jorn({"clear", "--yes", "log"}).status, 0);
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
    ASSERT_EQ(jorn({"clear", "--yes", "log"}).status, 0);
    EXPECT_EQ(attributes(fileName(2)), "4711:4712 0620");
    EXPECT_EQ(attributes("log/index.csv"), "4711:4712 0604");
}

TEST_F(OwnershipTest, Clear_ByRootBackupIndexOnly_NewIndexIsAsTheDirectory) {
    writeFiles({0, 1});
    write("log/index.bak", "version:1\n0,1\n");
    giveLog(0750, 0604);
    ASSERT_EQ(jorn({"clear", "--yes", "log"}).status, 0);
    EXPECT_EQ(attributes("log/index.csv"), "4711:4712 0640");
}

}  // namespace
}  // namespace test
