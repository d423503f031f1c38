// SPDX-License-Identifier: Apache-2.0
// `jorn record DIR -- COMMAND`, and `--tee`.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "common_values.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

class RecordCommandTest : public ToolTest {
protected:
    /// Runs a script of the shell and records it into "log".
    Outcome recordScript(const std::string &script, std::vector<std::string> options = {},
                         const Setting &setting = {}) const {
        return jorn(wordsFor(script, std::move(options)), setting);
    }

    static std::vector<std::string> wordsFor(const std::string &script,
                                             std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"record", "log"});
        options.insert(options.end(), {"--", "sh", "-c", script});
        return options;
    }

    /// Items after the store's own, each as "LEVEL,SLOT,TEXT".
    std::vector<std::string> items() const {
        std::vector<std::string> fields;
        for (const std::string &line : linesOf(read("log/0.csv"))) {
            fields.push_back(line.substr(line.find(',') + 1));
        }
        EXPECT_EQ(fields.at(0), "3,0,Log start init!");
        fields.erase(fields.begin());
        return fields;
    }

    /// Waits until an item with this text is in the file.
    void waitForItem(const std::string &text) const {
        CloseWatch watch(path("log"));
        watch.waitUntil([&] {
            return exists("log/0.csv") && read("log/0.csv").find("," + text + "\n") != std::string::npos;
        });
    }
};

/// Lasts until a signal comes, and holds neither output open.
constexpr char kWait[] = "tail -f /dev/null >/dev/null 2>&1 & wait; kill $!; ";

TEST_F(RecordCommandTest, Command_BothOutputs_AreStoredWithTheirLevels) {
    const Outcome run = recordScript("echo out; echo err >&2; printf last");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_THAT(items(), UnorderedElementsAre("2,0,out", "1,0,err", "2,0,last"));
}

TEST_F(RecordCommandTest, Command_LevelsAndSlotByOptions_ReachTheItems) {
    write("names", "[levels]\n0 = error\n[slots]\n5 = door\n");
    EXPECT_EQ(recordScript(
                  "echo '<7>a'; echo '<4>b' >&2; echo c >&2",
                  {"-l", "3", "--stderr-level", "error", "-s", "door", "--names", "names", "--prefix-levels"})
                  .status,
              0);
    EXPECT_THAT(items(), UnorderedElementsAre("3,5,a", "1,5,b", "0,5,c"));
}

TEST_F(RecordCommandTest, Command_ExitCode_IsTheRecordersOwn) {
    for (const int code : {0, 1, 2, 3, 4, 42, 255}) {
        EXPECT_EQ(recordScript("exit " + std::to_string(code)).status, code);
    }
}

TEST_F(RecordCommandTest, Command_EndedByASignal_128AndItsNumber) {
    for (const int number : {SIGKILL, SIGTERM, SIGABRT}) {
        EXPECT_EQ(recordScript("echo x; kill -" + std::to_string(number) + " $$").status, 128 + number);
    }
    EXPECT_THAT(items(),
                ElementsAre("2,0,x", "3,0,Log start init!", "2,0,x", "3,0,Log start init!", "2,0,x"));
}

TEST_F(RecordCommandTest, Command_CannotBeRun_126Or127) {
    const Outcome missing = jorn({"record", "log", "--", "no-such-command"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.err, "jorn: no-such-command: No such file or directory\n");
    const Outcome directory = jorn({"record", "log", "--", "/etc"});
    EXPECT_EQ(directory.status, 126);
    EXPECT_EQ(directory.err, "jorn: /etc: Permission denied\n");
}

TEST_F(RecordCommandTest, Command_RecorderFails_125) {
    write("file", "");
    const std::vector<std::vector<std::string>> wrong = {
        {"record", "file", "--", "touch", "run"},
        {"record", "no/such", "--", "touch", "run"},
        {"record", "--unknown", "log", "--", "touch", "run"},
        {"record", "--", "touch", "run"},
        {"record", "log", "--"},
        {"record", "log", "-l", "error", "--", "touch", "run"},
        {"record", "log", "-k", "--", "touch", "run"},
        {"record", "log", "--format", "jsonl", "--", "touch", "run"},
        {"record", "log", "--times", "never", "--", "touch", "run"},
    };
    for (const auto &words : wrong) {
        const Outcome run = jorn(words);
        EXPECT_EQ(run.status, 125) << ::testing::PrintToString(words);
        EXPECT_EQ(run.err.rfind("jorn: ", 0), 0U) << run.err;
    }
    EXPECT_FALSE(exists("run"));
    EXPECT_EQ(jorn({"record", "log", "extra", "word"}).status, 2);
}

TEST_F(RecordCommandTest, Command_MediumFull_GoesOnToItsEndAnd125) {
    Setting small;
    small.fileSizeLimit = 20000;
    const Outcome run = recordScript("seq 20000; echo done > marker; exit 5", {}, small);
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err, HasSubstr("jorn: log/0.csv: cannot be written: File too large; "));
    EXPECT_EQ(read("marker"), "done\n");
}

TEST_F(RecordCommandTest, Command_MediumFullWithTee_AllIsPassedOn) {
    Setting small;
    small.fileSizeLimit = 50000;
    const Outcome run = recordScript("seq 5000", {"--tee"}, small);
    EXPECT_EQ(run.status, 125);
    EXPECT_EQ(linesOf(run.out).size(), 5000U);
    EXPECT_EQ(linesOf(run.out).back(), "5000");
}

TEST_F(RecordCommandTest, Command_StandardInput_IsTheRecorders) {
    EXPECT_EQ(recordScript("cat", {}, {"one\ntwo\n", "", {}, {}}).status, 0);
    EXPECT_THAT(items(), ElementsAre("2,0,one", "2,0,two"));
}

TEST_F(RecordCommandTest, Command_StartsWithNothingOfTheRecorders) {
    // What the test itself was started with is there too.
    ASSERT_EQ(system(("ls /proc/self/fd > " + path("plain")).c_str()), 0);
    EXPECT_EQ(recordScript(
                  "ls /proc/self/fd > recorded; grep SigIgn /proc/self/status; grep SigBlk /proc/self/status")
                  .status,
              0);
    EXPECT_EQ(read("recorded"), read("plain"));
    const std::vector<std::string> signals = items();
    EXPECT_EQ(signals.at(1), "2,0,SigBlk:\t0000000000000000");
    const uint64_t ignored = std::stoull(signals.at(0).substr(signals.at(0).find('\t') + 1), nullptr, 16);
    EXPECT_EQ(ignored & (1ULL << (SIGPIPE - 1)), 0U);
    EXPECT_EQ(ignored & (1ULL << (SIGXFSZ - 1)), 0U);
}

TEST_F(RecordCommandTest, Command_WordsAfterTheMark_AreNotOptions) {
    EXPECT_EQ(jorn({"record", "log", "--", "printf", "%s\\n", "--tee", "--", "-l"}).status, 0);
    EXPECT_THAT(items(), ElementsAre("2,0,--tee", "2,0,--", "2,0,-l"));
}

TEST_F(RecordCommandTest, Command_MuchOnBothOutputs_NoLineIsLost) {
    EXPECT_EQ(recordScript("seq -f 'e%g' 3000 >&2 & seq -f 'o%g' 3000; wait", {"--files", "3"}).status, 0);
    const std::string all = read("log/0.csv") + read("log/1.csv");
    int outputs = 0;
    int errors = 0;
    for (const std::string &line : linesOf(all)) {
        const std::string item = line.substr(line.find(',') + 1);
        outputs += item == "2,0,o" + std::to_string(outputs + 1) ? 1 : 0;
        errors += item == "1,0,e" + std::to_string(errors + 1) ? 1 : 0;
    }
    EXPECT_EQ(outputs, 3000);
    EXPECT_EQ(errors, 3000);
}

TEST_F(RecordCommandTest, Command_Signals_AreHandedOn) {
    makeDirectory("log");
    for (const int number : {SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}) {
        std::filesystem::remove(path("log/0.csv"));
        std::filesystem::remove(path("log/index.csv"));
        RunningTool tool(root_, wordsFor("trap 'echo got; code=9' " + std::to_string(number) +
                                         "; echo ready; " + kWait + "echo end; exit $code"));
        waitForItem("ready");
        tool.signal(number);
        const Outcome run = tool.wait();
        EXPECT_EQ(run.status, 9) << number << run.err;
        EXPECT_THAT(items(), ElementsAre("2,0,ready", "2,0,got", "2,0,end"));
    }
}

TEST_F(RecordCommandTest, Command_EachSignal_IsHandedOn) {
    makeDirectory("log");
    RunningTool tool(root_,
                     wordsFor("trap 'echo got' TERM; echo ready; " + std::string(kWait) + kWait + "exit 6"));
    waitForItem("ready");
    tool.signal(SIGTERM);
    waitForItem("got");
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait().status, 6);
    EXPECT_THAT(items(), ElementsAre("2,0,ready", "2,0,got", "2,0,got"));
}

TEST_F(RecordCommandTest, Command_EndedByAHandedSignal_128AndItsNumber) {
    makeDirectory("log");
    RunningTool tool(root_, {"record", "log", "--", "sh", "-c", "echo ready; exec tail -f /dev/null"});
    waitForItem("ready");
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait().status, 128 + SIGTERM);
    EXPECT_THAT(items(), ElementsAre("2,0,ready"));
}

TEST_F(RecordCommandTest, Command_OutputsClosed_EndIsWaitedForAndSignalsAreHandedOn) {
    makeDirectory("log");
    RunningTool tool(root_,
                     wordsFor("trap 'exit 9' TERM; echo ready; exec >/dev/null 2>&1; " + std::string(kWait)));
    waitForItem("ready");
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait().status, 9);
}

TEST_F(RecordCommandTest, Command_LeavesAProcessWithItsOutput_IsWaitedForUnlessTold) {
    makeDirectory("log");
    // Its number is told, for it outlives the recorder.
    RunningTool tool(root_, wordsFor("tail -f /dev/null & echo $! > child; echo ready; exit 3"));
    waitForItem("ready");
    tool.signal(SIGTERM);
    // Whether the command had ended before or ends by the signal, nobody is waited for.
    const int status = tool.wait().status;
    EXPECT_TRUE(status == 3 || status == 128 + SIGTERM) << status;
    EXPECT_EQ(kill(std::stoi(read("child")), SIGKILL), 0);
}

TEST_F(RecordCommandTest, Command_InterruptedOnATerminal_EndsWithIt) {
    Setting setting;
    setting.input = "\x03";
    setting.directory = root_;
    const Outcome run = runOnTerminal({"record", path("log"), "--tee", "--", "sh", "-c",
                                       "trap 'echo got; exit 7' INT; echo ready; " + std::string(kWait)},
                                      setting);
    EXPECT_EQ(run.status, 7);
    EXPECT_THAT(run.out, HasSubstr("ready\r\n"));
    EXPECT_THAT(items(), ElementsAre("2,0,ready", "2,0,got"));
}

TEST_F(RecordCommandTest, Tee_Command_PassesEachOutputOn) {
    const Outcome run = recordScript("printf 'out\\0\\r\\npart'; printf 'err\\n' >&2; exit 3", {"--tee"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, std::string("out\0\r\npart", 10));
    EXPECT_EQ(run.err, "err\n");
    EXPECT_THAT(items(), UnorderedElementsAre("2,0,out ", "2,0,part", "1,0,err"));
}

TEST_F(RecordCommandTest, Tee_StandardInput_PassesItOn) {
    const std::string input = "<3>one\n" + std::string(300, 'x') + "\nlast";
    const Outcome run = jorn({"record", "log", "--tee", "--prefix-levels"}, {input, "", {}, {}});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, input);
    EXPECT_THAT(items(), ElementsAre("0,0,one", "2,0," + std::string(198, 'x'), "2,0,last"));
}

TEST_F(RecordCommandTest, Tee_NobodyReads_RecordingGoesOn) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const Outcome run = runInto(ends[1], {"record", path("log"), "--tee", "--", "seq", "1000"});
    close(ends[1]);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(items().size(), 1000U);
}

TEST_F(RecordCommandTest, Tee_OutputTakesNoMore_AllIsRecordedAndTheReasonTold) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const Outcome command = runInto(full, {"record", path("log"), "--tee", "--", "seq", "1000"});
    EXPECT_EQ(command.status, 125);
    EXPECT_EQ(command.err, "jorn: standard output: No space left on device\n");
    EXPECT_EQ(items().size(), 1000U);
    close(full);
}

TEST_F(RecordCommandTest, Times_OfACommand_AreTakenOff) {
    EXPECT_EQ(
        recordScript("echo '<6>[    1.500000] a'", {"--times", "kmsg", "--boot-time", "@1000000000"}).status,
        0);
    EXPECT_EQ(linesOf(read("log/0.csv")),
              (std::vector<std::string>{"1000000001,3,0,Log start init!", "1000000001,2,0,a"}));
}

TEST_F(RecordCommandTest, Times_NoneInWhatACommandPrints_125) {
    const Outcome run = recordScript("echo no time; echo done > marker", {"--times", "iso"});
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err, EndsWith("so nothing was recorded; the first is: no time\n"));
    EXPECT_EQ(read("marker"), "done\n");
}

TEST_F(RecordCommandTest, Stats_OfACommand_CountBothOutputs) {
    const Outcome run = recordScript("echo out; echo err >&2", {"--stats", "-o", "json"});
    EXPECT_THAT(run.err, HasSubstr("{\"lines\":2,\"items\":2,\"bytes\":8,"));
}

}  // namespace
}  // namespace test
