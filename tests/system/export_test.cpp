// SPDX-License-Identifier: Apache-2.0
// `jorn export` over directories written by hand.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "database.h"
#include "exported_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

TEST_F(ExportTest, Export_JsonLinesAndCsv_AsShowGivesThem) {
    writeRing();
    write("door/jorn.names", "[levels]\n0 = error\n[slots]\n5 = lock\n");
    const std::vector<std::vector<std::string>> questions = {{},
                                                             {"-p", "1"},
                                                             {"--level", "3"},
                                                             {"-s", "lock"},
                                                             {"-g", "s"},
                                                             {"-S", "@1700006402"},
                                                             {"--numbers"},
                                                             {"-U", "@1700006402"},
                                                             {"--files", "3"},
                                                             {"-g", "SHUT", "--ignore-case"}};
    for (const std::vector<std::string> &question : questions) {
        for (const auto &[form, shownForm] : {std::pair("jsonl", "json"), {"csv", "csv"}}) {
            std::vector<std::string> show = {"show", "--utc", "-o", shownForm, "door"};
            std::vector<std::string> options = {"-o", form, "door"};
            show.insert(show.begin() + 1, question.begin(), question.end());
            options.insert(options.begin(), question.begin(), question.end());
            const Outcome run = exportLog(options);
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(run.err, "");
            EXPECT_EQ(run.out, jorn(show).out) << ::testing::PrintToString(options);
            EXPECT_NE(run.out, "");
        }
    }
}

TEST_F(ExportTest, Export_Json_IsJsonLines) {
    writeRing();
    const Outcome run = exportLog({"-o", "json", "door"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out, "");
    EXPECT_EQ(run.out, exportLog({"-o", "jsonl", "door"}).out);
}

TEST_F(ExportTest, Export_NoForm_IsJsonLines) {
    writeLog("door", dataLine(kMidnight, 1, 5, "shut"));
    const char expected[] =
        "{\"time\":1700006400,\"iso\":\"2023-11-15T00:00:00Z\",\"level\":1,\"slot\":5,\"text\":\"shut\"}\n";
    EXPECT_EQ(exportLog({"door"}).out, expected);
    EXPECT_EQ(exportLog({"door", "--to", "-"}).out, expected);
}

TEST_F(ExportTest, Export_SeveralLogs_OneAfterTheOtherWithTheirNames) {
    writeLog("a/door", dataLine(kMidnight + 5, 1, 5, "a"));
    writeLog("b/door", dataLine(kMidnight, 2, 0, "b"));
    writeLog("c,\"d\"", dataLine(kMidnight, 0, 0, "c"));
    const std::vector<std::string> logs = {"a/door/", "b/door", "./c,\"d\""};
    std::vector<std::string> options = {"-o", "csv"};
    options.insert(options.end(), logs.begin(), logs.end());
    EXPECT_EQ(exportLog(options).out,
              "time,level,slot,text,log\n1700006405,1,5,a,a/door\n1700006400,2,0,b,b/door\n"
              "1700006400,0,0,c,\"c,\"\"d\"\"\"\n");
    options[1] = "jsonl";
    EXPECT_EQ(exportLog(options).out,
              "{\"time\":1700006405,\"iso\":\"2023-11-15T00:00:05Z\",\"level\":1,\"slot\":5,\"text\":\"a\","
              "\"log\":\"a/door\"}\n"
              "{\"time\":1700006400,\"iso\":\"2023-11-15T00:00:00Z\",\"level\":2,\"slot\":0,\"text\":\"b\","
              "\"log\":\"b/door\"}\n"
              "{\"time\":1700006400,\"iso\":\"2023-11-15T00:00:00Z\",\"level\":0,\"slot\":0,\"text\":\"c\","
              "\"log\":\"c,\\\"d\\\"\"}\n");
}

TEST_F(ExportTest, Export_DirectoryNamesThatAreHostile_AreHarmless) {
    writeLog("\x1b[2J\xff", dataLine(kMidnight, 1, 5, "x"));
    writeLog("sqlite_x", dataLine(kMidnight, 1, 5, "y"));
    writeLog("a\"b'c;", dataLine(kMidnight, 1, 5, "z"));
    writeLog("jorn_names", dataLine(kMidnight, 1, 5, "n"));
    write("jorn_names/jorn.names", "[levels]\n1 = it's\n");
    const std::vector<std::string> logs = {"\x1b[2J\xff", "sqlite_x", "a\"b'c;", "jorn_names"};
    std::vector<std::string> options = {"--to", "out/x.db"};
    options.insert(options.end(), logs.begin(), logs.end());
    EXPECT_EQ(exportLog(options).status, 0);
    EXPECT_THAT(
        rowsOf(path("out/x.db"), "SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY rowid"),
        ElementsAre("\\x1b[2J\\xff", "log_sqlite_x", "a\"b'c;", "jorn_names_2", "jorn_names"));
    EXPECT_THAT(rowsOf(path("out/x.db"), "SELECT level, text FROM \"jorn_names_2_readable\""),
                ElementsAre("it's|n"));
    options = {"-o", "syslog"};
    options.insert(options.end(), logs.begin(), logs.end() - 1);
    EXPECT_EQ(exportLog(options).out,
              "<132>1 2023-11-15T00:00:00Z - \\x1b[2J\\xff - - [jorn@32473 level=\"1\" slot=\"5\"] x\n"
              "<132>1 2023-11-15T00:00:00Z - sqlite_x - - [jorn@32473 level=\"1\" slot=\"5\"] y\n"
              "<132>1 2023-11-15T00:00:00Z - a\"b'c; - - [jorn@32473 level=\"1\" slot=\"5\"] z\n");
}

TEST_F(ExportTest, Export_Syslog_AMessageAnItem) {
    writeRing();
    EXPECT_EQ(exportLog({"-o", "syslog", "door"}).out,
              "<132>1 2023-11-15T00:00:00Z - door - - [jorn@32473 level=\"1\" slot=\"5\"] open, \"wide\"\n"
              "<131>1 2023-11-15T00:00:01Z - door - - [jorn@32473 level=\"0\" slot=\"0\"] "
              "\xef\xbb\xbfgr\xc3\xbc\xc3\x9f\n"
              "<135>1 2023-11-15T00:00:02Z - door - - [jorn@32473 level=\"3\" slot=\"5\"]\n"
              "<134>1 2023-11-15T00:00:03Z - door - - [jorn@32473 level=\"2\" slot=\"7\"] bytes \xff\n"
              "<132>1 2023-11-15T00:00:04Z - door - - [jorn@32473 level=\"1\" slot=\"5\"] shut\n");
}

TEST_F(ExportTest, Export_SyslogLocalTime_WithOffset) {
    writeLog("door", dataLine(kMidnight, 1, 5, "shut"));
    EXPECT_EQ(jorn({"export", "-o", "syslog", "door"}, {"", "", {{"TZ", "XYZ-5:30"}}, {}}).out,
              "<132>1 2023-11-15T05:30:00+05:30 - door - - [jorn@32473 level=\"1\" slot=\"5\"] shut\n");
}

TEST_F(ExportTest, Export_SyslogOptions_AreHeeded) {
    const std::string line = dataLine(kMidnight, 2, 0, "x");
    const std::string rest =
        ">1 2023-11-15T00:00:00Z unit-1 door - - [jorn@32473 level=\"2\" slot=\"0\"] x\n";
    const std::vector<std::string> host = {"--hostname", "unit-1"};
    const auto with = [&](std::vector<std::string> options) {
        options.insert(options.end(), host.begin(), host.end());
        return syslogOf(line, options);
    };
    EXPECT_EQ(with({"--facility", "user"}), "<14" + rest);
    EXPECT_EQ(with({"--facility", "kern"}), "<6" + rest);
    EXPECT_EQ(with({"--facility", "23"}), "<190" + rest);
    EXPECT_EQ(with({"--severities", "0,1,2,7"}), "<130" + rest);
    EXPECT_EQ(with({"--severities", "3,4,7,7", "--facility", "local7"}), "<191" + rest);
}

TEST_F(ExportTest, Export_SyslogNames_AreEscapedParameters) {
    write("names", "[levels]\n1 = w\"a\\r]n\n[slots]\n5 = t\xc3\xbcr\n");
    EXPECT_EQ(syslogOf(dataLine(kMidnight, 1, 5, "x"), {"--names", "names"}),
              "<132>1 2023-11-15T00:00:00Z - door - - [jorn@32473 level=\"1\" level_name=\"w\\\"a\\\\r\\]n\" "
              "slot=\"5\" slot_name=\"t\xc3\xbcr\"] x\n");
}

TEST_F(ExportTest, Export_SyslogOfDamagedNumbers_StaysLegal) {
    EXPECT_EQ(syslogOf("99999999999999,-7,-1,x\n253402300799,9,5,y\n253402300800,9,5,z\n"),
              "<131>1 - - door - - [jorn@32473 level=\"-7\" slot=\"-1\"] x\n"
              "<135>1 9999-12-31T23:59:59Z - door - - [jorn@32473 level=\"9\" slot=\"5\"] y\n"
              "<135>1 - - door - - [jorn@32473 level=\"9\" slot=\"5\"] z\n");
}

TEST_F(ExportTest, Export_SyslogLongAndBlankLogName_IsLegal) {
    const std::string name = "my log " + std::string(60, 'x');
    writeLog(name, dataLine(kMidnight, 1, 5, "x"));
    EXPECT_THAT(exportLog({"-o", "syslog", name}).out,
                HasSubstr(" my_log_" + std::string(41, 'x') + " - - ["));
}

TEST_F(ExportTest, Export_FileEnding_TellsTheForm) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    const std::vector<std::pair<std::string, std::string>> begins = {
        {"a.jsonl", "{"},   {"a.ndjson", "{"},      {"a.json", "{"},
        {"a.csv", "time,"}, {"a.syslog", "<132>"},  {"a.log", "<132"},
        {"a.db", "SQLite"}, {"a.sqlite", "SQLite"}, {"a.sqlite3", "SQLite"}};
    for (const auto &[name, begin] : begins) {
        const Outcome run = exportLog({"--to", "out/" + name, "door"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "1 item\n");
        EXPECT_EQ(read("out/" + name).rfind(begin, 0), 0U) << name;
    }
    EXPECT_EQ(namesIn("out").size(), begins.size());
    EXPECT_EQ(exportLog({"--to", "out/b.db", "-o", "csv", "-q", "door"}).err, "");
    EXPECT_EQ(read("out/b.db").rfind("time,", 0), 0U);
}

TEST_F(ExportTest, Export_NothingMatches_OnlyAPatternAsks) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    EXPECT_EQ(exportLog({"-q", "-S", "2100-01-01", "door"}).status, 0);
    EXPECT_EQ(exportLog({"-g", "y", "door"}).status, 1);
    EXPECT_THAT(jorn({"export", "--help"}).out,
                HasSubstr("  1  no item matches, with -g; never with --cursor-file\n"));
    EXPECT_THAT(jorn({"count", "--help"}).out, HasSubstr("  1  no item matches, with -g or -q\n"));
}

TEST_F(ExportTest, Export_Sqlite_TableAsDocumented) {
    writeRing();
    const std::string file = path("out/x.db");
    EXPECT_EQ(exportLog({"--to", file, "door"}).err, "5 items\n");
    EXPECT_THAT(rowsOf(file, "SELECT id, time, level, slot, typeof(text), text FROM door ORDER BY id"),
                ElementsAre("1|1700006400|1|5|text|open, \"wide\"",
                            "2|1700006401|0|0|text|gr\xc3\xbc\xc3\x9f", "3|1700006402|3|5|text|",
                            "4|1700006403|2|7|blob|bytes \xff", "5|1700006404|1|5|text|shut"));
    EXPECT_THAT(rowsOf(file, "SELECT id, time, level, slot, text FROM door_readable WHERE id = 1"),
                ElementsAre("1|2023-11-15T00:00:00Z|1|5|open, \"wide\""));
    EXPECT_THAT(rowsOf(file, "SELECT type, name FROM sqlite_schema ORDER BY rowid"),
                ElementsAre("table|door", "index|door_by_time", "index|door_by_level", "index|door_by_slot",
                            "view|door_readable"));
    EXPECT_THAT(
        rowsOf(file, "SELECT application_id, user_version FROM pragma_application_id, pragma_user_version"),
        ElementsAre("1246712398|1"));
    EXPECT_THAT(rowsOf(file, "PRAGMA integrity_check"), ElementsAre("ok"));
    EXPECT_THAT(namesIn("out"), ElementsAre("x.db"));
}

TEST_F(ExportTest, Export_SqliteWithNames_AreInATableAndInTheView) {
    writeRing();
    write("door/jorn.names", "[levels]\n1 = warning\n[slots]\n5 = lock\n7 = it's\n");
    const std::string file = path("out/x.db");
    EXPECT_EQ(exportLog({"--to", file, "--table", "The \"Door\"", "door"}).status, 0);
    EXPECT_THAT(
        rowsOf(file, "SELECT * FROM jorn_names"),
        ElementsAre("The \"Door\"|level|1|warning", "The \"Door\"|slot|5|lock", "The \"Door\"|slot|7|it's"));
    EXPECT_THAT(rowsOf(file, "SELECT level, slot FROM \"The \"\"Door\"\"_readable\" ORDER BY id"),
                ElementsAre("warning|lock", "0|0", "3|lock", "2|it's", "warning|lock"));
    EXPECT_THAT(rowsOf(file, "SELECT sum(level) FROM \"The \"\"Door\"\"\""), ElementsAre("7"));
}

TEST_F(ExportTest, Export_SqliteOfSeveralLogs_ATableEachWithTheOwnNames) {
    writeLog("a/door", dataLine(kMidnight, 1, 5, "a"));
    writeLog("b/Door", dataLine(kMidnight, 1, 5, "b") + dataLine(kMidnight, 1, 5, "c"));
    writeLog("door_2", dataLine(kMidnight, 1, 5, "d"));
    write("b/Door/jorn.names", "[levels]\n1 = warning\n");
    const std::string file = path("out/x.db");
    EXPECT_EQ(exportLog({"--to", file, "a/door", "b/Door", "door_2"}).err, "4 items\n");
    EXPECT_THAT(rowsOf(file, "SELECT id, level, text FROM door_readable"), ElementsAre("1|1|a"));
    EXPECT_THAT(rowsOf(file, "SELECT id, level, text FROM Door_2_readable"),
                ElementsAre("1|warning|b", "2|warning|c"));
    EXPECT_THAT(rowsOf(file, "SELECT id, level, text FROM door_2_2_readable"), ElementsAre("1|1|d"));
}

TEST_F(ExportTest, Export_SqliteIndexes_ServeTheUsualQuestions) {
    writeRing();
    const std::string file = path("out/x.db");
    ASSERT_EQ(exportLog({"--to", file, "door"}).status, 0);
    const auto plan = [&](const std::string &condition) {
        return rowsOf(file, "EXPLAIN QUERY PLAN SELECT text FROM door WHERE " + condition).front();
    };
    // Without these, a query for a few items reads the whole table: -S and -U, --level, -p, -s, and these
    // with a time range.
    const std::string span = "time BETWEEN 5 AND 9";
    EXPECT_THAT(plan(span), HasSubstr("SEARCH door USING INDEX door_by_time (time>? AND time<?)"));
    EXPECT_THAT(plan("level = 1 AND " + span),
                HasSubstr("SEARCH door USING INDEX door_by_level (level=? AND time>? AND time<?)"));
    EXPECT_THAT(plan("level IN (0, 1) AND " + span),
                HasSubstr("SEARCH door USING INDEX door_by_level (level=? AND time>? AND time<?)"));
    EXPECT_THAT(plan("level <= 1"), HasSubstr("SEARCH door USING INDEX door_by_level (level<?)"));
    EXPECT_THAT(plan("slot = 5"), HasSubstr("SEARCH door USING INDEX door_by_slot (slot=?)"));
    EXPECT_THAT(plan("slot = 5 AND level <= 1"),
                HasSubstr("SEARCH door USING INDEX door_by_slot (slot=? AND level<?)"));
    EXPECT_THAT(plan("slot = 5 AND level = 1 AND " + span),
                HasSubstr("SEARCH door USING INDEX door_by_slot (slot=? AND level=? AND time>? AND time<?)"));
    EXPECT_THAT(plan("id > 7 ORDER BY id"), HasSubstr("SEARCH door USING INTEGER PRIMARY KEY (rowid>?)"));
}

TEST_F(ExportTest, Export_MoreItemsThanABatch_AllArrive) {
    std::string lines;
    for (uint32_t number = 0; number < 25001; ++number) {
        lines += dataLine(kMidnight + number, 1, 5, std::to_string(number));
    }
    writeLog("door", lines);
    const std::string file = path("out/x.db");
    EXPECT_EQ(exportLog({"--to", file, "door"}).err, "25001 items\n");
    EXPECT_THAT(
        rowsOf(file, "SELECT count(*), min(id), max(id), sum(text), sum(time - 1700006400) FROM door"),
        ElementsAre("25001|1|25001|312512500|312512500"));
}

TEST_F(ExportTest, Export_Damage_RestIsExportedAndExitTells) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x") + "no item\n" + dataLine(kMidnight, 1, 5, "y"));
    writeLog("gate", dataLine(kMidnight, 1, 5, "z"));
    for (const char *form : {"jsonl", "csv", "syslog"}) {
        const Outcome run = exportLog({"-o", form, "door", "gate"});
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(run.err, "jorn: note: door/0.csv: 1 line that is not an item, at offset 17; left out\n");
        EXPECT_EQ(linesOf(run.out).size(), std::string(form) == "csv" ? 4U : 3U);
    }
    const Outcome run = exportLog({"--to", "out/x.db", "door", "gate"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(rowsOf(path("out/x.db"), "SELECT text FROM door UNION ALL SELECT text FROM gate"),
                ElementsAre("x", "y", "z"));
}

TEST_F(ExportTest, Export_NothingMatches_EmptyWholeFileAndExitTellsWhereAsked) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    EXPECT_EQ(exportLog({"-o", "csv", "-s", "7", "door"}).status, 0);
    EXPECT_EQ(exportLog({"-o", "csv", "-s", "7", "door"}).out, "time,level,slot,text\n");
    EXPECT_EQ(exportLog({"--to", "out/x.db", "-g", "none", "door"}).status, 1);
    EXPECT_THAT(rowsOf(path("out/x.db"), "SELECT count(*) FROM door"), ElementsAre("0"));
    EXPECT_EQ(exportLog({"-g", "x", "door"}).status, 0);
}

TEST_F(ExportTest, Export_SparseFileOfAGigabyte_InBoundedMemory) {
    writeRing();
    fs::resize_file(path("door/2.csv"), uint64_t{1} << 30);
    const Outcome run = jorn({"export", "door", "-o", "csv"}, {"", "", {}, {}, false, uint64_t{256} << 20});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(linesOf(run.out).size(), 6U);
}

/// What the tool writes on its terminal, which is its standard error and, unless it is a pipe, its output.
std::string terminalOutput(const std::vector<std::string> &arguments) {
    const Outcome run = runOnTerminal(arguments);
    EXPECT_EQ(run.status, 0);
    return run.out;
}

TEST_F(ExportTest, Export_IntoFileFromATerminal_ShowsProgressAndRemovesIt) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    const std::string log = path("door");
    const std::string shown = terminalOutput({"export", log, "--to", path("out/a.csv")});
    EXPECT_EQ(shown.rfind("\rdoor [" + std::string(40, ' ') + "]   0%\x1b[K", 0), 0U) << shown;
    EXPECT_THAT(shown, ::testing::EndsWith("\r\x1b[K1 item\r\n"));
    EXPECT_EQ(terminalOutput({"export", log, "--to", path("out/b.csv"), "--no-progress"}), "1 item\r\n");
    EXPECT_EQ(terminalOutput({"export", log, "--to", path("out/c.csv"), "-q"}), "");
}

TEST_F(ExportTest, Export_OntoATerminal_EscapedAndWithoutProgress) {
    writeLog("door", dataLine(kMidnight, 1, 5, "\x1b[31m \xff"));
    const std::string log = path("door");
    EXPECT_EQ(terminalOutput({"export", "--utc", log, "-o", "csv"}),
              "time,level,slot,text\r\n1700006400,1,5,\\x1b[31m \\xff\r\n");
    EXPECT_EQ(
        terminalOutput({"export", "--utc", log, "-o", "syslog"}),
        "<132>1 2023-11-15T00:00:00Z - door - - [jorn@32473 level=\"1\" slot=\"5\"] \\x1b[31m \\xff\r\n");
    EXPECT_THAT(terminalOutput({"export", "--utc", log}), HasSubstr("\\u001b[31m \\ufffd"));
}

TEST_F(ExportTest, Export_ClosedPipe_QuietExit) {
    writeRing();
    for (const char *form : {"jsonl", "csv", "syslog"}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        const Outcome run = runInto(ends[1], {"export", path("door"), "-o", form});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        close(ends[1]);
    }
}

TEST_F(ExportTest, Export_OutputFull_ExitWith4) {
    writeRing();
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const Outcome run = runInto(full, {"export", path("door")});
    close(full);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: standard output: No space left on device\n");
}

TEST_F(ExportTest, Export_UsageErrors_ExitWith2AndWriteNothing) {
    writeLog("door", "");
    writeLog("gate", "");
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"door", "-o", "xml"},
        {"door", "-o", "sqlite"},
        {"door", "-o", "sqlite", "--to", "-"},
        {"door", "--to", "out/x.txt"},
        {"door", "--to", "out/x"},
        {"door", "gate", "--to", "out/x.db", "--table", "t"},
        {"door", "--table", "t"},
        {"door", "--to", "out/x.db", "--table", "\xff"},
        {"door", "-o", "syslog", "--facility", "local8"},
        {"door", "-o", "syslog", "--facility", "24"},
        {"door", "-o", "syslog", "--severities", "1,2,3"},
        {"door", "-o", "syslog", "--severities", "1,2,3,4,5"},
        {"door", "-o", "syslog", "--severities", "1,2,3,8"},
        {"door", "-o", "syslog", "--severities", "1,2,,4"},
        {"door", "-o", "syslog", "--hostname", ""},
        {"door", "-o", "syslog", "--hostname", "a b"},
        {"door", "-o", "syslog", "--hostname", std::string(256, 'x')},
        {"door", "--to", ""},
        {"door", "door"},
        {"door", "gate", "./door/"},
        {"door", "--since", "never", "--to", "out/x.csv"},
    };
    for (const auto &arguments : wrong) {
        const Outcome run = exportLog(arguments);
        EXPECT_EQ(run.status, 2) << ::testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("jorn: ", 0), 0U) << run.err;
    }
    EXPECT_THAT(namesIn("out"), IsEmpty());
    const Outcome missing = exportLog({"door", "missing", "--to", "out/x.csv"});
    EXPECT_EQ(missing.status, 4);
    EXPECT_EQ(missing.err, "jorn: missing: No such file or directory\n");
    EXPECT_THAT(namesIn("out"), IsEmpty());
}

TEST_F(ExportTest, Export_WhileARecorderWrites_EveryItemWholeAndInOrder) {
    RunningTool recorder(root_, {"record", "live", "--files", "3"});
    for (int round = 0; round < 8; ++round) {
        recorder.feed(numberedLines("round" + std::to_string(round) + "-", 1500));
        const Outcome run = jorn({"export", "live", "-o", "csv", "-p", "2"});
        if (run.status == 4 || run.status == 2) {
            continue;  // The recorder has not made the directory yet, or nothing in it.
        }
        EXPECT_EQ(run.status, 0) << run.err;
        std::vector<std::string> lines = linesOf(run.out);
        lines.erase(lines.begin());
        std::string last;
        for (const std::string &line : lines) {
            const std::string text = line.substr(line.find("round"));
            ASSERT_EQ(text.size(), 14U) << text;
            ASSERT_LT(last, text);
            last = text;
        }
    }
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
}

}  // namespace
}  // namespace test
