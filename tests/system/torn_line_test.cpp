// SPDX-License-Identifier: Apache-2.0
// A last line that was cut off: what a recorder does with it before it goes on, and what `jorn check` reports
// about lines that ran together where no recorder did so.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "damaged_log.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kGivenAnEnd[] = "jorn: log/0.csv: the last line had no line end; it has one now\n";

std::string movedMessage(const std::string &file, size_t bytes, const std::string &to) {
    return "jorn: log/" + file + ": the last line was cut off; its " + std::to_string(bytes) + " byte" +
           (bytes == 1 ? "" : "s") + " are kept in log/" + to + "\n";
}

class TornLineTest : public DamagedLogTest {
protected:
    /// A log of one file that holds an item and then a piece without a line end.
    void makeTorn(const std::string &piece) const {
        write(fileName(0), items(1, 1) + piece);
        writeIndex("0,0");
    }

    Outcome record(const std::string &input = "") const {
        return jorn({"record", "log"}, {input, "", {}, {}});
    }

    /// What the recorder left in a file before its own first item.
    std::string beforeStart(int position = 0) const {
        const std::string bytes = read(fileName(position));
        const size_t text = bytes.rfind(",3,0,Log start init!\n");
        if (text == std::string::npos) {
            return "no start in: " + bytes;
        }
        return bytes.substr(0, bytes.find_last_not_of("0123456789", text - 1) + 1);
    }

    void expectGivenAnEnd(const std::string &piece) const {
        makeTorn(piece);
        const Outcome run = record();
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_THAT(run.err, StartsWith(kGivenAnEnd));
        EXPECT_EQ(beforeStart(), items(1, 1) + piece + "\n");
        EXPECT_FALSE(exists("log/torn-0.txt"));
    }

    void expectMoved(const std::string &piece) const {
        makeTorn(piece);
        fs::remove(path("log/torn-0.txt"));
        const Outcome run = record();
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, movedMessage("0.csv", piece.size(), "torn-0.txt"));
        EXPECT_EQ(beforeStart(), items(1, 1));
        EXPECT_EQ(read("log/torn-0.txt"), piece);
    }
};

TEST_F(TornLineTest, Record_LineCutAnywhere_WholeItemKeptAndPieceMoved) {
    const std::string line = "1700000001,1,5,door open";
    const size_t fourFields = std::string("1700000001,1,5,").size();
    for (size_t length = 1; length <= line.size(); ++length) {
        SCOPED_TRACE(length);
        length < fourFields ? expectMoved(line.substr(0, length)) : expectGivenAnEnd(line.substr(0, length));
        const Outcome checked = check();
        EXPECT_EQ(checked.status, 0);
        EXPECT_EQ(checked.out, "log: sound (0 errors, 0 warnings, 0 notes)\n");
        fs::remove(path("log/torn-0.txt"));
    }
}

TEST_F(TornLineTest, Record_LastLineHasItsEnd_NothingIsDoneOrSaid) {
    makeTorn("");
    const Outcome run = record();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(beforeStart(), items(1, 1));
}

TEST_F(TornLineTest, Record_NothingButAPiece_Moved) {
    write(fileName(0), "17953");
    writeIndex("0,0");
    // The store itself also prints what it finds in the file.
    EXPECT_THAT(record().err, StartsWith(movedMessage("0.csv", 5, "torn-0.txt")));
    EXPECT_EQ(beforeStart(), "");
    EXPECT_EQ(read("log/torn-0.txt"), "17953");
}

TEST_F(TornLineTest, Record_NoIndex_PieceInTheFirstFileMoved) {
    write(fileName(0), items(1, 1) + "17953");
    EXPECT_THAT(record().err, HasSubstr(movedMessage("0.csv", 5, "torn-0.txt")));
    EXPECT_EQ(beforeStart(), items(1, 1));
}

TEST_F(TornLineTest, Record_PieceIsNoItem_Moved) {
    expectMoved("\r");
    expectMoved(",,,,");
    expectMoved("1,,2,3");
    expectMoved("a,b,c,text");
    expectMoved("\xff\xfe,garbage");
}

TEST_F(TornLineTest, Record_ZerosAtTheEnd_Moved) {
    expectMoved(std::string(1, '\0'));
    expectMoved(std::string(100000, '\0'));
    expectMoved("17000" + std::string(20, '\0'));
}

TEST_F(TornLineTest, Record_ZerosWithinTheText_ItemStays) {
    expectGivenAnEnd("1700000001,1,5,do" + std::string(20, '\0'));
}

TEST_F(TornLineTest, Record_ItemAfterZeros_StaysForTheRepair) {
    expectGivenAnEnd(std::string(5000, '\0') + "1700000001,1,5,door");
}

TEST_F(TornLineTest, Record_LineOfSeveralPieces_PiecesThatAreItemsStay) {
    const std::string first = "1700000001,1,5," + std::string(241, 'x');
    ASSERT_EQ(first.size(), 256U);
    expectGivenAnEnd(first);
    makeTorn(first + "rest");
    EXPECT_EQ(record().err, movedMessage("0.csv", 4, "torn-0.txt"));
    EXPECT_EQ(beforeStart(), items(1, 1) + first + "\n");
    EXPECT_EQ(read("log/torn-0.txt"), "rest");
}

TEST_F(TornLineTest, Record_LongGarbage_MovedWhole) { expectMoved(std::string(300000, 'g')); }

TEST_F(TornLineTest, Record_NewestFileIsAnother_OnlyItsLineIsEnded) {
    write(fileName(0), items(1, 1) + "17");
    write(fileName(1), items(2, 2) + "1700000002,1,");
    writeIndex("0,1");
    EXPECT_THAT(record().err, StartsWith(movedMessage("1.csv", 13, "torn-0.txt")));
    EXPECT_EQ(read(fileName(0)), items(1, 1) + "17");
    EXPECT_EQ(beforeStart(1), items(2, 2));
}

TEST_F(TornLineTest, Record_FilesMoveFirst_LineOfTheNewestEnded) {
    writeFiles({3, 4});
    write(fileName(5), items(21, 21) + "17");
    writeIndex("3,5");
    const Outcome run = jorn({"record", "--files", "3", "--shrink", "log"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "jorn: log: 3 files renamed or deleted to fit a ring of 3 files\n" +
                           movedMessage("2.csv", 2, "torn-0.txt"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,2\n");
    EXPECT_EQ(read("log/torn-0.txt"), "17");
    EXPECT_EQ(beforeStart(2), items(21, 21));
}

TEST_F(TornLineTest, Record_AgainAndAgain_EachPieceHasAFileOfItsOwn) {
    makeTorn("17");
    ASSERT_EQ(record().status, 0);
    write(fileName(0), read(fileName(0)) + "18");
    EXPECT_EQ(record().err, movedMessage("0.csv", 2, "torn-1.txt"));
    EXPECT_EQ(read("log/torn-0.txt"), "17");
    EXPECT_EQ(read("log/torn-1.txt"), "18");
}

TEST_F(TornLineTest, Record_NamesAreTaken_NextFreeOneAndNeverThroughALink) {
    makeTorn("17");
    write("log/torn-0.txt", "of somebody");
    fs::create_symlink(path("outside"), path("log/torn-1.txt"));
    makeDirectory("log/torn-2.txt");
    ASSERT_EQ(mkfifo(path("log/torn-3.txt").c_str(), 0600), 0);
    EXPECT_EQ(record().err, movedMessage("0.csv", 2, "torn-4.txt"));
    EXPECT_EQ(read("log/torn-0.txt"), "of somebody");
    EXPECT_FALSE(exists("outside"));
}

TEST_F(TornLineTest, Record_PieceCannotBeKept_FailsAndChangesNothing) {
    makeTorn(std::string(5000, 'g'));
    Setting small;
    small.fileSizeLimit = 4096;
    const std::string before = read(fileName(0));
    const Outcome run = jorn({"record", "log"}, small);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/torn-0.txt: File too large\n");
    EXPECT_EQ(read(fileName(0)), before);
    EXPECT_FALSE(exists("log/torn-0.txt"));
}

TEST_F(TornLineTest, Record_FileCannotTakeTheLineEnd_Fails) {
    makeTorn("1700000001,1,5,door");
    Setting full;
    full.fileSizeLimit = read(fileName(0)).size();
    const Outcome run = jorn({"record", "log"}, full);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/0.csv: File too large\n");
    EXPECT_EQ(read(fileName(0)), items(1, 1) + "1700000001,1,5,door");
}

TEST_F(TornLineTest, Record_FirstOfTheInput_StandsOnItsOwn) {
    makeTorn("1700000001,1,5,do");
    ASSERT_EQ(record("AFTER\n").status, 0);
    EXPECT_THAT(textsIn(fileName(0)), ElementsAre(itemTexts(1, 1).front(), "do", "Log start init!", "AFTER"));
}

/// Ends the recorder at its k-th call that changes a file, for every k, and starts it again.
TEST_F(TornLineTest, Record_KilledAtAnyChange_NoByteLostAndNoLineGlued) {
    if (!TracedRun::isPossible()) {
        GTEST_SKIP() << TracedRun::obstacle();
    }
    const std::string whole = "1700000001,1,5," + std::string(241, 'x');
    const std::string piece = "piece";
    bool isWhole = false;
    size_t kills = 0;
    for (; !isWhole; ++kills) {
        fs::remove_all(path("log"));
        makeDirectory("log");
        makeTorn(whole + piece);
        TraceOptions options;
        options.directory = root_;
        TracedRun run(jornCommand({"record", "log"}), options);
        size_t changes = 0;
        run.onCall([&](const SystemCall &call) {
            const bool isChange = call.isEntry() && call.changesFiles();
            return isChange && changes++ == kills ? Action::kill() : Action::proceed();
        });
        isWhole = run.wait().status == 0;
        const std::string left = read(fileName(0));
        ASSERT_EQ(left.compare(0, (items(1, 1) + whole).size(), items(1, 1) + whole), 0) << kills;
        const bool isKept = exists("log/torn-0.txt") && read("log/torn-0.txt") == piece;
        ASSERT_TRUE(isKept || left == items(1, 1) + whole + piece) << kills;
        ASSERT_EQ(record("AFTER\n").status, 0);
        EXPECT_EQ(read("log/torn-0.txt"), piece);
        EXPECT_EQ(
            read(fileName(0)).compare(0, (items(1, 1) + whole + "\n1").size(), items(1, 1) + whole + "\n1"),
            0);
        const Outcome checked = check();
        EXPECT_EQ(checked.status, 0) << checked.out;
        EXPECT_EQ(checked.out.find("run together"), std::string::npos) << checked.out;
    }
    EXPECT_GT(kills, 6U);
}

TEST_F(TornLineTest, Record_PieceMoved_OnTheMediumBeforeTheFileLosesIt) {
    if (!TracedRun::isPossible()) {
        GTEST_SKIP() << TracedRun::obstacle();
    }
    makeTorn("piece");
    TraceOptions options;
    options.directory = root_;
    TracedRun run(jornCommand({"record", "log"}), options);
    ASSERT_EQ(run.wait().status, 0);
    std::vector<std::string> steps;
    int keptIn = -1;
    for (const SystemCall &call : run.calls()) {
        if (call.is("write") && call.bytes == "piece") {
            keptIn = call.fd;
            steps.emplace_back("write");
        } else if (call.is("fsync") && keptIn >= 0) {
            steps.push_back(call.fd == keptIn                ? "sync piece"
                            : call.path == path("log")       ? "sync names"
                            : call.path == path("log/0.csv") ? "sync file"
                                                             : "sync " + call.path);
        } else if (call.is("linkat") || call.isRename()) {
            steps.emplace_back("name");
        } else if (call.is("ftruncate")) {
            steps.emplace_back("truncate");
        }
        if (!steps.empty() && steps.back() == "sync file") {
            break;
        }
    }
    EXPECT_THAT(steps, ElementsAre("write", "sync piece", "name", "sync names", "truncate", "sync file"));
}

class RunTogetherTest : public DamagedLogTest {
protected:
    void write1(const std::string &line) const {
        write(fileName(0), items(1, 1) + line + "\n");
        writeIndex("0,0");
    }

    void expectNote(const std::string &line) const {
        write1(line);
        const Outcome run = check();
        EXPECT_EQ(run.status, 0) << run.out;
        // A wrong time may be reported as well.
        EXPECT_EQ(
            run.out.rfind("log/0.csv:27: note: 1 line that looks like two run together, the first one cut "
                          "off\nlog",
                          0),
            0U)
            << line << "\n"
            << run.out;
    }

    void expectNothing(const std::string &line) const {
        write1(line);
        const Outcome run = check();
        EXPECT_EQ(run.out.find("run together"), std::string::npos) << run.out;
    }
};

TEST_F(RunTogetherTest, Check_LineCutAnywhereAndGlued_Note) {
    const std::string line = "1700000001,1,5,door open";
    // A line that is cut before its second digit leaves nothing that could be distinguished from a number.
    for (size_t length = 1; length <= line.size(); ++length) {
        SCOPED_TRACE(length);
        expectNote(line.substr(0, length) + "1700000099,3,0,Log start init!");
        expectNote(line.substr(0, length) + "1700000099,2,7,other, item");
    }
}

TEST_F(RunTogetherTest, Check_ClockWasSetBackBeforeTheStart_Note) {
    expectNote("1700000001,1,5,do1600000099,3,0,Log start init!");
    expectNote("1700000001,1,5,do1700000001,3,0,Log start init!");
}

TEST_F(RunTogetherTest, Check_TimeOfNineDigits_Note) {
    expectNote("900000001,1,5,do900000002,0,0,text");
    expectNote("900000001,1,5,900000002,0,0,text");
}

TEST_F(RunTogetherTest, Check_TextsWithNumbersAndCommas_NoNote) {
    expectNothing("1700000001,1,5,values 12345678,1,2,3");
    expectNothing("1700000001,1,5,values 1700000099,4,2,3");
    expectNothing("1700000001,1,5,values 1700000099,1,8,3");
    expectNothing("1700000001,1,5,values 1700000099,1,2");
    expectNothing("1700000001,1,5,values 1700000099,12,2,x");
    expectNothing("1700000001,1,5,values 1700000099,1,22,x");
    expectNothing("1700000001,1,5,values 5700000099,1,2,x");
    expectNothing("1700000001,1,5,values 1700000099, 1,2,x");
    // A line of an older log, or of the same one, that was passed on.
    expectNothing("1700000001,1,5,1600000099,2,7,other, item");
    expectNothing("1700000001,1,5,1700000001,2,7,other, item");
}

TEST_F(RunTogetherTest, CheckJson_Glued_Code) {
    write1("1700000001,1,5,do1700000099,3,0,Log start init!");
    EXPECT_THAT(check({"-o", "json"}).out, HasSubstr("\"code\":\"run-together\""));
}

}  // namespace
}  // namespace test
