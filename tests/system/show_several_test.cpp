// SPDX-License-Identifier: Apache-2.0
// `jorn show` of several logs at once.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <filesystem>
#include <string>
#include <vector>

#include "several_logs.h"

namespace test {
namespace {

using ShowSeveralTest = SeveralLogsTest;

TEST_F(ShowSeveralTest, Show_TwoLogs_MergedByTimeEachInItsOwnOrder) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"show", "--utc", "door", "gate"}),
              "door 2023-11-15 00:00:00Z 1 5 d1\n"
              "gate 2023-11-15 00:00:00Z 1 5 g1\n"
              "gate 2023-11-15 00:00:07Z 2 0 g2\n"
              "door 2023-11-15 00:00:10Z 2 0 d2\n"
              "door 2023-11-15 00:00:05Z 2 0 d3\n"
              "gate 2023-11-15 00:00:10Z 2 0 g3\n"
              "door 2023-11-15 00:00:20Z 0 5 d4\n"
              "gate 2023-11-15 00:00:30Z 0 3 g4\n");
    EXPECT_EQ(printed({"--utc", "door", "gate"}), printed({"show", "--utc", "door", "gate"}));
}

TEST_F(ShowSeveralTest, Show_OtherOrderOfArguments_EqualTimesInThatOrder) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"show", "-o", "cat", "gate", "door"}),
              "gate g1\ndoor d1\ngate g2\ngate g3\ndoor d2\ndoor d3\ndoor d4\ngate g4\n");
}

TEST_F(ShowSeveralTest, Show_EachForm_NameInFrontOrMemberOrColumn) {
    writeDoorAndGate();
    const auto newest = [&](const char *form) {
        return printed({"show", "--utc", "-n", "2", "-o", form, "door", "gate"});
    };
    EXPECT_EQ(newest("short"), "door 2023-11-15 00:00:20Z d4\ngate 2023-11-15 00:00:30Z g4\n");
    EXPECT_EQ(newest("short-iso"), "door 2023-11-15T00:00:20Z d4\ngate 2023-11-15T00:00:30Z g4\n");
    EXPECT_EQ(newest("iso"), "door 2023-11-15T00:00:20Z 0 5 d4\ngate 2023-11-15T00:00:30Z 0 3 g4\n");
    EXPECT_EQ(newest("device"),
              "door Wed Nov 15 00:00:20 2023 0 5 d4\ngate Wed Nov 15 00:00:30 2023 0 3 g4\n");
    EXPECT_EQ(newest("cat"), "door d4\ngate g4\n");
    EXPECT_EQ(newest("csv"), "time,level,slot,text,log\n1700006420,0,5,d4,door\n1700006430,0,3,g4,gate\n");
    EXPECT_EQ(
        newest("json"),
        R"({"time":1700006420,"iso":"2023-11-15T00:00:20Z","level":0,"slot":5,"text":"d4","log":"door"})"
        "\n"
        R"({"time":1700006430,"iso":"2023-11-15T00:00:30Z","level":0,"slot":3,"text":"g4","log":"gate"})"
        "\n");
}

/// They are the ones that an export gives them.
TEST_F(ShowSeveralTest, Show_SameNames_ParentsTellThemApartAndWidthIsOne) {
    writeLog("unit1/door", {dataLine(kMidnight, 0, 0, "a")});
    writeLog("unit2/door", {dataLine(kMidnight, 0, 0, "b")});
    writeLog("gr\xc3\xbc\xc3\x9f", {dataLine(kMidnight, 0, 0, "c")});
    EXPECT_EQ(printed({"show", "-o", "cat", "unit1/door", "unit2/door/", "gr\xc3\xbc\xc3\x9f"}),
              "unit1/door a\nunit2/door b\ngr\xc3\xbc\xc3\x9f       c\n");
    EXPECT_EQ(printed({"show", "--utc", "-o", "json", "unit1/door", "unit2/door"}),
              printed({"export", "--utc", "unit1/door", "unit2/door"}));
}

TEST_F(ShowSeveralTest, Show_OneLog_HasNoName) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"show", "-o", "cat", "-n", "1", "door"}), "d4\n");
    EXPECT_EQ(printed({"show", "-o", "csv", "-n", "1", "door"}), "time,level,slot,text\n1700006420,0,5,d4\n");
}

TEST_F(ShowSeveralTest, Show_NewestAndReverse_AreThoseOfTheMergedOrder) {
    writeDoorAndGate();
    const auto texts = [&](const std::vector<std::string> &options) {
        std::vector<std::string> arguments = {"show", "-o", "cat", "door", "gate"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return linesOf(printed(arguments));
    };
    using ::testing::ElementsAre;
    EXPECT_THAT(texts({"-n", "3"}), ElementsAre("gate g3", "door d4", "gate g4"));
    EXPECT_THAT(texts({"-n", "3", "-r"}), ElementsAre("gate g4", "door d4", "gate g3"));
    EXPECT_THAT(texts({"-n", "0"}), ElementsAre());
    EXPECT_THAT(texts({"-r"}), ElementsAre("gate g4", "door d4", "gate g3", "door d3", "door d2", "gate g2",
                                           "gate g1", "door d1"));
    EXPECT_THAT(texts({"-r", "-n", "all", "-g", "[123]"}),
                ElementsAre("gate g3", "door d3", "door d2", "gate g2", "gate g1", "door d1"));
    EXPECT_THAT(texts({"-S", "2023-11-15 00:00:10 UTC", "--level", "2"}), ElementsAre("door d2", "gate g3"));
}

TEST_F(ShowSeveralTest, Show_Neighbours_AreOfTheSameLogAndEachGroupIsApart) {
    writeDoorAndGate();
    const auto shown = [&](const std::vector<std::string> &options) {
        std::vector<std::string> arguments = {"show", "-o", "cat", "door", "gate", "-g"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return printed(arguments);
    };
    EXPECT_EQ(shown({"d1|g2", "-A", "1"}), "door d1\n--\ngate g2\ndoor d2\ngate g3\n");
    EXPECT_EQ(shown({"d1|g2", "-A", "1", "-r"}), "gate g3\n--\ndoor d2\ngate g2\ndoor d1\n");
    EXPECT_EQ(shown({"d1|d4", "-B", "0", "-A", "1"}), "door d1\ndoor d2\n--\ndoor d4\n");
    EXPECT_EQ(shown({"d2|g2", "-C", "1", "-n", "1"}), "door d1\ndoor d2\ndoor d3\n");
    EXPECT_EQ(shown({"d2|g2", "-C", "1", "-n", "1", "-r"}), "door d3\ndoor d2\ndoor d1\n");
    expectError({"show", "door", "gate", "-g", "d2", "-A", "1", "-n", "0"}, 1, "");
}

TEST_F(ShowSeveralTest, Show_NamesOfLevelsAndSlots_AreEachLogsOwn) {
    writeDoorAndGate();
    writeNames("door", "[slots]\n5 = lock\n0 = frame\n");
    writeNames("gate", "[slots]\n3 = lock\n[levels]\n0 = fatal\n");
    EXPECT_EQ(printed({"show", "--utc", "-s", "lock", "door", "gate"}),
              "door 2023-11-15 00:00:00Z 1 lock d1\n"
              "door 2023-11-15 00:00:20Z 0 lock d4\n"
              "gate 2023-11-15 00:00:30Z fatal lock g4\n");
    EXPECT_EQ(printed({"show", "-o", "cat", "-s", "frame", "door", "gate"}), "door d2\ndoor d3\n");
    EXPECT_EQ(printed({"show", "-o", "cat", "-s", "frame,3", "door", "gate"}), "door d2\ndoor d3\ngate g4\n");
    EXPECT_EQ(printed({"show", "-o", "cat", "-p", "fatal", "door", "gate"}), "gate g4\n");
    EXPECT_EQ(printed({"show", "-o", "cat", "-p", "fatal..1", "door", "gate"}), "gate g1\ngate g4\n");
    EXPECT_EQ(printed({"show", "-o", "cat", "--level", "fatal,1", "door", "gate"}),
              "door d1\ngate g1\ngate g4\n");
    EXPECT_EQ(printed({"count", "-s", "lock", "door"}).substr(0, 5), "level");
    expectError({"show", "-s", "window", "door", "gate"}, 2,
                "jorn: slot 'window' is neither a number from 0 to 7 nor a known name\n");
    expectError({"show", "-s", "frame,window", "door", "gate"}, 2,
                "jorn: slot 'window' is neither a number from 0 to 7 nor a known name\n");
    expectError({"show", "-p", "9", "door", "gate"}, 2,
                "jorn: level '9' is neither a number from 0 to 3 nor a known name\n");
}

TEST_F(ShowSeveralTest, Show_WrongDirectories_ReportedAndTheOthersShown) {
    writeDoorAndGate();
    makeDirectory("empty");
    const std::string shown = "door d4\ngate g4\n";
    const std::vector<std::string> command = {"show", "-o", "cat", "-n", "2", "door"};
    const auto with = [&](std::vector<std::string> more) {
        more.insert(more.begin(), command.begin(), command.end());
        return more;
    };
    const std::string noLog =
        "jorn: empty: no log here: neither an index nor a data file; logs beside it: door, gate\n";
    const std::string missing = "jorn: missing: No such file or directory\n";
    expectError(with({"empty", "gate"}), 2, noLog, shown);
    expectError(with({"empty", "missing", "gate"}), 4, noLog + missing, shown);
    expectError(with({"missing"}), 4, missing, "door d3\ndoor d4\n");
    expectError({"show", "missing", "empty"}, 4, missing + noLog);
    expectError({"show", "-o", "csv", "empty", "missing"}, 4, noLog + missing);
    // A mistake in an option is not one of the directories.
    expectError({"show", "-S", "never", "door", "gate", "missing"}, 2,
                jorn({"show", "-S", "never", "door"}).err);
    EXPECT_EQ(jorn({"show", "-g", "(", "door", "missing"}).err, jorn({"show", "-g", "(", "door"}).err);
}

TEST_F(ShowSeveralTest, Show_LogThatCannotBeOpened_ReportedAndTheOthersShown) {
    writeDoorAndGate();
    std::filesystem::permissions(path("door/index.csv"), std::filesystem::perms::none);
    Setting setting;
    setting.obeysPermissions = true;
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"-n", "1"}, {"-n", "all"}, {"-r"}, {"-q"}}) {
        std::vector<std::string> arguments = {"show", "-o", "cat", "-g", "g4", "door", "gate"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome run = jorn(arguments, setting);
        if (run.status == 126) {
            GTEST_SKIP() << run.err;
        }
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: door/index.csv: Permission denied\n");
        EXPECT_EQ(run.out, options.front() == "-q" ? "" : "gate g4\n");
    }
}

TEST_F(ShowSeveralTest, Show_SameDirectoryTwice_Refused) {
    writeDoorAndGate();
    std::filesystem::create_directory_symlink("door", path("link"));
    for (const char *const again : {"door", "./door/", "link", "gate/../door"}) {
        for (const char *const command : {"show", "export"}) {
            expectError({command, "door", "gate", again}, 2,
                        "jorn: " + std::string(again) + " and door are the same directory\n");
        }
    }
}

TEST_F(ShowSeveralTest, Show_PageOfSeveral_Refused) {
    writeDoorAndGate();
    expectError({"show", "--page", "1", "door", "gate"}, 2,
                "jorn: --page is for one DIR: a device pages each log by itself\n");
}

TEST_F(ShowSeveralTest, Show_Damage_ReportedForEachLogAndHighestExitCode) {
    writeLog("door", {dataLine(kMidnight, 1, 5, "d1") + "no item\n"});
    writeLog("gate", {dataLine(kMidnight, 1, 5, "g1")});
    makeDirectory("empty");
    const Outcome run = jorn({"show", "-o", "cat", "gate", "empty", "door"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "gate g1\ndoor d1\n");
    EXPECT_THAT(run.err, ::testing::HasSubstr("jorn: note: door/0.csv: 1 line that is not an item"));
}

TEST_F(ShowSeveralTest, Show_MatchInOneOfThem_IsAMatch) {
    writeDoorAndGate();
    expectError({"show", "-o", "cat", "-g", "g4", "door", "gate"}, 0, "", "gate g4\n");
    expectError({"show", "-q", "-g", "g4", "door", "gate"}, 0, "");
    expectError({"show", "-g", "g5", "door", "gate"}, 1, "");
    expectError({"show", "-q", "-g", "g5", "door", "gate"}, 1, "");
}

TEST_F(ShowSeveralTest, Show_OnTerminal_NamesInColoursOfTheirOwn) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"show", "-o", "cat", "--color", "always", "-g", "[34]", "-n", "2", "door", "gate"}),
              "\x1b[36mdoor\x1b[0m \x1b[1;31md\x1b[0m\x1b[1;7;31m4\x1b[0m\x1b[1;31m\x1b[0m\n"
              "\x1b[32mgate\x1b[0m \x1b[1;31mg\x1b[0m\x1b[1;7;31m4\x1b[0m\x1b[1;31m\x1b[0m\n");
}

/// The pager gets the newest 1,000 of all.
TEST_F(ShowSeveralTest, Show_ManyItemsOnTerminal_PagerWithTheNewestOfAll) {
    std::string odd;
    std::string even;
    for (int number = 1; number <= 1500; ++number) {
        (number % 2 == 0 ? even : odd) +=
            dataLine(kMidnight + static_cast<uint32_t>(number), 1, 0, std::to_string(number));
    }
    writeLog("odd", {odd});
    writeLog("even", {even});
    Setting setting;
    setting.variables = {{"JORN_PAGER", "cat -"}, {"NO_COLOR", "1"}};
    const Outcome run = runOnTerminal({"show", "-o", "cat", path("odd"), path("even")}, setting);
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 1001U);
    EXPECT_EQ(lines[0], "-- the newest 1,000 items; -n all shows the others too --\r");
    EXPECT_EQ(lines[1], "odd  501\r");
    EXPECT_EQ(lines[1000], "even 1500\r");
    EXPECT_EQ(
        linesOf(runOnTerminal({"show", "-o", "cat", "-n", "all", path("odd"), path("even")}, setting).out)
            .size(),
        1500U);
}

/// More files than may be open at first.
TEST_F(ShowSeveralTest, Show_MoreFilesThanTheSoftLimit_LimitIsRaised) {
    struct rlimit former = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    std::vector<std::string> arguments = {"show", "-n", "all", "-o", "cat"};
    for (int log = 0; log < 3; ++log) {
        const std::string name = "log" + std::to_string(log);
        writeLog(name, std::vector<std::string>(60, dataLine(kMidnight, 1, 0, "x")));
        arguments.push_back(name);
    }
    struct rlimit few = former;
    few.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const Outcome run = jorn(arguments);
    setrlimit(RLIMIT_NOFILE, &former);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(linesOf(run.out).size(), 180U);
}

}  // namespace
}  // namespace test
