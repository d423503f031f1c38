// SPDX-License-Identifier: Apache-2.0
// `jorn show` and `jorn count` over directories written by hand.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "common_values.h"
#include "system/descriptor.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using tool::Descriptor;

class ShowTest : public LogTest {
protected:
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

    /// Runs with an open file for standard output; tells the status and what went to standard error.
    Outcome runInto(int output, const std::vector<std::string> &arguments) const {
        const Descriptor errors(open(path("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        const pid_t process = fork();
        if (process == 0) {
            dup2(output, STDOUT_FILENO);
            dup2(errors.get(), STDERR_FILENO);
            becomeTool(arguments);
        }
        int status = -1;
        EXPECT_EQ(waitpid(process, &status, 0), process);
        Outcome run;
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        run.err = read("err");
        return run;
    }

    Outcome utc(const std::vector<std::string> &arguments) const {
        return jorn(arguments, {"", "", {{"TZ", "XYZ-5"}}, {}});
    }
};

TEST_F(ShowTest, Show_Items_PrintsLocalTimeLevelSlotText) {
    writeMixed();
    const Outcome run = utc({"show", "log", "--per-page", "1"});
    EXPECT_EQ(run.out, "2023-11-17 05:00:00 1 0 d2 l1 s0\n");
    EXPECT_EQ(run.err, "page 1 of 6 (6 items)\n");
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

TEST_F(ShowTest, Show_NoLevel_ShowsEveryLevel) {
    writeMixed();
    EXPECT_THAT(shown(), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
}

TEST_F(ShowTest, Show_Levels_Filter) {
    writeMixed();
    EXPECT_THAT(shown({"-p", "1"}), ElementsAre("d2 l1 s0", "d1 l0 s5", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"-p", "1..2"}), ElementsAre("d2 l1 s0", "d1 l2 s0", "d0 l1 s5"));
    EXPECT_THAT(shown({"-p", "2..1"}), ElementsAre("d2 l1 s0", "d1 l2 s0", "d0 l1 s5"));
    EXPECT_THAT(shown({"--level", "1"}), ElementsAre("d2 l1 s0", "d0 l1 s5"));
    EXPECT_THAT(shown({"--level", "3", "--level", "0"}), ElementsAre("d1 l0 s5", "d1 l3 s5", "d0 l0 s0"));
}

TEST_F(ShowTest, Show_Slot_Filters) {
    writeMixed();
    EXPECT_THAT(shown({"-s", "5"}), ElementsAre("d1 l0 s5", "d1 l3 s5", "d0 l1 s5"));
    EXPECT_THAT(shown({"-s", "5", "-p", "2", "-s", "0", "-n", "3"}),
                ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l2 s0"));
    EXPECT_THAT(shown({"-s", "7"}), IsEmpty());
}

TEST_F(ShowTest, Show_Days_AreInclusive) {
    writeMixed();
    EXPECT_THAT(shown({"--utc", "--since", "2023-11-16", "--until", "2023-11-16"}),
                ElementsAre("d1 l0 s5", "d1 l3 s5", "d1 l2 s0"));
    EXPECT_THAT(shown({"--utc", "-S", "2023-11-17"}), ElementsAre("d2 l1 s0"));
    EXPECT_THAT(shown({"-U", "@" + std::to_string(kMidnight)}), ElementsAre("d0 l0 s0"));
    EXPECT_THAT(shown({"--since", "yesterday"}), IsEmpty());
}

TEST_F(ShowTest, Show_Days_AreLocal) {
    writeMixed();
    // In UTC+5 the 17th begins at 19:00 UTC of the 16th.
    EXPECT_THAT(shownTexts(utc({"show", "log", "-S", "2023-11-17"}).out),
                ElementsAre("d2 l1 s0", "d1 l0 s5"));
}

TEST_F(ShowTest, Show_Grep_FindsInText) {
    writeMixed();
    EXPECT_THAT(shown({"-g", "l[01] s5"}), ElementsAre("d1 l0 s5", "d0 l1 s5"));
    EXPECT_THAT(shown({"-g", "L1", "--ignore-case", "-p", "0..1"}), ElementsAre("d2 l1 s0", "d0 l1 s5"));
    EXPECT_EQ(jorn({"show", "log", "-g", "L1"}).status, 1);
    EXPECT_EQ(jorn({"show", "log", "-g", "L1", "-n", "5"}).status, 1);
}

TEST_F(ShowTest, ShowAndCount_Quiet_OnlyTheExitCodeTells) {
    writeMixed();
    for (const char *command : {"show", "count"}) {
        Outcome run = jorn({command, "log", "-q", "-s", "5"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out + run.err, "");
        run = jorn({command, "log", "-q", "-s", "6"});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out + run.err, "");
    }
}

TEST_F(ShowTest, Show_NumberOfItems_NewestOnes) {
    writeMixed();
    EXPECT_THAT(shown({"-n", "2"}), ElementsAre("d2 l1 s0", "d1 l0 s5"));
    EXPECT_THAT(shown({"-n", "2", "-r"}), ElementsAre("d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(shown({"-n", "0"}), IsEmpty());
    EXPECT_EQ(shown({"-n", "all"}), shown());
    const std::vector<std::string> all = shown({"-n", "all"});
    EXPECT_EQ(shown({"-n", "all", "-r"}), std::vector<std::string>(all.rbegin(), all.rend()));
    EXPECT_EQ(shown({"-n", "99999", "-r"}), std::vector<std::string>(all.rbegin(), all.rend()));
    EXPECT_EQ(shown({"-n", "99999"}), all);
}

TEST_F(ShowTest, Show_ManyItemsOldestFirst_BeginsAtTheRightOne) {
    writeIndex("0,5");
    uint32_t number = 0;
    for (int file = 0; file < 6; ++file) {
        std::string lines;
        for (int i = 0; i < 5000; ++i, ++number) {
            lines += dataLine(kMidnight + number, static_cast<int>(number % 2), 0, std::to_string(number));
        }
        write("log/" + std::to_string(file) + ".csv", lines);
    }
    const std::vector<std::string> texts = shown({"-n", "25000", "-r"});
    ASSERT_EQ(texts.size(), 25000U);
    EXPECT_EQ(texts.front(), "5000");
    EXPECT_EQ(texts.back(), "29999");
    EXPECT_EQ(shown({"-n", "30000", "-r", "--level", "1"}).front(), "1");
}

TEST_F(ShowTest, Show_Forms_AsDocumented) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 5, "open, \"wide\"") + dataLine(kMidnight, 2, 0, "plain"));
    const auto inForm = [&](const std::string &form) {
        return utc({"show", "log", "-n", "all", "-r", "-o", form}).out;
    };
    EXPECT_EQ(inForm("text"), "2023-11-15 05:00:00 1 5 open, \"wide\"\n2023-11-15 05:00:00 2 0 plain\n");
    EXPECT_EQ(inForm("short"), "2023-11-15 05:00:00 open, \"wide\"\n2023-11-15 05:00:00 plain\n");
    EXPECT_EQ(inForm("iso"),
              "2023-11-15T05:00:00+05:00 1 5 open, \"wide\"\n2023-11-15T05:00:00+05:00 2 0 plain\n");
    EXPECT_EQ(inForm("device"),
              "Wed Nov 15 05:00:00 2023 1 5 open, \"wide\"\nWed Nov 15 05:00:00 2023 2 0 plain\n");
    EXPECT_EQ(inForm("csv"),
              "time,level,slot,text\n1700006400,1,5,\"open, \"\"wide\"\"\"\n1700006400,2,0,plain\n");
    EXPECT_EQ(inForm("json"),
              "{\"time\":1700006400,\"iso\":\"2023-11-15T05:00:00+05:00\",\"level\":1,\"slot\":5,"
              "\"text\":\"open, \\\"wide\\\"\"}\n"
              "{\"time\":1700006400,\"iso\":\"2023-11-15T05:00:00+05:00\",\"level\":2,\"slot\":0,"
              "\"text\":\"plain\"}\n");
}

TEST_F(ShowTest, Show_JsonOfBytesThatAreNoUtf8_ReplacedAndKept) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 5, "a\xff\x1b"));
    EXPECT_EQ(jorn({"show", "log", "--utc", "-o", "json"}).out,
              "{\"time\":1700006400,\"iso\":\"2023-11-15T00:00:00Z\",\"level\":1,\"slot\":5,"
              "\"text\":\"a\xef\xbf\xbd\\u001b\",\"text_base64\":\"Yf8b\"}\n");
    EXPECT_THAT(jorn({"show", "log", "--utc", "-o", "json", "--escape"}).out,
                HasSubstr("\"a\\ufffd\\u001b\""));
    write("log/0.csv", dataLine(kMidnight, 1, 5, "\xff") + dataLine(kMidnight, 1, 5, "a\xff"));
    const std::string padded = jorn({"show", "log", "-o", "json"}).out;
    EXPECT_THAT(padded, HasSubstr("\"text_base64\":\"/w==\"}\n"));
    EXPECT_THAT(padded, HasSubstr("\"text_base64\":\"Yf8=\"}\n"));
}

constexpr char kNames[] = "; of the door unit\n[levels]\n0 = error\n1 = warning\n[slots]\n5 = door\n";

TEST_F(ShowTest, Show_NamesBesideTheData_AreShownAndTaken) {
    writeMixed();
    write("log/jorn.names", kNames);
    EXPECT_EQ(jorn({"show", "log", "--utc", "-p", "warning", "-s", "door", "-n", "1"}).out,
              "2023-11-16 23:59:59Z error door d1 l0 s5\n");
    EXPECT_EQ(jorn({"show", "log", "--utc", "-n", "1", "--numbers", "-s", "door"}).out,
              "2023-11-16 23:59:59Z 0 5 d1 l0 s5\n");
    EXPECT_THAT(jorn({"show", "log", "-n", "1", "-s", "door", "-o", "json"}).out,
                HasSubstr("\"level\":0,\"level_name\":\"error\",\"slot\":5,\"slot_name\":\"door\","));
    EXPECT_EQ(jorn({"count", "log", "-p", "error..2"}).out,
              "  level      items\n"
              "  error          2\n"
              "warning          2\n"
              "      2          1\n"
              "  total          5\n");
    EXPECT_EQ(jorn({"show", "log", "-s", "gate"}).err,
              "jorn: slot 'gate' is neither a number from 0 to 7 nor a name that is known here\n");
}

TEST_F(ShowTest, Show_BadNamesFile_NamesTheLine) {
    writeMixed();
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"[levels]\n4 = error\n", ":2: '4' is no number from 0 to 3"},
        {"[levels]\n0 = error\n\n1 = error\n", ":4: number or name is there twice: 1 = error"},
        {"[slots]\n0 = a b\n", ":2: 'a b' is no name"},
        {"[slots]\n0 = 1st\n", ":2: '1st' is no name"},
        {"[slots]\n0 = -a\n", ":2: '-a' is no name"},
        {"[colours]\n0 = red\n", ":2: section [colours] is neither [levels] nor [slots]"},
        {"[levels]\nnonsense\n", ":2: neither [section] nor NUMBER = NAME"},
        {"[levels]\n0 = \x1b[31m\n", ":2: '\\x1b[31m' is no name"},
    };
    for (const auto &[text, message] : bad) {
        write("names", text);
        const Outcome named = jorn({"show", "log", "--names", "names"});
        EXPECT_EQ(named.status, 2);
        EXPECT_EQ(named.out, "");
        EXPECT_THAT(named.err, HasSubstr("jorn: names" + message));
        write("log/jorn.names", text);
        const Outcome beside = jorn({"show", "log"});
        EXPECT_EQ(beside.status, 3);
        EXPECT_EQ(shownTexts(beside.out).size(), 6U);
        EXPECT_THAT(beside.err, HasSubstr("jorn: note: log/jorn.names" + message));
    }
}

TEST_F(ShowTest, Show_NamesFileWithoutEnd_RefusedSoon) {
    writeMixed();
    Setting setting;
    setting.processorSeconds = 60;  // For slow machines, and to end what would go on for ever.
    const Outcome endless = jorn({"show", "log", "--names", "/dev/zero"}, setting);
    EXPECT_EQ(endless.status, 2);
    EXPECT_EQ(endless.out, "");
    EXPECT_EQ(endless.err, "jorn: /dev/zero: is longer than 1 MiB, and no file of names\n");
}

TEST_F(ShowTest, Show_NamesFileOfAnySensibleSize_IsRead) {
    writeMixed();
    constexpr size_t kMost = size_t{1} << 20;
    const std::string comment = "; " + std::string(97, 'c') + "\n";
    std::string names;
    while (names.size() + comment.size() <= kMost - sizeof "[levels]\n0=error\n") {
        names += comment;
    }
    names += "[levels]\n0=error\n";
    write("names", names + std::string(kMost - names.size(), '\n'));
    EXPECT_THAT(jorn({"show", "log", "--names", "names", "--level", "error"}).out, HasSubstr(" error 5 "));
    write("names", names + std::string(kMost - names.size() + 1, '\n'));
    EXPECT_EQ(jorn({"show", "log", "--names", "names", "--level", "error"}).status, 2);
}

TEST_F(ShowTest, Show_NamesThatCannotBeRead_FailsWithTheReason) {
    writeMixed();
    const Outcome run = jorn({"show", "log", "--names", "log"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log: Is a directory\n");
}

TEST_F(ShowTest, Show_Colour_ByLevel) {
    writeMixed();
    EXPECT_EQ(jorn({"show", "log", "--utc", "-n", "1", "--color", "always"}).out,
              "\x1b[33m2023-11-17 00:00:00Z 1 0 d2 l1 s0\x1b[0m\n");
    EXPECT_EQ(jorn({"show", "log", "--utc", "-n", "1"}).out, "2023-11-17 00:00:00Z 1 0 d2 l1 s0\n");
}

TEST_F(ShowTest, DirectoryAlone_IsShown) {
    writeMixed();
    EXPECT_EQ(jorn({"log"}).out, jorn({"show", "log"}).out);
    EXPECT_EQ(jorn({"-n", "1", "log"}).out, jorn({"show", "-n", "1", "log"}).out);
    EXPECT_EQ(jorn({"./missing"}).err, "jorn: ./missing: No such file or directory\n");
}

TEST_F(ShowTest, Show_Pages_FromNewestToLast) {
    writeMixed();
    EXPECT_THAT(shown({"--per-page", "2", "--page", "2"}), ElementsAre("d1 l3 s5", "d1 l2 s0"));
    EXPECT_THAT(shown({"--per-page", "2", "--page", "2", "-r"}), ElementsAre("d1 l2 s0", "d1 l3 s5"));
    EXPECT_THAT(shown({"--per-page", "4", "--page", "-1"}), ElementsAre("d0 l1 s5", "d0 l0 s0"));
    const Outcome beyond = jorn({"show", "log", "--per-page", "2", "--page", "99"});
    EXPECT_EQ(beyond.err, "page 3 of 3 (6 items)\n");
}

TEST_F(ShowTest, ShowPage_NewestFileEmpty_TellsOfTheItemsThatTheDeviceHides) {
    writeIndex("0,1");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "x") + dataLine(kMidnight, 0, 0, "y"));
    write("log/1.csv", "");
    const Outcome page = jorn({"log"});
    EXPECT_EQ(page.status, 0);
    EXPECT_EQ(
        page.err,
        "jorn: note: log: the device's pages show 0 items where 2 match: an empty file or a clock that was "
        "put back misleads them; -n goes by the items themselves\nno items\n");
    EXPECT_EQ(jorn({"log", "-q"}).err, "");
    EXPECT_THAT(shown({"-n", "20"}), ElementsAre("y", "x"));
}

TEST_F(ShowTest, ShowPage_ClockPutBackByDays_TellsOfTheItemsThatTheDeviceHides) {
    writeIndex("0,2");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "a"));
    write("log/1.csv", dataLine(kMidnight + 3 * kDay, 1, 0, "b"));
    write("log/2.csv", dataLine(kMidnight + kDay, 1, 0, "c"));
    const Outcome page = jorn({"log", "--utc", "-S", "2023-11-18"});
    EXPECT_THAT(page.err, HasSubstr("the device's pages show 0 items where 1 match"));
    EXPECT_EQ(jorn({"log"}).err, "page 1 of 1 (3 items)\n");
}

TEST_F(ShowTest, Show_PagesOfWhatTheDeviceCannotBeAsked_BySameRules) {
    writeMixed();
    EXPECT_THAT(shown({"-g", "s[05]", "--per-page", "4", "--page", "2"}),
                ElementsAre("d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"-g", "s[05]", "--per-page", "4", "--page", "-1"}),
                ElementsAre("d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"-p", "1..2", "--per-page", "2", "--page", "9"}), ElementsAre("d0 l1 s5"));
    EXPECT_EQ(jorn({"show", "log", "-g", "s[05]", "--per-page", "4"}).err, "page 1 of 2 (6 items)\n");
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
    EXPECT_EQ(jorn({"count", "log", "-s", "5", "--utc", "--since", "2023-11-16", "-p", "1"}).out,
              "level      items\n"
              "    0          1\n"
              "    1          0\n"
              "total          1\n");
    EXPECT_EQ(jorn({"count", "log", "--level", "3"}).out,
              "level      items\n"
              "    3          1\n"
              "total          1\n");
}

TEST_F(ShowTest, EveryLookingCommand_SoundAndDamagedDirectory_Untouched) {
    const std::vector<std::vector<std::string>> commands = {{"show"},
                                                            {"show", "--files", "90"},
                                                            {"show", "--files", "2"},
                                                            {"show", "-n", "2"},
                                                            {"show", "-n", "all", "-r"},
                                                            {"show", "-g", "d1"},
                                                            {"show", "-n", "3", "-g", "no such text"},
                                                            {"show", "-S", "@1", "-U", "now", "-p", "2"},
                                                            {"show", "-q"},
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
    for (const char *form : {"short", "iso", "device", "csv", "json"}) {
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
                ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_EQ(run.err, "page 1 of 1 (6 items)\n");
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ShowTest, Show_IndexDamaged_ShowsFirstFileAsTheStoreWould) {
    for (const char *index : {"", "version:2\n0,2\n", "version:1\n", "version:1\n0,90\n", "garbage"}) {
        writeMixed();
        write("log/index.csv", index);
        const std::string before = stateOf(path("log"));
        const Outcome run = jorn({"show", "log"});
        EXPECT_EQ(run.status, 3);
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
    EXPECT_THAT(shownTexts(run.out),
                ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(run.err, HasSubstr("jorn: note: log: not tidy: the store's next start would rename 2 and "
                                   "delete 0 of its files"));
    run = jorn({"show", "log", "--files", "2"});
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0"));
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
    EXPECT_THAT(shown(), ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
}

TEST_F(ShowTest, Show_DamagedLines_RestIsShownAndExitTells) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "whole") + "\n\r\nno fields\n,,,\n17000000");
    const Outcome run = jorn({"show", "log"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(shownTexts(run.out), ElementsAre("whole"));
    // The line at the end may be one that is being written.
    EXPECT_EQ(run.err,
              "jorn: note: log/0.csv: 2 lines that are no items, at offset 24 and after; left out\n"
              "page 1 of 1 (1 item)\n");
}

TEST_F(ShowTest, Show_TornLineAtTheEnd_IsNoDamage) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "whole") + "17000000");
    EXPECT_THAT(shown(), ElementsAre("whole"));
    writeIndex("0,1");
    write("log/1.csv", dataLine(kMidnight, 1, 0, "newer"));
    EXPECT_EQ(jorn({"show", "log"}).status, 3);
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
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d2 l1 s0", "d1 l0 s5", "d0 l1 s5", "d0 l0 s0"));
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
         {std::vector<std::string>{"show", "log", "-n", "all"}, {"show", "log", "-n", "all", "-r"}}) {
        const Outcome run = jorn(arguments, {"", "", {}, {}, false, most});
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(shownTexts(run.out).size(), 6U);
        EXPECT_THAT(run.err, HasSubstr("log/1.csv: 4194304 lines that are no items"));
    }
}

constexpr char kHostile[] = "\x1b[31mred\x07 \x7f \xc2\x9b \xff gr\xc3\xbc\xc3\x9f";
constexpr char kHarmless[] = "\\x1b[31mred\\x07 \\x7f \\xc2\\x9b \\xff gr\xc3\xbc\xc3\x9f";

TEST_F(ShowTest, Show_ControlCharactersIntoFile_BytesUnchanged) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile));
    EXPECT_THAT(shown(), ElementsAre(kHostile));
    EXPECT_THAT(shown({"--escape"}), ElementsAre(kHarmless));
}

/// What `jorn show` gives on a terminal, through a pager.
std::string shownOnTerminal(const std::string &directory, const char *form, const char *pager,
                            const std::vector<std::string> &options = {}) {
    Setting setting;
    setting.variables = {{"JORN_PAGER", pager}, {"NO_COLOR", "1"}};
    std::vector<std::string> arguments = {"show", "--utc", "-o", form, directory};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome run = runOnTerminal(arguments, setting);
    EXPECT_EQ(run.status, 0);
    return run.out;
}

TEST_F(ShowTest, Show_ControlCharactersOnTerminal_Escaped) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile) + std::to_string(kMidnight) + ",\x1b[2J,\x1b,x\n");
    EXPECT_EQ(shownOnTerminal(path("log"), "text", ""),
              "2023-11-15 00:00:00Z \\x1b[2J \\x1b x\r\n2023-11-15 00:00:00Z 1 0 " + std::string(kHarmless) +
                  "\r\npage 1 of 1 (2 items)\r\n");
    for (const char *form : {"short", "iso", "device", "csv", "json"}) {
        const std::string output = shownOnTerminal(path("log"), form, "");
        EXPECT_THAT(output, HasSubstr("[31mred"));
        for (const char byte : {'\x1b', '\x07', '\x7f', '\x9b', '\xff'}) {
            EXPECT_EQ(output.find(byte), std::string::npos) << form << " " << output;
        }
    }
}

/// However the items were found.
TEST_F(ShowTest, Show_ControlCharactersFoundOnTerminal_Escaped) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile) + dataLine(kMidnight, 1, 0, "other"));
    const std::vector<std::vector<std::string>> ways = {{"-g", "red"},
                                                        {"-g", "\\x1b"},
                                                        {"-g", "red", "-n", "2"},
                                                        {"-g", "red", "-n", "all"},
                                                        {"-g", "red", "-n", "all", "-r"},
                                                        {"-g", "red", "-p", "1", "-s", "0"}};
    for (const auto &way : ways) {
        const std::string output = shownOnTerminal(path("log"), "text", "", way);
        EXPECT_EQ(output.find("2023-11-15 00:00:00Z 1 0 " + std::string(kHarmless) + "\r\n"), 0U) << output;
        for (const char *form : {"short", "iso", "device", "csv", "json"}) {
            const std::string other = shownOnTerminal(path("log"), form, "", way);
            EXPECT_THAT(other, HasSubstr("[31mred"));
            EXPECT_EQ(other.find_first_of("\x1b\x07\x7f\x9b\xff"), std::string::npos) << form << " " << other;
        }
    }
}

TEST_F(ShowTest, Show_OnTerminal_GoesThroughThePager) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "x"));
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "sed 's/^/> /'"),
              "> 2023-11-15 00:00:00Z 1 0 x\r\npage 1 of 1 (1 item)\r\n");
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "true"), "page 1 of 1 (1 item)\r\n");
}

TEST_F(ShowTest, Show_PagerThatCannotBeStarted_ExitWith4) {
    writeMixed();
    Setting setting;
    setting.variables = {{"JORN_PAGER", path("missing")}};
    const Outcome run = runOnTerminal({"show", path("log")}, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.out, HasSubstr("jorn: the pager could not be started: see JORN_PAGER"));
}

TEST_F(ShowTest, Show_PagerOfTheUser_FindsWhatLessNeedsForColours) {
    writeMixed();
    Setting setting;
    setting.variables = {{"JORN_PAGER", "echo \"<$LESS>\""}};
    EXPECT_THAT(runOnTerminal({"show", path("log")}, setting).out, HasSubstr("<FRX>"));
    setting.variables.emplace_back("LESS", "i");
    EXPECT_THAT(runOnTerminal({"show", path("log")}, setting).out, HasSubstr("<i>"));
}

TEST_F(ShowTest, Show_TerminalOfWhichNothingIsKnown_NoColours) {
    writeMixed();
    for (const char *const term : {"", "dumb"}) {
        Setting setting;
        setting.variables = {{"TERM", term}};
        EXPECT_THAT(runOnTerminal({"show", "--no-pager", path("log")}, setting).out, Not(HasSubstr("\x1b")));
    }
    EXPECT_THAT(runOnTerminal({"show", "--no-pager", path("log")}).out, HasSubstr("\x1b[33m"));
}

TEST_F(ShowTest, Show_TerminalThatCannotMoveItsCursor_NoPager) {
    writeMixed();
    for (const auto &[term, isPaged] : {std::pair{"", false}, {"dumb", false}, {"xterm", true}}) {
        Setting setting;
        setting.variables = {{"TERM", term}, {"JORN_PAGER", "sed 's/^/paged /'"}};
        const Outcome run = runOnTerminal({"show", path("log")}, setting);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.find("paged ") != std::string::npos, isPaged) << term;
        EXPECT_THAT(run.out, HasSubstr("page 1 of 1 (6 items)"));
    }
}

TEST_F(ShowTest, ShowAndHelp_ClosedPipe_QuietExit) {
    writeMixed();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const Descriptor output(ends[1]);
    const Outcome shown = runInto(output.get(), {"show", path("log")});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "page 1 of 1 (6 items)\n");
    const Outcome help = runInto(output.get(), {"show", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
}

TEST_F(ShowTest, ShowAndHelp_OutputFull_ExitWith4) {
    writeMixed();
    const Descriptor output(open("/dev/full", O_WRONLY | O_CLOEXEC));
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"show", path("log")}, {"show", "--help"}}) {
        const Outcome run = runInto(output.get(), arguments);
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: standard output: No space left on device\n");
    }
}

TEST_F(ShowTest, ShowAndCount_WhileARecorderWrites_WhatIsThereIsGivenWhole) {
    RunningTool recorder(root_, {"record", "live", "--files", "3"});
    size_t seen = 0;
    for (int round = 0; round < 12; ++round) {
        recorder.feed(numberedLines("round" + std::to_string(round) + "-", 1500));
        const Outcome run = jorn({"show", "live", "-n", "15000", "-p", "2"});
        if (run.status == 4) {
            continue;  // The recorder has not made the directory yet.
        }
        EXPECT_EQ(run.status, 0) << run.err;
        std::vector<std::string> texts = shownTexts(run.out);
        // The newest line may be on its way to the file, and is shown as far as it has come.
        const auto isWhole = [](const std::string &text) { return text.size() == text.find('-') + 8; };
        if (!texts.empty() && !isWhole(texts.front())) {
            texts.erase(texts.begin());
        }
        // Without gaps: each item is followed by the one before it, and the store's ring keeps 10,001 at
        // least.
        for (size_t i = 1; i < texts.size(); ++i) {
            const int number = std::stoi(texts[i].substr(texts[i].find('-') + 1));
            const int newer = std::stoi(texts[i - 1].substr(texts[i - 1].find('-') + 1));
            ASSERT_EQ(newer, number == 1500 ? 1 : number + 1) << texts[i - 1] << " before " << texts[i];
        }
        EXPECT_GE(texts.size() + 2, std::min<size_t>(seen, 10000));
        seen = texts.size();
    }
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
    EXPECT_EQ(jorn({"count", "live", "-p", "2"}).status, 0);
}

TEST_F(ShowTest, ShowAndCount_UsageErrors_ExitWith2) {
    const std::vector<std::vector<std::string>> wrong = {
        {"unknown"},
        {"show"},
        {"count"},
        {"show", "log", "--page", "0"},
        {"show", "log", "--per-page", "0"},
        {"show", "log", "--per-page", "21"},
        {"show", "log", "--files", "1"},
        {"show", "log", "-n", "-1"},
        {"show", "log", "-n", "x"},
        {"show", "log", "-n", "5", "--page", "2"},
        {"show", "log", "-p", "4"},
        {"show", "log", "-p", "-1"},
        {"show", "log", "-p", "1.."},
        {"show", "log", "-p", "warning"},
        {"show", "log", "-s", "8"},
        {"show", "log", "-p", "1", "--level", "1"},
        {"show", "log", "--since", "2023-02-30"},
        {"show", "log", "--since", "2023-11-17", "--until", "2023-11-16"},
        {"show", "log", "-g", "("},
        {"show", "log", "--ignore-case"},
        {"show", "log", "-o", "xml"},
        {"show", "log", "--color", "sometimes"},
        {"count", "log", "--page", "1"},
        {"count", "log", "-o", "iso"},
        {"check", "log", "-o", "csv"},
        {"check", "log", "-n", "5"},
        {"repair", "log", "-n", "5"},
        {"show", ""},
        {"show", "log", "--page", ""},
        {"show", "log", "--names", ""},
        {"count", "log", "-U", ""},
        {"count", "log", "-p", ""},
        {"export", "log", "--to", "x.db", "--table", ""},
        {"repair", "log", "--backup", ""},
    };
    for (const auto &arguments : wrong) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 2) << ::testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("jorn: ", 0), 0U) << run.err;
    }
}

TEST_F(ShowTest, UnknownOption_IsNamedAndNothingElseBlamed) {
    writeMixed();
    EXPECT_EQ(jorn({"show", "--sicne", "today", "log"}).err,
              "jorn: unknown option: --sicne\njorn: see jorn show --help\n");
    EXPECT_EQ(jorn({"count", "-x"}).err, "jorn: unknown option: -x\njorn: see jorn count --help\n");
    EXPECT_EQ(jorn({"check", "log", "log"}).err,
              "jorn: The following argument was not expected: log\njorn: see jorn check --help\n");
}

TEST_F(ShowTest, Show_TimeThatBeginsWithAMinus_TakenInEveryWayOfGivingAValue) {
    writeMixed();
    const std::vector<std::string> all = shown();
    EXPECT_EQ(shown({"-S", "-9999w1d"}), all);
    EXPECT_EQ(shown({"-S-9999w1d"}), all);
    EXPECT_EQ(shown({"--since", "-9999w 1d"}), all);
    EXPECT_EQ(shown({"--since=-9999w1d"}), all);
    EXPECT_THAT(shown({"-U", "-9999w1d"}), IsEmpty());
    const Outcome run = jorn({"show", "log", "-S", "-q"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("jorn: --since: '-q' is no time from 1970 to 2106"));
}

TEST_F(ShowTest, Show_TimeThatIsNone_RefusedWithTheForms) {
    writeMixed();
    const Outcome run = jorn({"show", "log", "-U", "Nov 31 05:00"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(
        run.err,
        "jorn: --until: 'Nov 31 05:00' is no time from 1970 to 2106: 2026-11-21, 11-21, \"Nov 21\", today, "
        "yesterday or tomorrow, each with or without 06:47[:08] and UTC, Z or +01:00 after it; 06:47, now, "
        "-1h30m, +1h, \"1 month ago\" or @SECONDS since 1970\n");
}

TEST_F(ShowTest, Show_SinceAfterUntil_RefusedWithWhatTheyMean) {
    writeMixed();
    const Outcome run = jorn({"show", "log", "--utc", "-S", "2023-11-17 UTC", "-U", "2023-11-16"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "jorn: --since is later than --until: 2023-11-17 00:00:00Z and 2023-11-16 23:59:59Z\n");
}

TEST_F(ShowTest, Show_EmptyValueOfAnOption_IsRefusedAndNotTakenForNone) {
    writeMixed();
    EXPECT_EQ(jorn({"count", "log", "--since", ""}).err,
              "jorn: --since: the value is empty\njorn: see jorn count --help\n");
    EXPECT_THAT(shown({"-g", "", "-n", "1"}), ElementsAre("d2 l1 s0"));
}

TEST_F(ShowTest, HelpAndVersion_OnStandardOutput) {
    EXPECT_EQ(jorn({"--version"}).out.rfind("jorn 1.", 0), 0U);
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--help"},
                                                      {},
                                                      {"record", "--help"},
                                                      {"show", "--help"},
                                                      {"count", "--help"},
                                                      {"stats", "--help"},
                                                      {"export", "--help"},
                                                      {"check", "--help"},
                                                      {"repair", "--help"}}) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_THAT(run.out, HasSubstr("Exit codes"));
    }
}

}  // namespace
}  // namespace test
