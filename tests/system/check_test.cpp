// SPDX-License-Identifier: Apache-2.0
// `jorn check`: what it reports for each kind of damage, and that it changes nothing.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "damaged_log.h"
#include "health/diagnosis.h"
#include "health/repair_plan.h"
#include "system/failure.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class CheckTest : public DamagedLogTest {
protected:
    /// Runs the check and verifies what it prints and that the log stays as it is.
    void expectTold(int status, const std::vector<std::string> &told,
                    const std::vector<std::string> &options = {}) {
        age();
        const std::string before = stateOf(path("log"));
        const Outcome run = check(options);
        EXPECT_TRUE(stateOf(path("log")) == before);
        EXPECT_EQ(run.status, status) << run.out << run.err;
        for (const std::string &text : told) {
            EXPECT_THAT(run.out, HasSubstr(text));
        }
        EXPECT_THAT(run.out, HasSubstr(status == 0 ? "log: sound (0 errors, 0 warnings" : "log: damaged ("));
    }
};

TEST_F(CheckTest, Check_NoLogInTheDirectory_SoundWithANote) {
    write("log/readme.txt", "not here\n");
    expectTold(
        0, {"log: note: holds no log, neither an index nor a data file; is the log in another directory?\n",
            "log: sound (0 errors, 0 warnings, 1 note)\n"});
}

TEST_F(CheckTest, Check_WholeRing_Sound) {
    writeFiles({2, 3, 0, 1});
    writeIndex("2,1");
    expectTold(0, {"log: sound (0 errors, 0 warnings, 0 notes)\n"});
}

TEST_F(CheckTest, Check_RecordedLog_Sound) {
    ASSERT_EQ(jorn({"record", "log", "--files", "2"}, {numberedLines("line", 12000), "", {}, {}}).status, 0);
    expectTold(0, {"0 notes"});
}

TEST_F(CheckTest, Check_MissingDirectory_Fails) {
    const Outcome run = jorn({"check", "none"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: none: No such file or directory\n");
}

TEST_F(CheckTest, Check_WrongUsage_Refused) {
    EXPECT_EQ(jorn({"check"}).status, 2);
    EXPECT_EQ(check({"--files", "91"}).status, 2);
}

TEST_F(CheckTest, Check_IndexEmpty_Error) {
    makeCutRing(4, 1);
    expectTold(3,
               {"log/index.csv:0: error: is empty", "log/index.bak:0: warning: is left over from a rewrite",
                "log: error: 1.csv, 3.csv hold items that no query sees"});
}

TEST_F(CheckTest, Check_IndexMissing_Error) {
    writeFiles({0, 1});
    expectTold(3, {"log/index.csv:0: error: is missing"});
}

TEST_F(CheckTest, Check_IndexPartial_Error) {
    writeFiles({0, 1});
    write("log/index.csv", "version:1\n0,1");
    expectTold(3, {"log/index.csv:13: error: is not a complete index: \"version:1\\x0a0,1\""});
}

TEST_F(CheckTest, Check_BytesBehindAWholeIndex_Note) {
    writeFiles({0, 1});
    write("log/index.csv", "version:1\n0,1\nversion:1\n0,1\n");
    expectTold(0, {"log/index.csv:14: note: 14 bytes after the index, which the store ignores; its next "
                   "rewrite leaves them out\n",
                   "log: sound (0 errors, 0 warnings, 1 note)\n"});
    write("log/index.csv", "version:1\n0,1\r\n\n");
    expectTold(0, {"log/index.csv:15: note: 1 byte after the index"});
    write("log/index.csv", "version:1\n0,1\n" + std::string(4082, '\0'));
    expectTold(0, {"log/index.csv:14: note: 4082 bytes after the index"});
    EXPECT_THAT(check({"-o", "json"}).out,
                HasSubstr("\"file\":\"index.csv\",\"offset\":14,\"severity\":\"note\",\"code\":"
                          "\"index-surplus\",\"what\":\"4082 bytes after the index"));
    EXPECT_EQ(repair().status, 0);
}

TEST_F(CheckTest, Check_IndexWithTheLineEndsOfAnotherSystem_Sound) {
    writeFiles({0, 1});
    write("log/index.csv", "version:1\r\n0,1\r\n");
    expectTold(0, {"log: sound (0 errors, 0 warnings, 0 notes)\n"});
    write("log/index.csv", "version:1\r0,1\r");
    expectTold(0, {"log: sound (0 errors, 0 warnings, 0 notes)\n"});
}

TEST_F(CheckTest, Check_BytesBehindAnIndexThatTellsNoRing_OnlyWhatIsWrongIsTold) {
    writeFiles({0, 1});
    write("log/index.csv", "version:1\n0,90\nmore\n");
    expectTold(3, {"log/index.csv:0: error: names 0,90"});
    EXPECT_THAT(check().out, Not(HasSubstr("after the index")));
}

TEST_F(CheckTest, Check_IndexWhoseSecondNumberTheStoreDoesNotReach_Error) {
    writeFiles({0, 1});
    write("log/index.csv", "version:1\n0 ,1\n");
    expectTold(3, {"is not a complete index: \"version:1\\x0a0 ,1\\x0a\""});
}

TEST_F(CheckTest, Check_IndexOfAnotherVersion_Error) {
    writeFiles({0, 1});
    write("log/index.csv", "version:2\n0,1\n");
    expectTold(3, {"is not a complete index"});
}

TEST_F(CheckTest, Check_IndexOutOfRange_Error) {
    writeFiles({0, 1});
    writeIndex("0,90");
    expectTold(3, {"log/index.csv:0: error: names 0,90, which lie outside a ring"});
    writeIndex("0,5");
    expectTold(3, {"error: names 0,5, which lie outside a ring of 2 files"}, {"--files", "2"});
}

TEST_F(CheckTest, Check_BackupOnly_Warning) {
    writeFiles({0, 1});
    write("log/index.bak", "version:1\n0,1\n");
    expectTold(3, {"log/index.bak:0: warning: serves as the index", "(0 errors, 1 warning, 0 notes)"});
}

TEST_F(CheckTest, Check_BackupOnlyAndTheRingHasMovedOn_Error) {
    writeFiles({1, 0}, kFull);
    write("log/index.bak", "version:1\n0,1\n");
    expectTold(3, {"log/index.csv:0: error: is missing, and the ring has moved on since index.bak was "
                   "written: the store's "
                   "next start would rely on it; "});
}

TEST_F(CheckTest, Check_Gap_Error) {
    writeFiles({0, 1, 2, 4, 5});
    writeIndex("0,5");
    expectTold(3, {"log/3.csv:0: error: is missing from the ring", "(1 error, 0 warnings, 0 notes)"});
}

TEST_F(CheckTest, Check_EmptyFilesInRange_Warnings) {
    writeFiles({0, 2});
    write(fileName(1), "");
    write(fileName(3), "");
    writeIndex("0,3");
    expectTold(3, {"log/1.csv:0: warning: holds no item, and hides older ones",
                   "log/3.csv:0: warning: holds no item, and is the newest file", "(0 errors, 2 warnings"});
}

TEST_F(CheckTest, Check_NextFileJustBegun_Note) {
    writeFiles({0, 1});
    write(fileName(2), "");
    writeIndex("0,2");
    const Outcome run = check();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("log/2.csv:0: note: has just been started and holds no item yet"));
}

TEST_F(CheckTest, Check_StatedRingTooSmall_Error) {
    writeFiles({0, 1, 2, 3});
    writeIndex("0,3");
    expectTold(3, {"a ring of 3 files has no room for 3.csv"}, {"--files", "3"});
}

TEST_F(CheckTest, Check_ItemsOutsideRangeOfReset_Error) {
    writeFiles({3, 0, 1, 2});
    writeIndex("0,0");
    expectTold(3,
               {"log: error: 1.csv to 3.csv hold items that no query sees; see what `jorn repair` would do"});
}

TEST_F(CheckTest, Check_ClearedLog_Note) {
    writeFiles({0, 1, 2, 3});
    write(fileName(2), dataLine(kFirstTime + 100, 3, 0, "Log all cleared!"));
    writeIndex("2,2");
    expectTold(0, {"log: note: 0.csv to 1.csv, 3.csv hold items that were cleared"});
}

TEST_F(CheckTest, Check_ClearedLogWithZerosBehindItsItem_TextEndsThereAsForTheStore) {
    writeFiles({0, 1, 2, 3});
    write(fileName(2), "1700000100,3,0,Log all cleared!" + std::string(50, '\0') + "\n");
    writeIndex("2,2");
    expectTold(0, {"log: note: 0.csv to 1.csv, 3.csv hold items that were cleared",
                   "log/2.csv:0: note: 1 line with a zero byte, which ends the text"});
}

TEST_F(CheckTest, Check_ItemsOutsideAnotherRange_Warning) {
    writeFiles({0, 1, 2, 3});
    writeIndex("2,2");
    expectTold(3, {"log: warning: the index leaves out the items of 0.csv to 1.csv, 3.csv"});
}

TEST_F(CheckTest, Check_DamagedLines_ToldWithTheirOffset) {
    write(fileName(0),
          items(1, 1) + "half\n" + "17,1\n" + items(2, 2) + std::string(3000, '\0') + "\n" + items(3, 3));
    writeIndex("0,0");
    expectTold(3, {"log/0.csv:27: warning: 2 lines (10 bytes) without an item",
                   "log/0.csv:64: warning: 3000 zero bytes hide", "(0 errors, 2 warnings, 0 notes)"});
}

TEST_F(CheckTest, Check_BlankLines_AreNothingToTell) {
    write(fileName(0), items(1, 1) + "\n\r\n" + items(2, 2));
    writeIndex("0,0");
    expectTold(0, {"log: sound (0 errors, 0 warnings, 0 notes)\n"});
}

TEST_F(CheckTest, Check_OddItems_Notes) {
    write(fileName(0), "x,y,z,text\n" + items(1, 1) + dataLine(kFirstTime, 9, 0, "level") +
                           dataLine(kFirstTime, 0, 12, "slot") + "1700000000,1,2,a" + std::string(1, '\0') +
                           "b\n" + "1700000000,1,2," + std::string(300, 'l') + "\n");
    writeIndex("0,0");
    expectTold(3, {"log/0.csv:0: note: 1 line with a field that is not a number",
                   "log/0.csv:38: note: 2 lines of a level or slot that no log has", "with a zero byte",
                   "a line longer than 256 characters", "1 line (60 bytes) without an item"});
}

TEST_F(CheckTest, Check_TimesBackwards_Notes) {
    write(fileName(0), items(50, 60) + items(40, 41) + items(30, 31));
    write(fileName(1), items(20, 21));
    writeIndex("0,1");
    expectTold(0, {"log/0.csv:297: note: times go backwards here and in 1 more place, by 20 s at most",
                   "log/1.csv:0: note: begins 11 s before the end of 0.csv"});
}

TEST_F(CheckTest, Check_TornEndLongAgo_Warning) {
    write(fileName(0), items(1, 1) + "1700000000,1");
    writeIndex("0,0");
    expectTold(3,
               {"log/0.csv:27: warning: the last line has no line end: the next item would be joined to it",
                "(0 errors, 1 warning, 0 notes)"});
}

/// Nothing is ever appended to it again.
TEST_F(CheckTest, Check_TornEndOfAFileThatIsNotTheNewest_RingHasMovedOn) {
    write(fileName(0), items(1, 1) + "1700000000,1");
    writeFiles({1}, 1, 2);
    writeIndex("0,1");
    expectTold(
        3, {"log/0.csv:27: warning: the last line has no line end: it was cut off, and the ring has moved on "
            "since; see what `jorn repair` would do\n",
            "(0 errors, 1 warning, 0 notes)"});
    write(fileName(1), "");
    expectTold(3, {"it was cut off, and the ring has moved on since"});
    write("log/index.csv", "");
    writeRing({1, 0});
    write(fileName(1), items(1, kFull) + "1700005000,1");
    expectTold(3, {"log/1.csv:", "it was cut off, and the ring has moved on since"});
}

TEST_F(CheckTest, Check_TornEndJustNow_NoteInTheNewestFileOnly) {
    write(fileName(0), items(1, 1) + "1700000000,1");
    write(fileName(1), items(2, 2) + "1700000000,1");
    writeIndex("0,1");
    const Outcome run = check();
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.out, HasSubstr("log/0.csv:27: warning: the last line has no line end"));
    EXPECT_THAT(
        run.out,
        HasSubstr("log/1.csv:27: note: the last line has no line end: it may still be being written"));
}

TEST_F(CheckTest, Check_EntriesThatAreNoFiles_Errors) {
    writeFiles({0});
    makeDirectory("log/1.csv");
    std::filesystem::create_symlink("0.csv", path("log/2.csv"));
    ASSERT_EQ(mkfifo(path("log/3.csv").c_str(), 0600), 0);
    makeDirectory("log/index.csv");
    expectTold(3, {"log/1.csv:0: error: is a directory", "log/2.csv:0: error: is a link",
                   "log/3.csv:0: error: is neither a file nor a directory",
                   "log/index.csv:0: error: is a directory"});
}

TEST_F(CheckTest, Check_OtherNames_NotesForThoseThatLookLikeDataFiles) {
    writeFiles({0});
    writeIndex("0,0");
    write("log/90.csv", "");
    write("log/007.csv", "");
    write("log/readme.csv", "");
    expectTold(0, {"log/90.csv:0: note", "log/007.csv:0: note", "(0 errors, 0 warnings, 2 notes)"});
}

TEST_F(CheckTest, Check_NoRights_FailsAndTells) {
    writeFiles({0, 1});
    writeIndex("0,1");
    ASSERT_EQ(chmod(path(fileName(1)).c_str(), 0), 0);
    ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
    const std::string before = stateOf(path("log"));
    Setting setting;
    setting.obeysPermissions = true;
    const Outcome run = jorn({"check", "log"}, setting);
    if (run.status == 126) {
        GTEST_SKIP() << "root's rights cannot be given up";
    }
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.out, HasSubstr("log/1.csv:0: error: cannot be read"));
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(CheckTest, Check_HostileBytes_NeverReachTheTerminal) {
    writeFiles({0});
    write("log/index.csv", "version:\x1b[2J\x9b\xff\n");
    const Outcome run = check();
    EXPECT_EQ(run.status, 3);
    for (const char byte : run.out) {
        EXPECT_TRUE(byte == '\n' || (byte >= ' ' && byte <= '~')) << static_cast<int>(byte);
    }
    const Outcome json = check({"-o", "json"});
    for (const char byte : json.out) {
        EXPECT_TRUE(byte == '\n' || static_cast<unsigned char>(byte) >= ' ') << static_cast<int>(byte);
    }
}

TEST_F(CheckTest, CheckJson_OneObjectALine) {
    writeFiles({0, 1});
    write("log/index.csv", "");
    age();
    const Outcome run = check({"-o", "json"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(
        run.out,
        "{\"type\":\"finding\",\"directory\":\"log\",\"file\":\"index.csv\",\"offset\":0,\"severity\":"
        "\"error\","
        "\"code\":\"index-empty\",\"what\":\"is empty, as when power is cut during its rewrite: the store's "
        "next "
        "start would begin again at 0.csv\",\"advice\":\"see what `jorn repair` would do\"}\n"
        "{\"type\":\"finding\",\"directory\":\"log\",\"file\":\"\",\"offset\":0,\"severity\":\"error\","
        "\"code\":\"out-of-view\",\"what\":\"1.csv holds items that no query sees\",\"advice\":\"see what "
        "`jorn "
        "repair` would do\"}\n"
        "{\"type\":\"summary\",\"directory\":\"log\",\"sound\":false,\"errors\":2,\"warnings\":0,\"notes\":0}"
        "\n");
}

TEST_F(CheckTest, CheckColor_Always_ColorsSeverityAndSummary) {
    writeFiles({0, 1});
    write("log/index.csv", "");
    age();
    const Outcome run = check({"--color", "always"});
    EXPECT_THAT(run.out, HasSubstr("log/index.csv:0: \x1b[1;31merror\x1b[0m: is empty"));
    EXPECT_THAT(run.out, HasSubstr("\nlog: \x1b[1;31mdamaged\x1b[0m (2 errors"));
    writeIndex("0,1");
    age();
    EXPECT_EQ(check({"--color", "always"}).out,
              "log: \x1b[32msound\x1b[0m (0 errors, 0 warnings, 0 notes)\n");
    EXPECT_EQ(check().out, "log: sound (0 errors, 0 warnings, 0 notes)\n");
}

/// What a command prints on a terminal, where the pager marks what passes through it.
std::string pagedOnTerminal(const std::vector<std::string> &arguments) {
    Setting setting;
    setting.variables = {{"JORN_PAGER", "sed 's/^/paged /'"}, {"NO_COLOR", "1"}};
    return runOnTerminal(arguments, setting).out;
}

TEST_F(CheckTest, CheckAndRepair_OnTerminal_GoThroughThePager) {
    writeFiles({0, 1});
    writeIndex("0,1");
    age();
    EXPECT_EQ(pagedOnTerminal({"check", path("log")}),
              "paged " + path("log") + ": sound (0 errors, 0 warnings, 0 notes)\r\n");
    EXPECT_EQ(pagedOnTerminal({"repair", path("log")}), "paged " + path("log") + ": nothing to do\r\n");
    EXPECT_EQ(pagedOnTerminal({"repair", "--no-pager", path("log")}), path("log") + ": nothing to do\r\n");
}

TEST_F(CheckTest, Check_LargeSparseFile_ReadInBoundedMemory) {
    constexpr int64_t kGibibyte = 1073741824;
    writeFiles({0});
    ASSERT_EQ(truncate(path(fileName(0)).c_str(), kGibibyte), 0);
    writeIndex("0,0");
    const Outcome run = check();
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.out, HasSubstr("log/0.csv:270: warning: 1073741554 zero bytes hide"));
}

/// What a writer does while the log is read, and the resulting diagnosis.
class DiagnoseTest : public DamagedLogTest {
protected:
    tool::Diagnosis diagnoseWhile(const std::function<void(int)> &change) const {
        jorn_SetDebugPrintLevel(0);
        int reads = 0;
        return tool::diagnose(tool::StoreDirectory::openForReading(path("log")), {},
                              [&] { change(++reads); });
    }
};

TEST_F(DiagnoseTest, Diagnose_RingMovesOnOnce_ReadAgain) {
    writeFiles({0, 1});
    writeIndex("0,1");
    const tool::Diagnosis diagnosis = diagnoseWhile([&](int reads) {
        if (reads == 1) {
            write(fileName(2), items(21, 22));
            writeIndex("0,2");
        }
    });
    EXPECT_TRUE(diagnosis.isSteady);
    EXPECT_EQ(diagnosis.items(), 22);
    EXPECT_THAT(diagnosis.order.files, ElementsAre(0, 1, 2));
}

TEST_F(DiagnoseTest, Diagnose_FileShrinksMeanwhile_ReadAgain) {
    writeFiles({0, 1});
    writeIndex("0,1");
    const tool::Diagnosis diagnosis = diagnoseWhile([&](int reads) {
        if (reads == 1) {
            write(fileName(0), items(1, 3));
        }
    });
    EXPECT_TRUE(diagnosis.isSteady);
    EXPECT_EQ(diagnosis.items(), 13);
}

TEST_F(DiagnoseTest, Diagnose_FileGrowsMeanwhile_NotedAndNotReadAgain) {
    writeFiles({0, 1});
    writeIndex("0,1");
    int reads = 0;
    const tool::Diagnosis diagnosis = diagnoseWhile([&](int number) {
        reads = number;
        write(fileName(1), items(11, 20 + number));
    });
    EXPECT_EQ(reads, 1);
    EXPECT_TRUE(diagnosis.isSteady);
    EXPECT_THAT(diagnosis.growing, ElementsAre(1));
    EXPECT_EQ(diagnosis.items(), 20);
}

TEST_F(DiagnoseTest, Diagnose_RingNeverHoldsStill_NothingIsBelievedOrRepaired) {
    writeFiles({0, 1});
    const tool::Diagnosis diagnosis =
        diagnoseWhile([&](int reads) { writeIndex("0," + std::to_string(reads % 2)); });
    EXPECT_FALSE(diagnosis.isSteady);
    const auto findings = tool::findingsOf(diagnosis);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings.front().code, "busy");
    const auto directory = tool::StoreDirectory::openForReading(path("log"));
    EXPECT_THROW(tool::planRepair(directory, diagnosis), tool::Failure);
}

TEST_F(CheckTest, Check_WhileRecording_NeverTellsDamage) {
    RunningTool recorder(root_, {"record", "--files", "3", "log"});
    const std::string block = numberedLines("line", 2000);
    for (int round = 0; round < 40; ++round) {
        recorder.feed(block);
        const Outcome run = check({"--files", "3"});
        EXPECT_EQ(run.status, 0) << run.out << run.err;
    }
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
    expectTold(0, {"0 notes"});
}

}  // namespace
}  // namespace test
