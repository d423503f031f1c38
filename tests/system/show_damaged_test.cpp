// SPDX-License-Identifier: Apache-2.0
// `jorn show` and the like over directories as power cuts and outside changes leave them; they must not
// change them.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "show_log.h"

namespace test {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(ShowTest, EveryLookingCommand_SoundAndDamagedDirectory_Untouched) {
    const std::vector<std::vector<std::string>> commands = {{"show"},
                                                            {"show", "--files", "90"},
                                                            {"show", "--files", "2"},
                                                            {"show", "--page", "1"},
                                                            {"show", "-n", "2"},
                                                            {"show", "-r"},
                                                            {"show", "-g", "d1"},
                                                            {"show", "-n", "3", "-g", "no such text"},
                                                            {"show", "-S", "@1", "-U", "now", "-p", "2"},
                                                            {"show", "-q"},
                                                            {"show", "-g", "d1", "-C", "1"},
                                                            {"show", "-v", "-g", "d1", "-A", "1", "-n", "1"},
                                                            {"count"},
                                                            {"count", "--files", "90"},
                                                            {"count", "--explain", "-S", "2023-11-16"},
                                                            {"count", "-g", "d1", "-o", "json"},
                                                            {"count", "-s", "5", "-o", "csv"},
                                                            {"stats"},
                                                            {"stats", "--disk-usage", "-g", "d1"},
                                                            {"stats", "-o", "json", "--files", "2"},
                                                            {"export"},
                                                            {"export", "-o", "csv", "-s", "5"},
                                                            {"export", "-o", "syslog", "-g", "d1"},
                                                            {"check"},
                                                            {"check", "-o", "json"},
                                                            {"repair"}};
    std::vector<std::vector<std::string>> all = commands;
    for (const char *form : {"short", "short-iso", "cat", "iso", "device", "csv", "json"}) {
        all.push_back({"show", "-n", "all", "-o", form});
    }
    writeMixed();
    write("log/jorn.names", "[levels]\n0 = error\n");
    for (const char *index : {"version:1\n0,2\n", ""}) {
        write("log/index.csv", index);
        const std::string before = stateOf(path("log"));
        for (std::vector<std::string> arguments : all) {
            arguments.emplace_back("log");
            EXPECT_THAT(jorn(arguments).status, AnyOf(0, 1, 3)) << ::testing::PrintToString(arguments);
            EXPECT_EQ(stateOf(path("log")), before) << ::testing::PrintToString(arguments);
        }
    }
}

TEST_F(ShowTest, Show_BackupIndexOnly_ReadsItAndLeavesIt) {
    writeMixed();
    std::filesystem::rename(path("log/index.csv"), path("log/index.bak"));
    const std::string before = stateOf(path("log"));
    const Outcome run = jorn({"show", "log"});
    EXPECT_THAT(shownTexts(run.out),
                ElementsAre("d0 l0 s0", "d0 l1 s5", "d1 l2 s0", "d1 l3 s5", "d1 l0 s5", "d2 l1 s0"));
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ShowTest, Show_IndexDamaged_ShowsFirstFileAsTheStoreWould) {
    for (const char *index : {"", "version:2\n0,2\n", "version:1\n", "version:1\n0,90\n", "garbage"}) {
        writeMixed();
        write("log/index.csv", index);
        const std::string before = stateOf(path("log"));
        const Outcome run = jorn({"show", "log"});
        EXPECT_EQ(run.status, 3);
        EXPECT_THAT(shownTexts(run.out), ElementsAre("d0 l0 s0", "d0 l1 s5")) << index;
        EXPECT_THAT(run.err, HasSubstr("jorn: note: log: the index is missing or damaged")) << index;
        EXPECT_EQ(stateOf(path("log")), before);
    }
}

TEST_F(ShowTest, Show_IndexWithOneNumber_ReadAsTheStoreDoes) {
    writeMixed();
    write("log/index.csv", "version:1\n0");
    EXPECT_THAT(shown(), ElementsAre("d0 l0 s0", "d0 l1 s5"));
}

TEST_F(ShowTest, Show_GapAndSurplus_ShownInPlanOrderAndUntouched) {
    writeMixed();
    std::filesystem::rename(path("log/2.csv"), path("log/4.csv"));
    writeIndex("0,4");
    const std::string before = stateOf(path("log"));
    Outcome run = jorn({"show", "log"});
    EXPECT_THAT(shownTexts(run.out),
                ElementsAre("d0 l0 s0", "d0 l1 s5", "d1 l2 s0", "d1 l3 s5", "d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(run.err, HasSubstr("jorn: note: log: not tidy: the store's next start would rename 2 and "
                                   "delete 0 of its files"));
    run = jorn({"show", "log", "--files", "2"});
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d1 l2 s0", "d1 l3 s5", "d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(run.err, HasSubstr("rename 2 and delete 1 of its files"));
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ShowTest, Show_GapLeavesNoTemporaryDirectory) {
    writeMixed();
    std::filesystem::remove(path("log/1.csv"));
    makeDirectory("tmp");
    const Outcome run = jorn({"show", "log", "--page", "1"}, {"", "", {{"TMPDIR", path("tmp")}}, {}});
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d2 l1 s0", "d1 l0 s5", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_TRUE(std::filesystem::is_empty(path("tmp")));
}

TEST_F(ShowTest, Show_RingThatCameRound_WalksThroughTheWrap) {
    writeMixed();
    std::filesystem::rename(path("log/0.csv"), path("log/x"));
    std::filesystem::rename(path("log/2.csv"), path("log/0.csv"));
    std::filesystem::rename(path("log/1.csv"), path("log/2.csv"));
    std::filesystem::rename(path("log/x"), path("log/1.csv"));
    writeIndex("1,0");
    EXPECT_THAT(shown(), ElementsAre("d0 l0 s0", "d0 l1 s5", "d1 l2 s0", "d1 l3 s5", "d1 l0 s5", "d2 l1 s0"));
}

TEST_F(ShowTest, Show_DamagedLines_RestIsShownAndExitTells) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "whole") + "\n\r\nno fields\n,,,\n17000000");
    const Outcome run = jorn({"show", "log"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(shownTexts(run.out), ElementsAre("whole"));
    // The line at the end may be one that is being written.
    EXPECT_EQ(run.err,
              "jorn: note: log/0.csv: 2 lines that are not items, at offset 24 and after; left out\n");
}

TEST_F(ShowTest, Show_TornLineAtTheEnd_IsNoDamage) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "whole") + "17000000");
    EXPECT_THAT(shown(), ElementsAre("whole"));
    writeIndex("0,1");
    write("log/1.csv", dataLine(kMidnight, 1, 0, "newer"));
    EXPECT_EQ(jorn({"show", "log"}).status, 3);
}

TEST_F(ShowTest, ShowPage_LogWithoutItems_SaysSo) {
    writeIndex("0,0");
    for (const char *file : {"", "log/0.csv"}) {
        if (*file != '\0') {
            write(file, "");
        }
        const Outcome run = jorn({"show", "log", "--page", "1"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "no items\n");
    }
}

TEST_F(ShowTest, ShowAndCount_NoDirectory_ExitWith4) {
    for (const char *command : {"show", "count"}) {
        const Outcome run = jorn({command, "missing"});
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: missing: No such file or directory\n");
    }
    EXPECT_FALSE(exists("missing"));
}

TEST_F(ShowTest, ShowAndCount_DataFileThatIsNone_OthersAreShownWithoutWaiting) {
    const std::vector<std::function<void(const std::string &)>> makers = {
        [](const std::string &name) { ASSERT_EQ(mkfifo(name.c_str(), 0600), 0); },
        [](const std::string &name) { ASSERT_EQ(mkdir(name.c_str(), 0700), 0); },
        [](const std::string &name) { ASSERT_EQ(symlink("/dev/zero", name.c_str()), 0); },
    };
    for (const auto &make : makers) {
        writeMixed();
        std::filesystem::remove(path("log/1.csv"));
        make(path("log/1.csv"));
        for (const std::vector<std::string> &arguments :
             {std::vector<std::string>{"show", "log"}, {"show", "log", "-n", "9"}, {"count", "log"}}) {
            const Outcome run = jorn(arguments);
            EXPECT_EQ(run.status, 3);
            EXPECT_EQ(linesOf(run.out).size(), arguments[0] == "show" ? 4U : 6U);
            EXPECT_THAT(run.err,
                        HasSubstr("jorn: note: log/1.csv: not a regular file; its items are left out\n"));
        }
        std::filesystem::remove(path("log/1.csv"));
    }
}

TEST_F(ShowTest, Show_OnlyDataFileIsPipe_DoesNotWaitForItsWriter) {
    writeIndex("0,0");
    ASSERT_EQ(mkfifo(path("log/0.csv").c_str(), 0600), 0);
    Setting setting;
    setting.processorSeconds = 20;
    const Outcome run = jorn({"show", "log"}, setting);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("jorn: note: log/0.csv: not a regular file; its items are left out\n"));
}

TEST_F(ShowTest, Show_DataFileIsLinkToFile_IsRead) {
    writeMixed();
    std::filesystem::rename(path("log/1.csv"), path("elsewhere"));
    std::filesystem::create_symlink(path("elsewhere"), path("log/1.csv"));
    EXPECT_EQ(shown().size(), 6U);
}

TEST_F(ShowTest, Show_FileWithoutRights_OthersAreShown) {
    writeMixed();
    std::filesystem::permissions(path("log/1.csv"), std::filesystem::perms::none);
    std::filesystem::permissions(root_, std::filesystem::perms::all);
    const Outcome run = jorn({"show", path("log"), "-n", "9"}, {"", "/", {}, {}, true});
    if (run.status == 126) {
        GTEST_SKIP() << "root's rights cannot be given up";
    }
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d0 l0 s0", "d0 l1 s5", "d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(run.err, HasSubstr("log/1.csv: Permission denied; its items are left out\n"));
}

TEST_F(ShowTest, Show_DirectoryWithoutRights_ExitWith4) {
    writeMixed();
    std::filesystem::permissions(root_, std::filesystem::perms::all);
    std::filesystem::permissions(path("log"), std::filesystem::perms::none);
    const Outcome run = jorn({"show", path("log")}, {"", "/", {}, {}, true});
    if (run.status == 126) {
        GTEST_SKIP() << "root's rights cannot be given up";
    }
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: " + path("log/index.csv") + ": Permission denied\n");
}

TEST_F(ShowTest, Show_SparseFileOfAGigabyte_InBoundedMemoryFromBothEnds) {
    writeMixed();
    std::filesystem::resize_file(path("log/1.csv"), uint64_t{1} << 30);
    const std::string newest = "d2 l1 s0";
    const uint64_t most = uint64_t{256} << 20;
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"show", "log"}, {"show", "log", "-r"}, {"show", "log", "-n", "9"}}) {
        const Outcome run = jorn(arguments, {"", "", {}, {}, false, most});
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(shownTexts(run.out).size(), 6U);
        EXPECT_THAT(run.err, HasSubstr("log/1.csv: 4194304 lines that are not items"));
    }
}

}  // namespace
}  // namespace test
