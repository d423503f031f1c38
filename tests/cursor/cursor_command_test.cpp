// SPDX-License-Identifier: Apache-2.0
// `jorn export --cursor-file` as users run it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <utility>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using Result = ShippingResult;

class CursorCommandTest : public ::testing::Test, protected ShippedLog {};

TEST_F(CursorCommandTest, To_NewItems_HaveKeysInEveryForm) {
    EXPECT_EQ(ship("--to a.csv").err, "3 items\n");
    EXPECT_EQ(got("a.csv"),
              "time,level,slot,text,device,log,epoch,seq\n1700000000,1,0,a,u1,door,E,1\n"
              "1700000001,1,0,b,u1,door,E,2\n1700000002,1,0,c,u1,door,E,3\n");
    append("u1/door/0.csv", dataLine(3, "d"));
    EXPECT_EQ(ship("--to b.jsonl").err, "1 item\n");
    EXPECT_EQ(got("b.jsonl"),
              "{\"time\":1700000003,\"iso\":\"2023-11-14T22:13:23Z\",\"level\":1,\"slot\":0,\"text\":\"d\","
              "\"device\":\"u1\",\"log\":\"door\",\"epoch\":E,\"seq\":4}\n");
    append("u1/door/0.csv", dataLine(4, "e"));
    EXPECT_EQ(ship("--to c.syslog").err, "1 item\n");
    EXPECT_EQ(got("c.syslog"),
              "<132>1 2023-11-14T22:13:24Z u1 door - - [jorn@32473 level=\"1\" slot=\"0\" device=\"u1\" "
              "log=\"door\" epoch=\"E\" seq=\"5\"] e\n");
    append("u1/door/0.csv", dataLine(5, "f"));
    EXPECT_EQ(ship("--to d.db").err, "1 item\n");
    EXPECT_TRUE(fs::exists(path("d.db")));
}

TEST_F(CursorCommandTest, To_NothingNew_MakesNoFile) {
    ASSERT_EQ(ship("--to a.jsonl").status, 0);
    const Result run = ship("--to b.jsonl");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "0 items\n");
    EXPECT_FALSE(fs::exists(path("b.jsonl")));
}

TEST_F(CursorCommandTest, To_FileIsThere_IsRefusedAndNothingIsShipped) {
    write("a.jsonl", "old");
    const Result run = ship("--to a.jsonl");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "jorn: a.jsonl: already exists; give the name of a new file\n");
    EXPECT_EQ(read("a.jsonl"), "old");
    EXPECT_FALSE(fs::exists(path("c")));
    EXPECT_EQ(ship("--to b.jsonl").err, "3 items\n");
}

TEST_F(CursorCommandTest, WordsThatDoNotGoTogether_AreRefused) {
    EXPECT_EQ(ship("").err,
              "jorn: with --cursor-file, send items to --to FILE or --exec COMMAND: there is no way to know "
              "whether "
              "the reader of standard output has stored them\n");
    EXPECT_EQ(ship("--to -").status, 2);
    EXPECT_EQ(ship("--to a.csv --exec cat").err,
              "jorn: items go to --to FILE or to --exec COMMAND, not to both\n");
    EXPECT_EQ(
        ship("--to a.csv --force").err,
        "jorn: --force: with --cursor-file, FILE must not exist yet: it may hold items that were sent\n");
    EXPECT_EQ(ship("--exec cat -o sqlite").err, "jorn: a database goes to a file; name one with --to\n");
    EXPECT_EQ(ship("--exec cat --every 0s").err,
              "jorn: --every: '0s' is not a time such as 5s, 2m or 1h, of 24 hours at most\n");
    EXPECT_EQ(ship("--status -o csv").err, "jorn: --status is text, or JSON with -o json\n");
    EXPECT_EQ(jorn("--cursor-file c --to a.csv").err,
              "jorn: missing argument: DIR\njorn: see jorn export --help\n");
    EXPECT_EQ(jorn("--exec cat u1/door").status, 2);
    EXPECT_EQ(jorn("--cursor-file u1/door/c --to a.csv u1/door").err,
              "jorn: u1/door/c: is inside the log's own directory; write it elsewhere\n");
    EXPECT_FALSE(fs::exists(path("c")));
}

TEST_F(CursorCommandTest, Exec_Batches_HaveAtMostSoManyItemsAndTheirOwnHeadings) {
    EXPECT_EQ(ship("-o csv --batch 2 --exec 'wc -l >> sizes'").err, "3 items\n");
    EXPECT_EQ(read("sizes"), "3\n2\n");
}

TEST_F(CursorCommandTest, Exec_CommandFails_SameKeysAreSentAgainAndExitCodeIs4) {
    const Result run = ship("--retries 1 --exec 'cat >> got; exit 3'");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err,
              "jorn: note: cat >> got; exit 3: exited with code 3; retrying with the same items in 0.2 s\n"
              "jorn: cat >> got; exit 3: exited with code 3\n");
    const std::string first = read("got");
    append("u1/door/0.csv", dataLine(3, "d"));
    ASSERT_EQ(ship("--exec 'cat > later'").status, 0);
    const std::string later = read("later");
    EXPECT_EQ(first, first.substr(0, first.size() / 2) + first.substr(0, first.size() / 2));
    EXPECT_EQ(later.substr(0, first.size() / 2), first.substr(0, first.size() / 2));
    EXPECT_THAT(later, HasSubstr("\"seq\":4}"));
}

TEST_F(CursorCommandTest, Exec_CommandThatIsKilled_IsToldWithItsSignal) {
    EXPECT_EQ(ship("--retries 0 --exec 'kill -9 $$'").err, "jorn: kill -9 $$: was killed by signal 9\n");
}

TEST_F(CursorCommandTest, Every_SignalDuringABatch_EndsAfterItWithTheItemsShipped) {
    const Result run = ship("--every 1h --exec 'cat > got; kill -TERM $PPID'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "3 items\n");
    EXPECT_EQ(ship("--dry-run").out, "0 items would be sent\n");
}

TEST_F(CursorCommandTest, Every_CommandThatFailsAtFirst_GetsTheItemsInALaterRound) {
    const Result run =
        ship("--every 1ms --retries 0 --exec 'test -e up && cat > got && kill -TERM $PPID || ! touch up'");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("exited with code 1\n3 items\n"));
    EXPECT_THAT(got("got"), HasSubstr("\"seq\":3}"));
}

TEST_F(CursorCommandTest, CursorFileWithANumberThatNoFileHas_IsRefused) {
    ASSERT_EQ(ship("--to a.csv").status, 0);
    const std::string text = read("c");
    const size_t files = text.find("\"files\":[{");
    ASSERT_NE(files, std::string::npos) << text;
    const size_t begin = files + 9;
    const std::string file = text.substr(begin, text.find("}]", begin) + 1 - begin);
    const std::string beyond = std::regex_replace(file, std::regex("\"file\":0"), "\"file\":90");
    ASSERT_NE(beyond, file);
    for (const std::string &bad : {std::string(text).insert(files, "\"replaced\":" + beyond + ","),
                                   std::string(text).replace(begin, file.size(), beyond)}) {
        write("c", bad);
        const Result run = ship("--to b.csv");
        EXPECT_EQ(run.status, 4);
        EXPECT_THAT(run.err, HasSubstr("a data file has a number that it cannot have"));
    }
}

TEST_F(CursorCommandTest, UnfinishedLastLine_WaitsForItsRest) {
    append("u1/door/0.csv", "1700000003,1,0,d");
    EXPECT_EQ(ship("--to a.jsonl").err, "3 items\n");
    append("u1/door/0.csv", "one\n");
    EXPECT_EQ(ship("--to b.jsonl").err, "1 item\n");
    EXPECT_THAT(read("b.jsonl"), HasSubstr("\"text\":\"done\""));
}

TEST_F(CursorCommandTest, DamagedLine_IsLeftOutAndCountedWithExitCode3) {
    append("u1/door/0.csv", "junk\n" + dataLine(3, "d"));
    const Result run = ship("--to a.csv");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err,
              "jorn: note: u1/door/0.csv: 1 line that is not an item, at offset 51; left out\n4 items\n");
    const Result status = ship("--status -o json");
    EXPECT_EQ(std::regex_replace(status.out, std::regex("\"time\":[0-9]+"), "\"time\":T"),
              "{\"device\":\"u1\",\"log\":\"door\",\"directory\":\"" + path("u1/door") +
                  "\",\"epoch\":E,\"seq\":4,"
                  "\"shipped\":4,\"time\":T,\"behind\":0,\"gaps\":0,\"lost\":0,\"damaged\":1,\"pending\":0,"
                  "\"problem\":null,\"notes\":[]}\n");
}

TEST_F(CursorCommandTest, DirectoryThatIsMissing_OthersAreShippedAndExitCodeIs4) {
    const Result run = jorn("--cursor-file c --device u1 --to a.csv gone u1/door");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: note: gone: No such file or directory\n3 items\n");
}

TEST_F(CursorCommandTest, Filter_ItemsThatPass_HaveTheNumbersOfTheirPlaces) {
    append("u1/door/0.csv", dataLine(3, "d", 0) + dataLine(4, "e"));
    ASSERT_EQ(ship("-p 0 --to a.csv").err, "1 item\n");
    EXPECT_THAT(got("a.csv"), HasSubstr(",d,u1,door,E,4\n"));
    EXPECT_EQ(ship("--to b.csv").err, "0 items\n");
}

TEST_F(CursorCommandTest, SecondProcess_IsRefusedWhileTheFirstHasTheCursors) {
    const std::string other =
        JORN_TRACED_TOOL " export --cursor-file c --device u1 --exec cat u1/door 2> other";
    ASSERT_EQ(ship("--exec '" + other + "; true'").status, 0);
    EXPECT_EQ(read("other"), "jorn: c: another jorn is using this cursor file\n");
}

TEST_F(CursorCommandTest, StatusAndDryRun_SayWhatIsToCome) {
    EXPECT_EQ(ship("--dry-run").out,
              "u1/door: 3 items, numbers 1 to 3 of a new epoch\n3 items would be sent\n");
    EXPECT_FALSE(fs::exists(path("c")));
    ASSERT_EQ(ship("--retries 0 --exec false").status, 4);
    append("u1/door/0.csv", dataLine(3, "d"));
    EXPECT_EQ(jorn("--cursor-file c --status").out,
              "log      shipped   last  behind  gaps  lost  damaged  pending\n"
              "u1/door        0  never       4     0     0        0        3\n");
    EXPECT_EQ(ship("--dry-run").out, "u1/door: 4 items, numbers 1 to 4 of epoch E\n4 items would be sent\n");
}

TEST_F(CursorCommandTest, CursorFileThatIsNone_IsRefusedAsAWhole) {
    const std::string anew = "; to begin anew, with new epochs, move the file away\n";
    const std::string head = "{\"kind\":\"jorn cursors\",\"version\":2,\"logs\":1}\n";
    const std::pair<std::string, std::string> bad[] = {
        {"", "jorn: c:1: is not a line of a cursor file" + anew},
        {"{}\n", "jorn: c:1: is not a cursor file" + anew},
        {"{\"kind\":\"jorn cursors\",\"version\":1,\"logs\":0}\n",
         "jorn: c:1: is of version 1, and this jorn knows version 2" + anew},
        {head, "jorn: c:2: is incomplete" + anew},
        {head + "{\"device\":\"u1\"}\n", "jorn: c:2: is not a line of a cursor file" + anew},
    };
    for (const auto &[text, message] : bad) {
        write("c", text);
        const Result run = ship("--to a.csv");
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, message);
        EXPECT_EQ(read("c"), text);
    }
}

/// What is kept meanwhile must not take the order of the files from what is there.
TEST_F(CursorCommandTest, RingThatMovedOnWhileItsIndexWasLost_SendsWhatIsNew) {
    const auto lines = [](int first, int items) {
        std::string text;
        for (int i = first; i < first + items; ++i) {
            text += dataLine(i, "item");
        }
        return text;
    };
    for (int file = 0; file < 3; ++file) {
        write("u1/door/" + std::to_string(file) + ".csv", lines(100 * file, 40));
    }
    write("u1/door/index.csv", "version:1\n0,2\n");
    ASSERT_EQ(ship("--files 4 --to a.csv").err, "120 items\n");
    fs::remove(path("u1/door/index.csv"));
    ASSERT_EQ(ship("--files 4 --to b.csv").status, 4);
    append("u1/door/2.csv", lines(240, 10));
    write("u1/door/3.csv", lines(300, 40));
    write("u1/door/0.csv", lines(400, 20));
    write("u1/door/index.csv", "version:1\n1,0\n");
    EXPECT_EQ(ship("--files 4 --to c.csv").err, "70 items\n");
    EXPECT_THAT(got("c.csv"), HasSubstr("\n1700000240,1,0,item,u1,door,E,121\n"));
}

TEST_F(CursorCommandTest, RingThatMovedOnPastThePlace_LeavesAGapAndANote) {
    write("u1/door/1.csv", dataLine(3, "d"));
    write("u1/door/index.csv", "version:1\n0,1\n");
    ASSERT_EQ(ship("--to a.csv").err, "4 items\n");
    write("u1/door/0.csv", dataLine(10, "k"));
    write("u1/door/1.csv", dataLine(11, "l"));
    const Result run = ship("--to b.csv");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "jorn: note: u1/door: written faster than it was read: items may be gone\n2 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr(",k,u1,door,E,5004\n1700000011,1,0,l,u1,door,E,5005\n"));
}

/// A device without a clock that begins each time with the same items.
TEST_F(CursorCommandTest, RingThatCameRoundToTheSameFewItems_IsToldByTheFileBeforeThem) {
    std::string boot;
    for (int i = 0; i < 5; ++i) {
        boot += "1700000000,1,0,boot\n";
    }
    write("u1/door/1.csv", boot);
    write("u1/door/index.csv", "version:1\n0,1\n");
    ASSERT_EQ(ship("--to a.csv").err, "8 items\n");
    write("u1/door/0.csv", dataLine(9, "x") + dataLine(9, "y") + dataLine(9, "z"));
    write("u1/door/1.csv", boot + dataLine(9, "open"));
    EXPECT_EQ(ship("--to b.csv").err,
              "jorn: note: u1/door: written faster than it was read: items may be gone\n9 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr(",x,u1,door,E,5004\n"));
}

TEST_F(CursorCommandTest, ClosedFileThatHasGotMoreItems_IsAnother) {
    const std::string boot = dataLine(0, "a") + dataLine(0, "b");
    write("u1/door/0.csv", boot);
    write("u1/door/1.csv", dataLine(0, "c"));
    write("u1/door/index.csv", "version:1\n0,1\n");
    ASSERT_EQ(ship("--to a.csv").err, "3 items\n");
    append("u1/door/0.csv", dataLine(9, "x"));
    write("u1/door/1.csv", dataLine(9, "y"));
    ASSERT_THAT(ship("--to b.csv").err, HasSubstr("items may be gone\n4 items\n"));
    EXPECT_THAT(got("b.csv"), HasSubstr(",x,u1,door,E,"));
}

TEST_F(CursorCommandTest, ItemsBeforeAClearing_AreSentThoughTheyAreOutOfView) {
    ASSERT_EQ(ship("--to a.csv").err, "3 items\n");
    append("u1/door/0.csv", dataLine(3, "d"));
    write("u1/door/1.csv", dataLine(4, "Log all cleared!", 3));
    write("u1/door/index.csv", "version:1\n1,1\n");
    EXPECT_EQ(ship("--to b.csv").err, "2 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr(",d,u1,door,E,4\n1700000004,3,0,Log all cleared!,u1,door,E,5\n"));
}

TEST_F(CursorCommandTest, RingThatMovedOnPastWholeFiles_LostAtLeastAnItemOfEach) {
    for (int file = 1; file < 4; ++file) {
        write("u1/door/" + std::to_string(file) + ".csv", dataLine(3 + file, "d"));
    }
    write("u1/door/index.csv", "version:1\n0,3\n");
    ASSERT_EQ(ship("--to a.csv").err, "6 items\n");
    for (int file = 0; file < 4; ++file) {
        write("u1/door/" + std::to_string(file) + ".csv", dataLine(20 + file, "e"));
    }
    write("u1/door/index.csv", "version:1\n2,1\n");
    EXPECT_EQ(ship("--to b.csv").err,
              "jorn: note: u1/door: written faster than it was read: at least 2 items are gone\n4 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("1700000022,1,0,e,u1,door,E,15006\n"));
}

TEST_F(CursorCommandTest, ItemsDamagedAfterTheyWereSent_GiveTheOthersNoOtherNumbers) {
    for (int i = 3; i < 40; ++i) {
        append("u1/door/0.csv", dataLine(i, "item " + std::to_string(i)));
    }
    ASSERT_EQ(ship("--to a.csv").err, "40 items\n");
    std::string lines = read("u1/door/0.csv");
    for (const char *const text : {"item 17\n", "item 38\n"}) {
        lines.replace(lines.find(text) - 15, 22, 22, '#');
    }
    write("u1/door/0.csv", lines + dataLine(40, "new"));
    EXPECT_EQ(ship("--to b.csv").err, "1 item\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("1700000040,1,0,new,u1,door,E,41\n"));
}

TEST_F(CursorCommandTest, ItemsDamagedAfterATransferThatFailed_LeaveTheirNumbersUnused) {
    ASSERT_EQ(ship("--retries 0 --exec false").status, 4);
    std::string lines = read("u1/door/0.csv");
    lines.replace(lines.find("\n") + 1, 16, 16, '#');
    write("u1/door/0.csv", lines);
    EXPECT_THAT(ship("--to b.csv").err,
                HasSubstr("1 item was damaged after a transfer whose outcome is unknown"));
    EXPECT_THAT(got("b.csv"), HasSubstr("a,u1,door,E,1\n"));
    EXPECT_THAT(got("b.csv"), HasSubstr("c,u1,door,E,3\n"));
}

class UnreadableFileTest : public CursorCommandTest {
protected:
    /// All but 1.csv, which is then to be written.
    void shipPastUnreadableFile() {
        ASSERT_EQ(ship("--to a.csv").err, "3 items\n");
        write("u1/door/index.csv", "version:1\n0,2\n");
        fs::create_directory(path("u1/door/1.csv"));
        write("u1/door/2.csv", dataLine(9, "last"));
        EXPECT_EQ(ship("--to b.csv").status, 3);
        fs::remove(path("u1/door/1.csv"));
    }
};

TEST_F(UnreadableFileTest, FileThatCanBeReadLater_HasNumbersBeforeThoseOfLaterFiles) {
    shipPastUnreadableFile();
    EXPECT_THAT(got("b.csv"), HasSubstr("last,u1,door,E,5004\n"));
    write("u1/door/1.csv", dataLine(5, "late"));
    EXPECT_EQ(ship("--to c.csv").err, "1 item\n");
    EXPECT_THAT(got("c.csv"), HasSubstr("late,u1,door,E,4\n"));
    append("u1/door/2.csv", dataLine(10, "next"));
    EXPECT_EQ(ship("--to d.csv").err, "1 item\n");
    EXPECT_THAT(got("d.csv"), HasSubstr("next,u1,door,E,5005\n"));
}

TEST_F(UnreadableFileTest, FileThatTurnsOutToBeEmpty_LeavesACursorThatCanBeRead) {
    shipPastUnreadableFile();
    write("u1/door/1.csv", "");
    append("u1/door/2.csv", dataLine(10, "next"));
    EXPECT_EQ(ship("--to c.csv").err, "1 item\n");
    append("u1/door/2.csv", dataLine(11, "more"));
    EXPECT_EQ(ship("--to d.csv").err, "1 item\n");
}

TEST_F(CursorCommandTest, RingThatWasEnlarged_SendsNothingAgain) {
    for (int file = 0; file < 3; ++file) {
        std::string lines;
        for (int i = 0; i < 40; ++i) {
            lines += dataLine(file * 100 + i, "item");
        }
        write("u1/door/" + std::to_string(file) + ".csv", lines);
    }
    write("u1/door/index.csv", "version:1\n2,1\n");
    ASSERT_EQ(ship("--to a.csv").err, "120 items\n");
    fs::rename(path("u1/door/2.csv"), path("u1/door/7.csv"));
    write("u1/door/index.csv", "version:1\n7,1\n");
    write("u1/door/2.csv", dataLine(300, "new"));
    write("u1/door/index.csv", "version:1\n7,2\n");
    EXPECT_EQ(ship("--to b.csv").err, "1 item\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("1700000300,1,0,new,u1,door,E,121\n"));
}

/// The next file stays as it was until the first item comes.
TEST_F(CursorCommandTest, LogThatWasClearedWithoutAnItem_SendsNothingAgain) {
    write("u1/door/1.csv", dataLine(3, "d"));
    write("u1/door/2.csv", dataLine(4, "e"));
    write("u1/door/index.csv", "version:1\n0,2\n");
    ASSERT_EQ(ship("--to a.csv").err, "5 items\n");
    write("u1/door/index.csv", "version:1\n0,0\n");
    EXPECT_EQ(ship("--to b.csv").err, "0 items\n");
    write("u1/door/0.csv", dataLine(5, "new"));
    EXPECT_EQ(ship("--to c.csv").err, "1 item\n");
    EXPECT_THAT(got("c.csv"), HasSubstr(",new,u1,door,E,6\n"));
}

TEST_F(CursorCommandTest, LogThatCameBack_GoesOnInItsEpoch) {
    for (int i = 3; i < 12; ++i) {
        append("u1/door/0.csv", dataLine(i, "item"));
    }
    ASSERT_EQ(ship("--to a.csv").err, "12 items\n");
    fs::rename(path("u1/door"), path("u1/aside"));
    writeLog("u1/door", dataLine(-100, "other"));
    EXPECT_THAT(ship("--to b.csv").err, HasSubstr("a new epoch begins\n1 item\n"));
    fs::remove_all(path("u1/door"));
    fs::rename(path("u1/aside"), path("u1/door"));
    append("u1/door/0.csv", dataLine(12, "new"));
    EXPECT_EQ(ship("--to c.csv").err, "1 item\n");
    EXPECT_THAT(got("c.csv"), HasSubstr(",new,u1,door,E,13\n"));
}

}  // namespace
}  // namespace test
