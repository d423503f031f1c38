// SPDX-License-Identifier: Apache-2.0
// `jorn count`, `stats` and `check` of several logs at once.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "several_logs.h"

namespace test {
namespace {

using SeveralReportsTest = SeveralLogsTest;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kNoLog[] =
    "jorn: empty: no log here: neither an index nor a data file; logs beside it: door, gate\n";
constexpr char kMissing[] = "jorn: missing: No such file or directory\n";

TEST_F(SeveralReportsTest, Count_TwoLogs_RowForEachAndTotal) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"count", "door", "gate"}),
              "log    0  1  2  3  total\n"
              "door   1  1  2  0      4\n"
              "gate   1  1  2  0      4\n"
              "total  2  2  4  0      8\n");
    EXPECT_EQ(printed({"count", "-p", "1", "-g", "d", "gate", "door"}),
              "log    0  1  total\n"
              "gate   0  0      0\n"
              "door   1  1      2\n"
              "total  1  1      2\n");
}

TEST_F(SeveralReportsTest, Count_NamesOfLevels_ShownWhereAllHaveThem) {
    writeDoorAndGate();
    writeNames("door", "[levels]\n0 = error\n1 = warning\n");
    writeNames("gate", "[levels]\n0 = error\n1 = alarm\n");
    EXPECT_THAT(printed({"count", "door", "gate"}), HasSubstr("log    error  1  2  3  total\n"));
    EXPECT_THAT(printed({"count", "--numbers", "door", "gate"}), HasSubstr("log    0  1  2  3  total\n"));
    EXPECT_EQ(printed({"count", "--level", "alarm", "door", "gate"}),
              "log    1  total\ndoor   0      0\ngate   1      1\ntotal  1      1\n");
}

TEST_F(SeveralReportsTest, Count_FormsForPrograms_HaveTheLog) {
    writeDoorAndGate();
    writeNames("door", "[levels]\n1 = warning\n");
    EXPECT_EQ(printed({"count", "-p", "1", "-o", "csv", "door", "gate"}),
              "log,level,level_name,items\n"
              "door,0,,1\ndoor,1,warning,1\ndoor,total,,2\n"
              "gate,0,,1\ngate,1,,1\ngate,total,,2\n"
              ",total,,4\n");
    EXPECT_EQ(printed({"count", "--level", "1", "-o", "json", "door", "gate"}),
              R"({"log":"door","levels":[{"level":1,"level_name":"warning","items":1}],"total":1})"
              "\n"
              R"({"log":"gate","levels":[{"level":1,"items":1}],"total":1})"
              "\n"
              R"({"logs":2,"total":2})"
              "\n");
    std::filesystem::rename(path("gate"), path("gate, \"2\""));
    EXPECT_THAT(printed({"count", "-o", "csv", "door", "gate, \"2\""}),
                HasSubstr("\n\"gate, \"\"2\"\"\",0,,1\n"));
}

TEST_F(SeveralReportsTest, Count_OneLog_AsBefore) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"count", "--level", "1", "-o", "json", "door"}),
              "{\"levels\":[{\"level\":1,\"items\":1}],\"total\":1}\n");
    EXPECT_EQ(printed({"count", "--level", "1", "-o", "csv", "door"}),
              "level,level_name,items\n1,,1\ntotal,,1\n");
    EXPECT_EQ(printed({"count", "--level", "1", "door"}),
              "level      items\n    1          1\ntotal          1\n");
}

TEST_F(SeveralReportsTest, Count_OtherLevelsInOneLog_HaveAColumn) {
    writeLog("door", {dataLine(kMidnight, 7, 0, "x")});
    writeLog("gate", {dataLine(kMidnight, 0, 0, "x")});
    EXPECT_EQ(printed({"count", "door", "gate"}),
              "log    0  1  2  3  other  total\n"
              "door   0  0  0  0      1      1\n"
              "gate   1  0  0  0      0      1\n"
              "total  1  0  0  0      1      2\n");
}

TEST_F(SeveralReportsTest, Count_QuietAndExplain_OfAll) {
    writeDoorAndGate();
    expectError({"count", "-q", "-g", "g4", "door", "gate"}, 0, "");
    expectError({"count", "-q", "-g", "g5", "door", "gate"}, 1, "");
    expectError({"count", "-q", "--explain", "door", "gate"}, 0,
                "jorn: door: answered from the summaries of 2 files alone\n"
                "jorn: gate: answered from the summaries of 1 file alone\n");
}

TEST_F(SeveralReportsTest, Stats_TwoLogs_EachAndThenTogether) {
    writeDoorAndGate();
    writeNames("door", "[slots]\n5 = lock\n0 = frame\n");
    writeNames("gate", "[slots]\n5 = lock\n");
    const std::string both = printed({"stats", "--utc", "--per", "day", "--disk-usage", "door", "gate"});
    const std::string own = printed({"stats", "--utc", "--per", "day", "--disk-usage", "door"}) + "\n" +
                            printed({"stats", "--utc", "--per", "day", "--disk-usage", "gate"}) + "\n";
    ASSERT_EQ(both.substr(0, own.size()), own);
    const std::string together = both.substr(own.size());
    EXPECT_EQ(together.substr(0, together.find("2023-11-15  8")),
              "logs    2\n"
              "items   8 from 2023-11-15 00:00:00Z to 2023-11-15 00:00:30Z\n"
              "bytes   144\n"
              "\n"
              "level  slot 0  slot 3  lock  total\n"
              "0           0       1     1      2\n"
              "1           0       0     2      2\n"
              "2           4       0     0      4\n"
              "3           0       0     0      0\n"
              "total       4       1     3      8\n"
              "\n");
    EXPECT_THAT(together, HasSubstr("at most 4680000 bytes\n"));
}

TEST_F(SeveralReportsTest, StatsJson_TwoLogs_LineForEachAndForAll) {
    writeDoorAndGate();
    const std::vector<std::string> lines =
        linesOf(printed({"stats", "--utc", "--level", "1", "-o", "json", "door", "gate"}));
    ASSERT_EQ(lines.size(), 3U);
    const std::string one = printed({"stats", "--utc", "--level", "1", "-o", "json", "door"});
    EXPECT_THAT(one, HasSubstr("{\"log\":\"door\",\"ring\":"));
    EXPECT_EQ(lines[0] + "\n",
              "{\"log\":\"door\",\"name\":\"door\"," + one.substr(std::string("{\"log\":\"door\",").size()));
    EXPECT_THAT(lines[1], HasSubstr("{\"log\":\"gate\",\"name\":\"gate\","));
    EXPECT_EQ(lines[2],
              R"({"logs":2,"items":2,"earliest":"2023-11-15T00:00:00Z","latest":"2023-11-15T00:00:00Z",)"
              R"("bytes":144,"levels":[{"level":1,"items":2,"slots":[{"slot":5,"items":2}]}],"per":"hour",)"
              R"("buckets":[{"start":"2023-11-15T00:00:00Z","items":2}]})");
}

TEST_F(SeveralReportsTest, Reports_WrongDirectories_ReportedAndTheOthersDone) {
    writeDoorAndGate();
    makeDirectory("empty");
    expectError({"count", "--level", "1", "empty", "door", "gate"}, 2, kNoLog,
                "log    1  total\ndoor   1      1\ngate   1      1\ntotal  2      2\n");
    expectError({"count", "--level", "1", "empty", "door", "missing"}, 4, std::string(kNoLog) + kMissing,
                "log    1  total\ndoor   1      1\ntotal  1      1\n");
    expectError({"stats", "--utc", "empty", "door"}, 2, kNoLog, printed({"stats", "--utc", "door"}));
    for (const char *const command : {"count", "stats"}) {
        expectError({command, "empty", "missing"}, 4, std::string(kNoLog) + kMissing);
        expectError({command, "door", "gate", "./door"}, 2, "jorn: ./door and door are the same directory\n");
        expectError({command, "-s", "window", "door", "gate"}, 2,
                    "jorn: slot 'window' is neither a number from 0 to 7 nor a known name\n");
    }
}

TEST_F(SeveralReportsTest, Reports_LogThatCannotBeOpened_ReportedAndTheOthersDone) {
    writeDoorAndGate();
    std::filesystem::permissions(path("door/index.csv"), std::filesystem::perms::none);
    Setting setting;
    setting.obeysPermissions = true;
    for (const char *const command : {"count", "stats"}) {
        const Outcome run = jorn({command, "--level", "0", "door", "gate"}, setting);
        if (run.status == 126) {
            GTEST_SKIP() << run.err;
        }
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: door/index.csv: Permission denied\n");
        EXPECT_THAT(run.out, HasSubstr("gate"));
        EXPECT_THAT(run.out, Not(HasSubstr("door")));
    }
}

TEST_F(SeveralReportsTest, Check_TwoLogs_EachWithItsPathAndTheWorstExitCode) {
    writeDoorAndGate();
    const std::string door = printed({"check", "door"});
    EXPECT_THAT(door, HasSubstr("door: sound (0 errors, 0 warnings, 1 note)\n"));
    const std::string gate = "gate: sound (0 errors, 0 warnings, 0 notes)\n";
    EXPECT_EQ(printed({"check", "door", "gate"}), door + gate + "2 logs: 2 sound, 0 damaged\n");
    writeLog("bad", {dataLine(kMidnight, 1, 5, "b1") + "no item\n"});
    const std::string alone = jorn({"check", "bad"}).out;
    EXPECT_THAT(alone, HasSubstr("bad: damaged ("));
    expectError({"check", "bad", "gate"}, 3, "", alone + gate + "2 logs: 1 sound, 1 damaged\n");
    expectError({"check", "missing", "bad", "gate"}, 4, kMissing,
                alone + gate + "3 logs: 1 sound, 1 damaged, 1 not read\n");
    expectError({"check", "gate", "bad/../gate"}, 2, "jorn: bad/../gate and gate are the same directory\n");
}

TEST_F(SeveralReportsTest, CheckJson_TwoLogs_DirectoryInEachLineAndTotal) {
    writeDoorAndGate();
    EXPECT_EQ(printed({"check", "-o", "json", "door", "gate"}),
              printed({"check", "-o", "json", "door"}) + printed({"check", "-o", "json", "gate"}) +
                  R"({"type":"total","logs":2,"sound":2,"damaged":0,"unread":0})" + "\n");
}

/// As of one alone, what can be read is reported first.
TEST_F(SeveralReportsTest, Check_FileThatCannotBeRead_ReportedAfterTheOthers) {
    writeDoorAndGate();
    std::filesystem::permissions(path("door/1.csv"), std::filesystem::perms::none);
    Setting setting;
    setting.obeysPermissions = true;
    const Outcome alone = jorn({"check", "door"}, setting);
    if (alone.status == 126) {
        GTEST_SKIP() << alone.err;
    }
    EXPECT_EQ(alone.status, 4);
    EXPECT_EQ(alone.err, "jorn: door: not every file could be read\n");
    const Outcome both = jorn({"check", "door", "gate"}, setting);
    EXPECT_EQ(both.status, 4);
    EXPECT_EQ(both.err, alone.err);
    EXPECT_THAT(both.out, HasSubstr(alone.out + "gate: sound (0 errors, 0 warnings, 0 notes)\n2 logs: "));
}

}  // namespace
}  // namespace test
