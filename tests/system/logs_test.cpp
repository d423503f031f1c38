// SPDX-License-Identifier: Apache-2.0
// `jorn logs`: the logs in a tree of directories.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>

#include <filesystem>
#include <string>
#include <vector>

#include "several_logs.h"
#include "system/descriptor.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class LogsTest : public SeveralLogsTest {
protected:
    /// Three logs, one of them in another.
    void makeTree() const {
        fs::create_directories(path("top/b/none"));
        writeDoorAndGate();
        fs::rename(path("gate"), path("top/b/gate"));
        fs::rename(path("door"), path("top/a"));
        writeLog("top/a/aside", {dataLine(kMidnight, 1, 5, "x"), ""});
        write("top/b/1.txt", "");
    }

    /// The paths that are listed.
    std::vector<std::string> paths(std::vector<std::string> directories) const {
        directories.insert(directories.begin(), {"logs", "-o", "csv"});
        std::vector<std::string> lines = linesOf(printed(directories));
        EXPECT_EQ(lines.front(), "log,items,earliest,latest,bytes,state");
        lines.erase(lines.begin());
        for (std::string &line : lines) {
            line.erase(line.find(','));
        }
        return lines;
    }
};

TEST_F(LogsTest, Logs_Tree_SortedWithItemsSpanAndSize) {
    makeTree();
    const std::string before = stateOf(root_);
    EXPECT_EQ(printed({"logs", "--utc", "top"}),
              "log          items              earliest                latest  bytes  state\n"
              "top/a            4  2023-11-15 00:00:00Z  2023-11-15 00:00:20Z     86     ok\n"
              "top/a/aside      1  2023-11-15 00:00:00Z  2023-11-15 00:00:00Z     31     ok\n"
              "top/b/gate       4  2023-11-15 00:00:00Z  2023-11-15 00:00:30Z     86     ok\n");
    EXPECT_TRUE(stateOf(root_) == before);
    EXPECT_EQ(printed({"logs", "--utc", "top", "-o", "csv"}),
              "log,items,earliest,latest,bytes,state\n"
              "top/a,4,1700006400,1700006420,86,ok\n"
              "top/a/aside,1,1700006400,1700006400,31,ok\n"
              "top/b/gate,4,1700006400,1700006430,86,ok\n");
    EXPECT_EQ(printed({"logs", "--utc", "top/b", "-o", "json"}),
              R"({"log":"top/b/gate","items":4,"earliest":"2023-11-15T00:00:00Z",)"
              R"("latest":"2023-11-15T00:00:30Z","bytes":86,"state":"ok"})"
              "\n");
}

TEST_F(LogsTest, Logs_SeveralDirectories_EachLogOnceByTheFirstPath) {
    makeTree();
    EXPECT_THAT(paths({"top/b", "top"}), ElementsAre("top/a", "top/a/aside", "top/b/gate"));
    EXPECT_THAT(paths({"./top/b/gate", "top/b"}), ElementsAre("./top/b/gate"));
    EXPECT_THAT(paths({"top/a"}), ElementsAre("top/a", "top/a/aside"));
}

TEST_F(LogsTest, Logs_Links_FollowedOnlyWhereTheyAreNamed) {
    makeTree();
    fs::create_directory_symlink(path("top"), path("top/b/loop"));
    fs::create_directory_symlink(path("top/a"), path("top/b/link"));
    fs::create_directory_symlink("top/b", path("named"));
    EXPECT_THAT(paths({"top"}), ElementsAre("top/a", "top/a/aside", "top/b/gate"));
    EXPECT_THAT(paths({"named"}), ElementsAre("named/gate"));
}

TEST_F(LogsTest, Logs_HiddenDirectories_PassedOver) {
    makeTree();
    fs::rename(path("top/b"), path("top/.b"));
    EXPECT_THAT(paths({"top"}), ElementsAre("top/a", "top/a/aside"));
    EXPECT_THAT(paths({"top/.b"}), ElementsAre("top/.b/gate"));
}

TEST_F(LogsTest, Logs_EmptyLog_HasNoSpan) {
    writeLog("empty", {""});
    EXPECT_EQ(printed({"logs", "empty"}),
              "log    items  earliest  latest  bytes  state\nempty      0         -       -     14     ok\n");
    EXPECT_EQ(printed({"logs", "empty", "-o", "csv"}),
              "log,items,earliest,latest,bytes,state\nempty,0,,,14,ok\n");
    EXPECT_EQ(printed({"logs", "empty", "-o", "json"}),
              "{\"log\":\"empty\",\"items\":0,\"bytes\":14,\"state\":\"ok\"}\n");
}

TEST_F(LogsTest, Logs_DamagedLog_StateAndExitCode) {
    makeTree();
    write("top/b/gate/0.csv", dataLine(kMidnight, 1, 0, "x") + "no item\n");
    const Outcome run = jorn({"logs", "-o", "csv", "top"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("top/a,4,1700006400,1700006420,86,ok\n"));
    EXPECT_THAT(run.out, HasSubstr("top/b/gate,1,1700006400,1700006400,39,damaged\n"));
    EXPECT_EQ(printed({"logs", "-o", "csv", "top/a"}).find("damaged"), std::string::npos);
}

/// Seen without the lock being taken, which would keep a recorder out.
TEST_F(LogsTest, Logs_LockedLog_IsBeingRecorded) {
    makeTree();
    const tool::Descriptor log(open(path("top/a").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(log.get(), LOCK_SH | LOCK_NB), 0);
    EXPECT_THAT(printed({"logs", "-o", "csv", "top/a"}), HasSubstr("top/a,4,1700006400,1700006420,86,ok\n"));
    ASSERT_EQ(flock(log.get(), LOCK_EX | LOCK_NB), 0);
    const std::string listed = printed({"logs", "-o", "csv", "top"});
    EXPECT_THAT(listed, HasSubstr("top/a,4,1700006400,1700006420,86,recording\n"));
    EXPECT_THAT(listed, HasSubstr("top/b/gate,4,1700006400,1700006430,86,ok\n"));
}

TEST_F(LogsTest, Logs_NoLogs_Refused) {
    makeTree();
    makeDirectory("void");
    expectError({"logs", "void", "top/b/none"}, 2,
                "jorn: void: no log here or below\njorn: top/b/none: no log here or below\n");
    expectError({"logs", "-o", "csv", "void"}, 2, "jorn: void: no log here or below\n");
    expectError({"logs", "-o", "csv", "top/b/gate", "void"}, 2, "jorn: void: no log here or below\n",
                "log,items,earliest,latest,bytes,state\ntop/b/gate,4,1700006400,1700006430,86,ok\n");
    expectError({"logs", "missing"}, 4, "jorn: missing: No such file or directory\n");
}

TEST_F(LogsTest, Logs_ClosedDirectoryOrLog_ReportedAndTheOthersListed) {
    makeTree();
    fs::create_directories(path("top/c/d"));
    fs::permissions(path("top/c"), fs::perms::none);
    fs::permissions(path("top/a/index.csv"), fs::perms::none);
    Setting setting;
    setting.obeysPermissions = true;
    const Outcome run = jorn({"logs", "-o", "csv", "top"}, setting);
    fs::permissions(path("top/c"), fs::perms::owner_all);
    if (run.status == 126) {
        GTEST_SKIP() << run.err;
    }
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: top/c: Permission denied\njorn: top/a/index.csv: Permission denied\n");
    EXPECT_EQ(run.out,
              "log,items,earliest,latest,bytes,state\n"
              "top/a,0,,,0,unreadable\n"
              "top/a/aside,1,1700006400,1700006400,31,ok\n"
              "top/b/gate,4,1700006400,1700006430,86,ok\n");
}

TEST_F(LogsTest, Logs_VeryDeepTree_SixteenLevelsAndAMessage) {
    std::string deep = "top";
    for (int level = 1; level <= 16; ++level) {
        deep += "/" + std::to_string(level);
    }
    writeLog(deep, {dataLine(kMidnight, 1, 0, "x")});
    EXPECT_THAT(paths({"top"}), ElementsAre(deep));
    writeLog(deep + "/17", {dataLine(kMidnight, 1, 0, "x")});
    const Outcome run = jorn({"logs", "-o", "csv", "top"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err,
              "jorn: " + deep + "/17: lies too deep and is left out; name it, or a directory nearer to it\n");
    EXPECT_EQ(linesOf(run.out).size(), 2U);
    EXPECT_EQ(paths({"top/1"}).size(), 2U);
}

TEST_F(LogsTest, Logs_StrangeName_EscapedInText) {
    writeLog("a\nb, c", {""});
    EXPECT_THAT(printed({"logs", "."}), HasSubstr("./a\\x0ab, c      0"));
    EXPECT_THAT(printed({"logs", "-o", "csv", "."}), HasSubstr("\"./a\nb, c\",0,"));
    EXPECT_THAT(printed({"logs", "-o", "json", "."}), HasSubstr("\"./a\\nb, c\""));
}

}  // namespace
}  // namespace test
