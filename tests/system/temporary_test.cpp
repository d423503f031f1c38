// SPDX-License-Identifier: Apache-2.0
// Files that are being written: unnamed where that is possible, locked while they have a temporary name, and
// removed by the next writer once nobody uses them any more.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "system/failure.h"
#include "system/file_replacement.h"
#include "system/temporary.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TemporaryTest : public ToolTest {
protected:
    TemporaryTest() : directory_(open(root_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto &entry : std::filesystem::directory_iterator(root_)) {
            all.push_back(entry.path().filename().string());
        }
        std::sort(all.begin(), all.end());
        return all;
    }

    mode_t modeOf(const std::string &name) const {
        struct stat status = {};
        EXPECT_EQ(stat(path(name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    int fd() const { return directory_.get(); }

    const tool::Descriptor directory_;
};

TEST_F(TemporaryTest, ReplaceFile_OfAnother_ContentAndPermissionsStayTogether) {
    write("index.csv", "former");
    ASSERT_EQ(chmod(path("index.csv").c_str(), 0604), 0);
    tool::replaceFile(fd(), "index.csv", "log/index.csv", "new");
    EXPECT_EQ(read("index.csv"), "new");
    EXPECT_EQ(modeOf("index.csv"), 0604U);
    EXPECT_THAT(names(), ElementsAre("index.csv"));
}

TEST_F(TemporaryTest, ReplaceFile_OfNone_HasThePermissionsOfTheDirectory) {
    ASSERT_EQ(chmod(root_.c_str(), 0750), 0);
    tool::replaceFile(fd(), "index.csv", "log/index.csv", "new");
    EXPECT_EQ(read("index.csv"), "new");
    EXPECT_EQ(modeOf("index.csv"), 0640U);
    EXPECT_THAT(names(), ElementsAre("index.csv"));
}

TEST_F(TemporaryTest, ReplaceFile_OfALink_LinkGoesAndItsTargetStays) {
    write("target", "former");
    std::filesystem::create_symlink("target", path("index.csv"));
    tool::replaceFile(fd(), "index.csv", "log/index.csv", "new");
    EXPECT_EQ(read("target"), "former");
    EXPECT_FALSE(std::filesystem::is_symlink(path("index.csv")));
    EXPECT_EQ(read("index.csv"), "new");
}

TEST_F(TemporaryTest, ReplaceFile_NameOfADirectory_FailsAndLeavesNothing) {
    makeDirectory("index.csv");
    try {
        tool::replaceFile(fd(), "index.csv", "log/index.csv", "new");
        FAIL() << "no failure";
    } catch (const tool::Failure &failure) {
        EXPECT_STREQ(failure.what(), "log/index.csv: Is a directory");
        EXPECT_EQ(failure.exitCode(), 4);
    }
    EXPECT_THAT(names(), ElementsAre("index.csv"));
}

TEST_F(TemporaryTest, FileReplacement_NotPutInPlace_LeavesNothing) {
    write("index.csv", "former");
    {
        const tool::FileReplacement replacement(fd(), "index.csv", "log/index.csv", "new");
        EXPECT_EQ(names().size(), hasNamelessFiles(root_) ? 1U : 2U);
    }
    EXPECT_EQ(read("index.csv"), "former");
    EXPECT_THAT(names(), ElementsAre("index.csv"));
}

TEST_F(TemporaryTest, TemporaryFile_WhileItHasAName_IsNobodysLeftover) {
    const tool::TemporaryFile file(fd(), "file", tool::TemporaryFile::Naming::AtOnce);
    EXPECT_THAT(names(), ElementsAre(file.temporaryName()));
    EXPECT_TRUE(tool::isTemporaryName(file.temporaryName()));
    EXPECT_THAT(tool::abandonedNames(fd()), IsEmpty());
    const tool::TemporaryFile other(fd(), "other", tool::TemporaryFile::Naming::AtOnce);
    EXPECT_TRUE(exists(file.temporaryName()));
}

TEST_F(TemporaryTest, TemporaryFile_TakesAFreeName_OrSaysThatItIsTaken) {
    for (const auto naming : {tool::TemporaryFile::Naming::AtOnce, tool::TemporaryFile::Naming::WhenNeeded}) {
        write("taken", "former");
        tool::TemporaryFile file(fd(), "file", naming);
        EXPECT_FALSE(file.takeFreeName("taken"));
        EXPECT_EQ(read("taken"), "former");
        EXPECT_TRUE(file.takeFreeName("free"));
        EXPECT_THAT(names(), ElementsAre("free", "taken"));
        std::filesystem::remove(path("free"));
    }
}

TEST_F(TemporaryTest, Leftovers_OfEndedProcesses_AreNamedAndThenRemoved) {
    write(".jorn-abc012", "half of a file");
    makeDirectory(".jorn-repair-xyz789");
    write(".jorn-repair-xyz789/0.csv", "half of a log");
    EXPECT_THAT(tool::abandonedNames(fd()), ElementsAre(".jorn-abc012", ".jorn-repair-xyz789"));
    EXPECT_THAT(names(), ElementsAre(".jorn-abc012", ".jorn-repair-xyz789"));
    const tool::TemporaryFile file(fd(), "file");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(TemporaryTest, Leftovers_OtherNamesAndKinds_Stay) {
    write("outside", "");
    for (const char *const name :
         {".jorn-abc01", ".jorn-abc0123", ".jorn-ABCDEF", "x.jorn-abc012", ".jorn-repair-abc01"}) {
        write(name, "");
    }
    std::filesystem::create_symlink(path("outside"), path(".jorn-link00"));
    ASSERT_EQ(mkfifo(path(".jorn-pipe00").c_str(), 0600), 0);
    makeDirectory(".jorn-dir000");
    write(".jorn-repair-file00", "");
    makeDirectory(".jorn-repair-nested/more");
    const auto before = names();
    tool::removeAbandoned(fd());
    EXPECT_EQ(names(), before);
    EXPECT_TRUE(exists(".jorn-repair-nested/more"));
}

TEST_F(TemporaryTest, TemporaryDirectory_WhileInUse_IsNobodysLeftover) {
    std::string name;
    {
        const tool::TemporaryDirectory directory(fd(), "directory");
        name = directory.name();
        write(name + "/0.csv", "");
        EXPECT_THAT(tool::abandonedNames(fd()), IsEmpty());
        const tool::TemporaryDirectory other(fd(), "other");
        EXPECT_TRUE(exists(name + "/0.csv"));
    }
    EXPECT_THAT(names(), IsEmpty());
}

}  // namespace
}  // namespace test
