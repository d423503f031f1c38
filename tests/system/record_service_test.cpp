// SPDX-License-Identifier: Apache-2.0
// The service that records what is written to a pipe, as the service manager runs it: the command of its
// unit, with what the unit states about the input, the log's directory and restarting.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "damaged_log.h"
#include "system/descriptor.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// The settings of a unit; none is given twice.
std::map<std::string, std::string> settingsOf(const std::string &unit) {
    std::ifstream file(std::string(JORN_UNITS) + "/" + unit);
    std::map<std::string, std::string> settings;
    for (std::string line; std::getline(file, line);) {
        const size_t equals = line.find('=');
        if (line[0] != '#' && equals != std::string::npos) {
            EXPECT_TRUE(settings.emplace(line.substr(0, equals), line.substr(equals + 1)).second) << line;
        }
    }
    EXPECT_FALSE(settings.empty()) << unit;
    return settings;
}

std::vector<std::string> wordsOf(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

/// The log "log" in a directory where the service may create nothing, and the pipe.
class RecordServiceTest : public DamagedLogTest {
protected:
    RecordServiceTest() : unit_(settingsOf("jorn-record@.service")) {
        EXPECT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
        // As the manager holds it open, from before the first start.
        pipe_ = tool::Descriptor(open(path("pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        EXPECT_EQ(chmod(root_.c_str(), 0555), 0);
    }
    ~RecordServiceTest() override { EXPECT_EQ(chmod(root_.c_str(), 0755), 0); }

    /// The words of ExecStart after the program's name; the options of a drop-in are placed where the unit
    /// says.
    std::vector<std::string> command(const std::string &options = "") const {
        std::vector<std::string> words = wordsOf(unit_.at("ExecStart"));
        EXPECT_EQ(words.front(), "jorn");
        words.erase(words.begin());
        const auto directory = std::find(words.begin(), words.end(), "${LOGS_DIRECTORY}");
        const auto placeOfOptions = std::find(words.begin(), words.end(), "$JORN_RECORD_OPTIONS");
        if (directory == words.end() || placeOfOptions == words.end()) {
            ADD_FAILURE() << unit_.at("ExecStart");
            return words;
        }
        *directory = path("log");
        const std::vector<std::string> more = wordsOf(options);
        words.insert(words.erase(placeOfOptions), more.begin(), more.end());
        return words;
    }

    void feed(const std::string &bytes) const {
        ASSERT_EQ(::write(pipe_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    bool isLast(const std::string &file, const std::string &text) const {
        const auto texts = exists(file) ? textsIn(file) : std::vector<std::string>();
        return !texts.empty() && texts.back() == text;
    }

    /// Runs the service until the last line that was fed is in the newest file, and stops it as the manager
    /// does.
    Outcome runUntil(const std::string &file, const std::string &lastText) const {
        RunningTool tool(path("log"), command(), path("pipe"));
        CloseWatch watch(path("log"));
        watch.waitUntil([&] { return isLast(file, lastText); });
        tool.signal(SIGTERM);
        return tool.wait();
    }

    /// Whether the manager starts the service again after this end.
    bool isStartedAgain(int status) const {
        EXPECT_EQ(unit_.at("Restart"), "on-failure");
        EXPECT_EQ(unit_.at("StartLimitIntervalSec"), "0");
        const auto prevented = wordsOf(unit_.at("RestartPreventExitStatus"));
        return status != 0 && std::count(prevented.begin(), prevented.end(), std::to_string(status)) == 0;
    }

    const std::map<std::string, std::string> unit_;
    tool::Descriptor pipe_;
};

TEST_F(RecordServiceTest, Socket_PipeIsTheInputAndOutlivesTheService) {
    const auto socket = settingsOf("jorn-record@.socket");
    EXPECT_EQ(socket.at("ListenFIFO"), "%t/jorn/%i");
    EXPECT_EQ(unit_.at("StandardInput"), "socket");
    EXPECT_EQ(unit_.at("Requires"), "jorn-record@%i.socket");
    EXPECT_EQ(unit_.at("LogsDirectory"), "jorn/%i");
}

TEST_F(RecordServiceTest, Service_Started_RecordsThePipe) {
    feed("one\ntwo\n");
    const Outcome run = runUntil("log/0.csv", "two");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(isStartedAgain(run.status));
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "one", "two"));
}

TEST_F(RecordServiceTest, Service_Killed_NextStartLosesNoLineOfThePipe) {
    feed("one\n");
    {
        RunningTool tool(path("log"), command(), path("pipe"));
        CloseWatch watch(path("log"));
        watch.waitUntil([&] { return isLast("log/0.csv", "one"); });
        tool.signal(SIGKILL);
        const Outcome run = tool.wait();
        EXPECT_TRUE(isStartedAgain(run.status)) << run.status;
    }
    feed("while it was down\n");
    write("log/index.csv", "");
    EXPECT_EQ(runUntil("log/0.csv", "while it was down").status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "one", kStart, "while it was down"));
}

/// Nobody decides for a service, and new lines are never refused.
TEST_F(RecordServiceTest, Service_OrderOfTheRingUnclear_RecordsAndKeepsTheRing) {
    for (const int position : {0, 1, 2}) {
        write(fileName(position), dataLine(kFirstTime, 1, 0, "of " + std::to_string(position)));
    }
    write("log/index.csv", "");
    feed("new\n");
    const Outcome run = runUntil("log/0.csv", "new");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr(", and the log starts over\n"));
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "new"));
    const auto entries = fs::directory_iterator(path("log"));
    const auto aside = std::find_if(begin(entries), end(entries), [](const auto &entry) {
        return entry.path().filename().string().rfind("aside-", 0) == 0;
    });
    ASSERT_NE(aside, end(entries));
    for (const int position : {0, 1, 2}) {
        const std::string name =
            "log/" + aside->path().filename().string() + "/" + std::to_string(position) + ".csv";
        EXPECT_THAT(textsIn(name), ElementsAre("of " + std::to_string(position)));
    }
}

/// The directory is the service's own; its parent is not.
TEST_F(RecordServiceTest, Service_ParentMayNotBeWritten_OptionsOfADropInTake) {
    Setting setting;
    setting.obeysPermissions = true;
    setting.directory = path("log");
    setting.input = "last line\n";
    std::vector<std::string> words = command("--files 3 --slot 2");
    // So that it ends by itself.
    words.erase(std::remove(words.begin(), words.end(), "--keep-going"), words.end());
    writeRing({0, 1, 2});
    const Outcome run = jorn(words, setting);
    if (run.status == 126) {
        GTEST_SKIP() << "root's rights cannot be laid down here";
    }
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(read("log/2.csv"), HasSubstr(",2,2,last line\n"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,2\n");
}

TEST_F(RecordServiceTest, Service_WrongOptions_NotStartedAgain) {
    const Outcome run = jorn(command("--slot 8"));
    EXPECT_EQ(run.status, 2);
    EXPECT_FALSE(isStartedAgain(run.status));
}

TEST_F(RecordServiceTest, Service_MediumFails_StartedAgain) {
    Setting setting;
    setting.fileSizeLimit = 20;
    const Outcome run = jorn(command(), setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_TRUE(isStartedAgain(run.status));
}

}  // namespace
}  // namespace test
