// SPDX-License-Identifier: Apache-2.0
// `jorn record`: lines, paths, signals, failures.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class RecordTest : public ToolTest {
protected:
    /// Records into "log" and returns the texts that arrived after the store's own first item.
    std::vector<std::string> recordedTexts(const std::string &input,
                                           const std::vector<std::string> &options = {}) {
        std::vector<std::string> arguments = {"record", "log"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        run_ = jorn(arguments, {input, "", {}, {}});
        EXPECT_EQ(run_.status, 0) << run_.err;
        EXPECT_EQ(run_.out, "");
        std::vector<std::string> texts = textsIn("log/0.csv");
        EXPECT_EQ(texts.at(0), "Log start init!");
        texts.erase(texts.begin());
        return texts;
    }

    Outcome run_;
};

TEST_F(RecordTest, Record_FewLines_ShownInTheirOrder) {
    EXPECT_THAT(recordedTexts("one\ntwo, with a comma\nthree\n"),
                ElementsAre("one", "two, with a comma", "three"));
    EXPECT_EQ(run_.err, "");
    const Outcome show = jorn({"show", "log", "-p", "2"});
    EXPECT_EQ(show.status, 0);
    EXPECT_THAT(shownTexts(show.out), ElementsAre("one", "two, with a comma", "three"));
    EXPECT_EQ(show.err, "");
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
    EXPECT_FALSE(exists("log/index.bak"));
}

TEST_F(RecordTest, Record_EmptyInput_LeavesFirstItemOnly) {
    EXPECT_THAT(recordedTexts(""), IsEmpty());
    EXPECT_EQ(jorn({"show", "log", "-p", "2", "--page", "1"}).err, "no items\n");
}

TEST_F(RecordTest, Record_LevelAndSlot_ReachTheItems) {
    recordedTexts("x\n", {"-l", "2", "-s", "5"});
    EXPECT_THAT(linesOf(read("log/0.csv")).at(1), EndsWith(",2,5,x"));
}

TEST_F(RecordTest, Record_NoLevel_Information) {
    recordedTexts("x\n");
    EXPECT_THAT(linesOf(read("log/0.csv")).at(1), EndsWith(",2,0,x"));
}

TEST_F(RecordTest, RecordPrefixLevels_Severities_BecomeTheLevelsThatExportMapsBack) {
    recordedTexts("<0>a\n<1>b\n<2>c\n<3>d\n<4>e\n<5>f\n<6>g\n<7>h\n<8>i\n<6>\n",
                  {"--prefix-levels", "-l", "1"});
    std::vector<std::string> fields;
    for (const std::string &line : linesOf(read("log/0.csv"))) {
        fields.push_back(line.substr(line.find(',') + 1));
    }
    fields.erase(fields.begin());
    EXPECT_THAT(fields, ElementsAre("0,0,a", "0,0,b", "0,0,c", "0,0,d", "1,0,e", "2,0,f", "2,0,g", "3,0,h",
                                    "1,0,<8>i", "2,0,"));
    const std::vector<std::string> messages =
        linesOf(jorn({"export", "-o", "syslog", "--facility", "kern", "log"}).out);
    EXPECT_EQ(messages.at(4).substr(0, 4), "<3>1");
    EXPECT_EQ(messages.at(5).substr(0, 4), "<4>1");
    EXPECT_EQ(messages.at(7).substr(0, 4), "<6>1");
    EXPECT_EQ(messages.at(8).substr(0, 4), "<7>1");
}

TEST_F(RecordTest, RecordStats_ToldAtTheEnd) {
    const std::string input = numberedLines("line", 11000) + std::string(300, 'x') + "\nlast";
    const Outcome run = jorn({"record", "--stats", "--split", "log"}, {input, "", {}, {}});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err,
                ::testing::MatchesRegex("jorn: 11002 lines, 11003 items, " + std::to_string(input.size()) +
                                        " bytes, 0 lines cut, 2 files passed, [0-9.]+ s, [0-9]+ items/s\n"));
}

TEST_F(RecordTest, RecordStatsJson_ToldAtTheEnd) {
    const Outcome run =
        jorn({"record", "--stats", "-o", "json", "log"}, {std::string(300, 'x') + "\nb\n", "", {}, {}});
    EXPECT_THAT(run.err, HasSubstr("were cut: 1 "));
    EXPECT_THAT(run.err,
                HasSubstr("\n{\"lines\":2,\"items\":2,\"bytes\":303,\"cut_lines\":1,\"files_passed\":0,"));
}

TEST_F(RecordTest, RecordStats_MediumFull_CountsWhatIsInTheFiles) {
    const Setting small = {numberedLines("line", 3000), "", {}, 20000};
    const Outcome run = jorn({"record", "--stats", "log"}, small);
    EXPECT_EQ(run.status, 4);
    const std::string stored = read("log/0.csv");
    const auto whole = std::count(stored.begin(), stored.end(), '\n') - 1;
    EXPECT_THAT(run.err, HasSubstr(" lines, " + std::to_string(whole) + " items, "));
}

TEST_F(RecordTest, Record_EmptyLines_AreItems) {
    EXPECT_THAT(recordedTexts("\n\nx\n\n"), ElementsAre("", "", "x", ""));
}

TEST_F(RecordTest, Record_NoLineFeedAtEnd_StoresLastLine) {
    EXPECT_THAT(recordedTexts("one\nlast"), ElementsAre("one", "last"));
}

TEST_F(RecordTest, Record_CrLf_DropsCarriageReturn) {
    EXPECT_THAT(recordedTexts("one\r\ntwo\r\r\na\rb\n\r\n"), ElementsAre("one", "two ", "a b", ""));
}

TEST_F(RecordTest, Record_Nul_BecomesBlank) {
    EXPECT_THAT(recordedTexts(std::string("a\0b\n\0\n", 6)), ElementsAre("a b", " "));
}

TEST_F(RecordTest, Record_BytesAbove127_Unchanged) {
    EXPECT_THAT(recordedTexts("gr\xc3\xbc\xc3\x9f\xff\n"), ElementsAre("gr\xc3\xbc\xc3\x9f\xff"));
}

TEST_F(RecordTest, Record_LongLines_CutAt198AndCounted) {
    const std::string whole(198, 'a');
    const std::string tooLong = std::string(198, 'b') + "c";
    EXPECT_THAT(recordedTexts(whole + "\n" + tooLong + "\r\n" + tooLong + "\nend\n"),
                ElementsAre(whole, std::string(198, 'b'), std::string(198, 'b'), "end"));
    EXPECT_EQ(run_.err,
              "jorn: warning: lines longer than 198 bytes were cut: 2 (--split keeps the whole line)\n");
}

TEST_F(RecordTest, Record_Exactly198BytesAndCrLf_NotCounted) {
    EXPECT_THAT(recordedTexts(std::string(198, 'a') + "\r\n"), ElementsAre(std::string(198, 'a')));
    EXPECT_EQ(run_.err, "");
}

TEST_F(RecordTest, RecordSplit_LongLines_NoByteLost) {
    const std::string line = std::string(198, 'a') + std::string(198, 'b');
    EXPECT_THAT(recordedTexts(line + "\n" + line + "c\n", {"--split"}),
                ElementsAre(std::string(198, 'a'), std::string(198, 'b'), std::string(198, 'a'),
                            std::string(198, 'b'), "c"));
    EXPECT_EQ(run_.err, "");
}

TEST_F(RecordTest, RecordSplit_LineOfAMillionBytes_NoByteLost) {
    std::string line;
    while (line.size() < 1000000) {
        line += std::to_string(line.size()) + " ";
    }
    std::string joined;
    recordedTexts("", {});
    ASSERT_EQ(jorn({"record", "--split", "log"}, {line + "\n", "", {}, {}}).status, 0);
    for (const char *name : {"log/0.csv", "log/1.csv"}) {
        for (const std::string &text : textsIn(name)) {
            joined += text == "Log start init!" ? "" : text;
        }
    }
    EXPECT_EQ(joined, line);
}

TEST_F(RecordTest, Record_Again_GoesOnInTheSameFile) {
    recordedTexts("one\n");
    ASSERT_EQ(jorn({"record", "log"}, {"two\n", "", {}, {}}).status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre("Log start init!", "one", "Log start init!", "two"));
}

TEST_F(RecordTest, Record_TornLastLine_LosesNoLineOfTheInput) {
    makeDirectory("log");
    write("log/index.csv", "version:1\n0,0\n");
    write("log/0.csv", dataLine(1700000000, 1, 0, "whole") + "1700000001,1,0,to");
    EXPECT_EQ(jorn({"record", "log"}, {"new\n", "", {}, {}}).status, 0);
    EXPECT_EQ(textsIn("log/0.csv").back(), "new");
}

TEST_F(RecordTest, Record_LongPath_Works) {
    const std::string part(100, 'p');
    const std::string name = part + "/" + part + "/with a blank/log";
    makeDirectory(part + "/" + part + "/with a blank");
    EXPECT_EQ(jorn({"record", name}, {"x\n", "", {}, {}}).status, 0);
    EXPECT_THAT(shownTexts(jorn({"show", path(name), "-p", "2"}).out), ElementsAre("x"));
    const Setting inside = {"y\n", path(part), {}, {}};
    EXPECT_EQ(jorn({"record", part + "/../" + part + "/with a blank/log/"}, inside).status, 0);
    EXPECT_THAT(shownTexts(jorn({"show", name, "-p", "2"}).out), ElementsAre("x", "y"));
}

TEST_F(RecordTest, Record_MissingDirectory_MadeWithOneLevelOnly) {
    EXPECT_EQ(jorn({"record", "new"}).status, 0);
    EXPECT_TRUE(exists("new/0.csv"));
    const Outcome run = jorn({"record", "no/such"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err,
              "jorn: no/such: cannot be created: the directory no is missing; --parents creates it\n");
}

TEST_F(RecordTest, Record_DirectoryIsFile_Refused) {
    write("file", "");
    const Outcome run = jorn({"record", "file"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: file: Not a directory\n");
}

/// The recorder closes its file whenever the input pauses, so what it has read can be seen while it runs.
/// What this process, and those that it starts, do about a signal.
class SignalDisposition {
public:
    SignalDisposition(int number, void (*wanted)(int)) : number_(number), former_(::signal(number, wanted)) {}
    ~SignalDisposition() { ::signal(number_, former_); }
    SignalDisposition(const SignalDisposition &) = delete;
    SignalDisposition &operator=(const SignalDisposition &) = delete;

private:
    int number_;
    void (*former_)(int);
};

class StreamTest : public RecordTest {
protected:
    StreamTest() { makeDirectory("log"); }

    int storedLines() const {
        int count = 0;
        for (int position = 0; exists("log/" + std::to_string(position) + ".csv"); ++position) {
            count += static_cast<int>(linesOf(read("log/" + std::to_string(position) + ".csv")).size());
        }
        return count;
    }

    /// Waits until `lines` lines of the input are in the files.
    void waitForLines(int lines) {
        CloseWatch watch(path("log"));
        watch.waitUntil([&] { return storedLines() == lines + 1; });
    }

    void expectCleanEndBy(int signalNumber) {
        const SignalDisposition usual(signalNumber, SIG_DFL);  // whatever the tests were started with
        RunningTool tool(root_, {"record", "log"});
        tool.feed(numberedLines("line", 7000));
        waitForLines(7000);
        // Signal and bytes are both there when the recorder looks again.
        tool.halt();
        tool.feed("in the pipe\npartial");
        tool.signal(signalNumber);
        tool.resume();
        const Outcome run = tool.wait();
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        std::vector<std::string> texts = textsIn("log/0.csv");
        const std::vector<std::string> more = textsIn("log/1.csv");
        texts.insert(texts.end(), more.begin(), more.end());
        std::vector<std::string> expected = linesOf(numberedLines("line", 7000));
        expected.insert(expected.begin(), "Log start init!");
        expected.insert(expected.end(), {"in the pipe", "partial"});
        EXPECT_EQ(texts, expected);
    }
};

TEST_F(StreamTest, Record_InputPauses_EverythingIsInTheFiles) {
    RunningTool tool(root_, {"record", "log"});
    tool.feed("one\ntwo\n");
    waitForLines(2);
    EXPECT_THAT(shownTexts(jorn({"show", "log", "-p", "2"}).out), ElementsAre("one", "two"));
    tool.feed("three\n");
    waitForLines(3);
    EXPECT_THAT(shownTexts(jorn({"show", "log", "-p", "2"}).out), ElementsAre("one", "two", "three"));
    tool.endInput();
    EXPECT_EQ(tool.wait().status, 0);
}

TEST_F(StreamTest, Record_Sigterm_StoresWhatThePipeHolds) { expectCleanEndBy(SIGTERM); }

TEST_F(StreamTest, Record_Sigint_StoresWhatThePipeHolds) { expectCleanEndBy(SIGINT); }

TEST_F(StreamTest, Record_Sighup_StoresWhatThePipeHolds) { expectCleanEndBy(SIGHUP); }

/// As under nohup.
TEST_F(StreamTest, Record_SighupThatIsIgnored_GoesOn) {
    std::optional<RunningTool> tool;
    {
        const SignalDisposition ignored(SIGHUP, SIG_IGN);
        tool.emplace(root_, std::vector<std::string>{"record", "log"});
    }
    tool->feed("before\n");
    waitForLines(1);
    tool->halt();
    tool->signal(SIGHUP);
    tool->feed("beside it\n");
    tool->resume();
    waitForLines(2);
    tool->feed("after\n");
    tool->endInput();
    EXPECT_EQ(tool->wait().status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre("Log start init!", "before", "beside it", "after"));
}

TEST_F(StreamTest, Record_SecondSignal_EndsAtOnce) {
    RunningTool tool(root_, {"record", "log"});
    tool.feed("one\n");
    waitForLines(1);
    tool.halt();
    tool.signal(SIGINT);
    tool.signal(SIGTERM);
    tool.resume();
    EXPECT_EQ(tool.wait().status, 128 + SIGTERM);
}

TEST_F(StreamTest, Record_SecondRecorder_RefusedWhileFirstRuns) {
    RunningTool first(root_, {"record", "log"});
    first.feed("one\n");
    waitForLines(1);
    const std::string before = stateOf(path("log"));
    const Outcome second = jorn({"record", "log"}, {"two\n", "", {}, {}});
    EXPECT_EQ(second.status, 4);
    EXPECT_EQ(second.err, "jorn: log: another jorn is recording into this directory\n");
    EXPECT_EQ(stateOf(path("log")), before);
    first.endInput();
    EXPECT_EQ(first.wait().status, 0);
    EXPECT_EQ(jorn({"record", "log"}, {"two\n", "", {}, {}}).status, 0);
    EXPECT_THAT(shownTexts(jorn({"show", "log", "-p", "2"}).out), ElementsAre("one", "two"));
}

TEST_F(StreamTest, Record_NoStandardInput_Fails) {
    Setting setting;
    setting.closed = {STDIN_FILENO};
    setting.processorSeconds = 20;
    const Outcome run = jorn({"record", "log"}, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: standard input: Bad file descriptor\n");
}

TEST_F(StreamTest, Record_NoStandardOutputs_StoresNothingButItems) {
    Setting setting;
    setting.input = "one\n" + std::string(300, 'x') + "\n";
    setting.closed = {STDOUT_FILENO, STDERR_FILENO};
    EXPECT_EQ(jorn({"record", "--stats", "--debug", "8", "log"}, setting).status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre("Log start init!", "one", std::string(198, 'x')));
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
}

TEST_F(StreamTest, RecordKeepGoing_FifoGetsNewWriter_ReadsOn) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    // Held open until the tool has it, so that neither waits for the other.
    const int held = open(path("fifo").c_str(), O_RDWR | O_CLOEXEC);
    RunningTool tool(root_, {"record", "-k", "log"}, path("fifo"));
    write("fifo", "one\n");
    waitForLines(1);
    close(held);
    write("fifo", "two\n");
    waitForLines(2);
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait().status, 0);
    EXPECT_THAT(shownTexts(jorn({"show", "log", "-p", "2"}).out), ElementsAre("one", "two"));
}

TEST_F(StreamTest, RecordKeepGoing_FileGrowsAndIsEmptied_ReadsOn) {
    write("input", "one\npar");
    RunningTool tool(root_, {"record", "-k", "log"}, path("input"));
    waitForLines(1);
    std::ofstream(path("input"), std::ios::app) << "tial\n";
    waitForLines(2);
    write("input", "new\n");
    waitForLines(3);
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait().status, 0);
    EXPECT_THAT(shownTexts(jorn({"show", "log", "-p", "2"}).out), ElementsAre("one", "partial", "new"));
}

TEST_F(StreamTest, RecordKeepGoing_EndOfPipe_WaitsForSignal) {
    RunningTool tool(root_, {"record", "-k", "log"});
    tool.feed("one\n");
    tool.endInput();
    waitForLines(1);
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait().status, 0);
}

TEST_F(RecordTest, Record_FileTakesNoMore_ExitsWithCountAndCause) {
    // 3,000 lines of 29 bytes do not fit, but the index does.
    const Setting small = {numberedLines("line", 3000), "", {}, 20000};
    const Outcome run = jorn({"record", "log"}, small);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("jorn: log/0.csv: cannot be written: File too large; "));
    // The store's first item is there too.
    const std::string stored = read("log/0.csv");
    const auto whole = std::count(stored.begin(), stored.end(), '\n') - 1;
    EXPECT_GT(whole, 500);
    EXPECT_THAT(run.err,
                HasSubstr("; " + std::to_string(3000 - whole) + " of the lines read are not in the"));
}

TEST_F(RecordTest, Record_FileTakesNoMore_StopsReadingAtTheFirstFullFile) {
    const Setting small = {numberedLines("line", 40000), "", {}, 20000};
    const Outcome run = jorn({"record", "--files", "3", "log"}, small);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("log/0.csv: cannot be written: File too large"));
    // What was read is lost beyond the first file; the ring did not wrap onto it.
    EXPECT_EQ(textsIn("log/0.csv").at(1), numberedText("line", 1));
}

TEST_F(StreamTest, Record_NextFileCannotBeOpened_ExitsWithCount) {
    RunningTool tool(root_, {"record", "log"});
    tool.feed(numberedLines("line", 4999));
    waitForLines(4999);
    makeDirectory("log/1.csv");
    tool.feed("lost one\nlost two\n");
    const Outcome run = tool.wait();
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("jorn: log/1.csv: is a directory, where the store needs a file; "));
    EXPECT_THAT(run.err, HasSubstr(" of the lines read are not in the files"));
    EXPECT_EQ(textsIn("log/0.csv").back(), numberedText("line", 4999));
    EXPECT_EQ(run.out, "");
}

TEST_F(StreamTest, Record_IndexLeftBehind_Exits) {
    RunningTool tool(root_, {"record", "log"});
    tool.feed(numberedLines("line", 4999));
    waitForLines(4999);
    // The index can no longer be replaced: a directory that is not empty has its backup's name.
    makeDirectory("log/index.csv.d");
    std::filesystem::remove(path("log/index.csv"));
    std::filesystem::rename(path("log/index.csv.d"), path("log/index.csv"));
    makeDirectory("log/index.bak/in the way");
    tool.feed("in the next file\n");
    const Outcome run = tool.wait();
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("log/index.csv"));
}

TEST_F(RecordTest, Record_InputIsDirectory_TellsCause) {
    RunningTool tool(root_, {"record", "log"}, root_);
    const Outcome run = tool.wait();
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: standard input: Is a directory\n");
}

TEST_F(RecordTest, Record_Debug_PrintsOnStandardErrorOnly) {
    const Outcome run = jorn({"record", "--debug", "7", "log"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("jorn_Create!"));
}

TEST_F(RecordTest, Record_UsageErrors_ExitWith2) {
    const std::vector<std::vector<std::string>> wrong = {
        {"record"},
        {"record", "log", "extra"},
        {"record", "--files", "1", "log"},
        {"record", "--files", "91", "log"},
        {"record", "--files", "x", "log"},
        {"record", "-l", "4", "log"},
        {"record", "-s", "8", "log"},
        {"record", "--stats", "-o", "csv", "log"},
        {"record", "--slots", "0", "log"},
        {"record", "--slots", "9", "log"},
        {"record", "--slots", "3", "-s", "3", "log"},
        {"record", "--unknown", "log"},
    };
    for (const auto &arguments : wrong) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 2) << ::testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("jorn: ", 0), 0U) << run.err;
    }
    EXPECT_FALSE(exists("log"));
}

}  // namespace
}  // namespace test
