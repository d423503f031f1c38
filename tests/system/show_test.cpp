// SPDX-License-Identifier: Apache-2.0
// `jorn show` and `jorn count` over directories written by hand.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// 2023-11-15 00:00:00 UTC.
constexpr uint32_t kDay = 86400;
constexpr uint32_t kMidnight = 19676 * kDay;

class ShowTest : public ToolTest {
protected:
    ShowTest() { makeDirectory("log"); }

    void writeIndex(const std::string &positions) const {
        write("log/index.csv", "version:1\n" + positions + "\n");
    }

    /// Three days, all levels, two slots.
    void writeMixed() const {
        writeIndex("0,2");
        write("log/0.csv", dataLine(kMidnight, 0, 0, "d0 l0 s0") + dataLine(kMidnight + 1, 1, 5, "d0 l1 s5"));
        write("log/1.csv", dataLine(kMidnight + kDay, 2, 0, "d1 l2 s0") +
                               dataLine(kMidnight + kDay + 1, 3, 5, "d1 l3 s5"));
        write("log/2.csv", dataLine(kMidnight + 2 * kDay - 1, 0, 5, "d1 l0 s5") +
                               dataLine(kMidnight + 2 * kDay, 1, 0, "d2 l1 s0"));
    }

    std::vector<std::string> shown(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"show", "log"});
        const Outcome run = jorn(options);
        EXPECT_EQ(run.status, 0) << run.err;
        return shownTexts(run.out);
    }

    Outcome utc(const std::vector<std::string> &arguments) const {
        return jorn(arguments, {"", "", {{"TZ", "XYZ-5"}}, {}});
    }
};

TEST_F(ShowTest, Show_Items_PrintsLocalTimeLevelSlotText) {
    writeMixed();
    const Outcome run = utc({"show", "log", "--per-page", "1"});
    EXPECT_EQ(run.out, "2023-11-17 05:00:00 1 0 d2 l1 s0\n");
    EXPECT_EQ(run.err, "page 1 of 5 (5 items)\n");
}

TEST_F(ShowTest, ShowUtc_Items_PrintsUtc) {
    writeMixed();
    EXPECT_EQ(utc({"show", "log", "--per-page", "1", "--utc"}).out, "2023-11-17 00:00:00Z 1 0 d2 l1 s0\n");
}

TEST_F(ShowTest, Show_TimesBeyond2038_AreShown) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(4294967295U, 1, 0, "last"));
    EXPECT_EQ(jorn({"show", "log", "--utc"}).out, "2106-02-07 06:28:15Z 1 0 last\n");
}

TEST_F(ShowTest, Show_NoLevel_LeavesOutDebug) {
    writeMixed();
    EXPECT_THAT(shown(), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"--all"}),
                ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
}

TEST_F(ShowTest, Show_LevelAndExact_Filter) {
    writeMixed();
    EXPECT_THAT(shown({"-l", "1"}), ElementsAre("d2 l1 s0", "d1 l0 s5", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"-l", "1", "--exact"}), ElementsAre("d2 l1 s0", "d0 l1 s5"));
    EXPECT_THAT(shown({"-l", "3", "--exact"}), ElementsAre("d1 l3 s5"));
}

TEST_F(ShowTest, Show_Slot_Filters) {
    writeMixed();
    EXPECT_THAT(shown({"-s", "5"}), ElementsAre("d1 l0 s5", "d0 l1 s5"));
    EXPECT_THAT(shown({"-s", "7"}), IsEmpty());
}

TEST_F(ShowTest, Show_Days_AreInclusiveAndUtc) {
    writeMixed();
    EXPECT_THAT(shown({"--since", "2023-11-16", "--until", "2023-11-16"}),
                ElementsAre("d1 l0 s5", "d1 l2 s0"));
    EXPECT_THAT(shown({"--since", "2023-11-17"}), ElementsAre("d2 l1 s0"));
    EXPECT_THAT(shown({"--until", "19676"}), ElementsAre("d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"--until", "@" + std::to_string(kMidnight + kDay - 1)}),
                ElementsAre("d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"--since", "yesterday"}), IsEmpty());
}

TEST_F(ShowTest, Show_Pages_FromNewestToLast) {
    writeMixed();
    EXPECT_THAT(shown({"--per-page", "2", "--page", "2"}), ElementsAre("d1 l2 s0", "d0 l1 s5"));
    EXPECT_THAT(shown({"--per-page", "2", "--page", "-1"}), ElementsAre("d0 l0 s0"));
    const Outcome beyond = jorn({"show", "log", "--per-page", "2", "--page", "99"});
    EXPECT_EQ(beyond.err, "page 3 of 3 (5 items)\n");
}

TEST_F(ShowTest, Count_NoFilter_CountsEveryLevel) {
    writeMixed();
    const Outcome run = jorn({"count", "log"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "level      items\n"
              "    0          2\n"
              "    1          2\n"
              "    2          1\n"
              "    3          1\n"
              "total          6\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(ShowTest, Count_Filters_Apply) {
    writeMixed();
    EXPECT_EQ(jorn({"count", "log", "-s", "5", "--since", "2023-11-16", "-l", "1"}).out,
              "level      items\n"
              "    0          1\n"
              "    1          0\n"
              "total          1\n");
    EXPECT_EQ(jorn({"count", "log", "-l", "3", "--exact"}).out,
              "level      items\n"
              "    3          1\n"
              "total          1\n");
}

TEST_F(ShowTest, ShowAndCount_Directory_Untouched) {
    writeMixed();
    const std::string before = stateOf(path("log"));
    for (const char *command : {"show", "count"}) {
        EXPECT_EQ(jorn({command, "log"}).status, 0);
        EXPECT_EQ(jorn({command, "log", "-n", "90"}).status, 0);
        EXPECT_EQ(jorn({command, "log", "-n", "2"}).status, 0);
    }
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ShowTest, Show_BackupIndexOnly_ReadsItAndLeavesIt) {
    writeMixed();
    std::filesystem::rename(path("log/index.csv"), path("log/index.bak"));
    const std::string before = stateOf(path("log"));
    const Outcome run = jorn({"show", "log"});
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_EQ(run.err, "page 1 of 1 (5 items)\n");
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ShowTest, Show_IndexDamaged_ShowsFirstFileAsTheStoreWould) {
    for (const char *index : {"", "version:2\n0,2\n", "version:1\n", "version:1\n0,90\n", "garbage"}) {
        writeMixed();
        write("log/index.csv", index);
        const std::string before = stateOf(path("log"));
        const Outcome run = jorn({"show", "log"});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(shownTexts(run.out), ElementsAre("d0 l1 s5", "d0 l0 s0")) << index;
        EXPECT_THAT(run.err, HasSubstr("jorn: note: log: the index is missing or damaged")) << index;
        EXPECT_EQ(stateOf(path("log")), before);
    }
}

TEST_F(ShowTest, Show_IndexWithOneNumber_ReadAsTheStoreDoes) {
    writeMixed();
    write("log/index.csv", "version:1\n0");
    EXPECT_THAT(shown(), ElementsAre("d0 l1 s5", "d0 l0 s0"));
}

TEST_F(ShowTest, Show_GapAndSurplus_ShownInPlanOrderAndUntouched) {
    writeMixed();
    std::filesystem::rename(path("log/2.csv"), path("log/4.csv"));
    writeIndex("0,4");
    const std::string before = stateOf(path("log"));
    Outcome run = jorn({"show", "log"});
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(run.err, HasSubstr("jorn: note: log: not tidy: the store's next start would rename 2 and "
                                   "delete 0 of its files"));
    run = jorn({"show", "log", "-n", "2"});
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l2 s0"));
    EXPECT_THAT(run.err, HasSubstr("rename 2 and delete 1 of its files"));
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ShowTest, Show_GapLeavesNoTemporaryDirectory) {
    writeMixed();
    std::filesystem::remove(path("log/1.csv"));
    makeDirectory("tmp");
    const Outcome run = jorn({"show", "log"}, {"", "", {{"TMPDIR", path("tmp")}}, {}});
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
    EXPECT_THAT(shown(), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
}

TEST_F(ShowTest, Show_TornAndDamagedLines_NoError) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "whole") + "\n\r\nno fields\n,,,\n17000000");
    const Outcome run = jorn({"show", "log"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(shownTexts(run.out), ElementsAre("whole"));
    EXPECT_EQ(run.err, "page 1 of 1 (1 item)\n");
}

TEST_F(ShowTest, Show_DirectoryWithoutItems_SaysSo) {
    const Outcome run = jorn({"show", "log"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "no items\n");
    EXPECT_TRUE(std::filesystem::is_empty(path("log")));
}

TEST_F(ShowTest, ShowAndCount_NoDirectory_ExitWith4) {
    for (const char *command : {"show", "count"}) {
        const Outcome run = jorn({command, "missing"});
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: missing: No such file or directory\n");
    }
    EXPECT_FALSE(exists("missing"));
}

TEST_F(ShowTest, Show_DataFileIsFifo_RefusedWithoutWaiting) {
    writeIndex("0,0");
    ASSERT_EQ(mkfifo(path("log/0.csv").c_str(), 0600), 0);
    const Outcome run = jorn({"show", "log"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/0.csv: not a regular file\n");
}

constexpr char kHostile[] = "\x1b[31mred\x07 \x7f \xc2\x9b \xff gr\xc3\xbc\xc3\x9f";
constexpr char kHarmless[] = "\\x1b[31mred\\x07 \\x7f \\xc2\\x9b \\xff gr\xc3\xbc\xc3\x9f";

TEST_F(ShowTest, Show_ControlCharactersIntoFile_BytesUnchanged) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile));
    EXPECT_THAT(shown(), ElementsAre(kHostile));
    EXPECT_THAT(shown({"--escape"}), ElementsAre(kHarmless));
}

TEST_F(ShowTest, Show_ControlCharactersOnTerminal_Escaped) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile) + std::to_string(kMidnight) + ",\x1b[2J,\x1b,x\n");
    int terminal = -1;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        becomeTool({"show", "--utc", path("log")});
    }
    std::string output;
    std::array<char, 4096> block;
    // The read fails once the tool, the terminal's only user, has gone.
    for (ssize_t length = 0; (length = ::read(terminal, block.data(), block.size())) > 0;) {
        output.append(block.data(), static_cast<size_t>(length));
    }
    close(terminal);
    int status = -1;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, "2023-11-15 00:00:00Z \\x1b[2J \\x1b x\r\n2023-11-15 00:00:00Z 1 0 " +
                          std::string(kHarmless) + "\r\npage 1 of 1 (2 items)\r\n");
}

TEST_F(ShowTest, Show_ClosedPipe_QuietExit) {
    writeMixed();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const std::string errPath = path("err");
    const pid_t process = fork();
    if (process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(open(errPath.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        becomeTool({"show", path("log")});
    }
    close(ends[1]);
    int status = -1;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read("err"), "page 1 of 1 (5 items)\n");
}

TEST_F(ShowTest, Show_OutputFull_ExitWith4) {
    writeMixed();
    const pid_t process = fork();
    if (process == 0) {
        dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
        dup2(open(path("err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        becomeTool({"show", path("log")});
    }
    int status = -1;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_EQ(read("err"), "jorn: standard output: No space left on device\n");
}

TEST_F(ShowTest, ShowAndCount_UsageErrors_ExitWith2) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"unknown"},
        {"show"},
        {"count"},
        {"show", "log", "--page", "0"},
        {"show", "log", "--per-page", "0"},
        {"show", "log", "--per-page", "21"},
        {"show", "log", "-n", "1"},
        {"show", "log", "-l", "4"},
        {"show", "log", "-l", "-1"},
        {"show", "log", "-s", "8"},
        {"show", "log", "--exact"},
        {"show", "log", "--all", "-l", "1"},
        {"show", "log", "--since", "2023-02-30"},
        {"show", "log", "--since", "2023-11-17", "--until", "2023-11-16"},
        {"count", "log", "--page", "1"},
    };
    for (const auto &arguments : wrong) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 2) << ::testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("jorn: ", 0), 0U) << run.err;
    }
}

TEST_F(ShowTest, HelpAndVersion_OnStandardOutput) {
    EXPECT_EQ(jorn({"--version"}).out.rfind("jorn 1.", 0), 0U);
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--help"},
                                                      {"record", "--help"},
                                                      {"show", "--help"},
                                                      {"count", "--help"}}) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_THAT(run.out, HasSubstr("Exit codes"));
    }
}

}  // namespace
}  // namespace test
