// SPDX-License-Identifier: Apache-2.0
// Each system call of a pull failing, and the process killed at it: the next pulls make up for it, under the
// same keys.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kills/scratch_directory.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr int kShippedBefore = 5;
constexpr int kNew = 9;
constexpr int kNewThere = 4;  // In the file of those.
constexpr int kLater = 3;

std::string dataLines(int first, int count) {
    std::string lines;
    for (int number = first; number < first + count; ++number) {
        lines += std::to_string(1700000000 + number / 4) + ",1,0,item " + std::to_string(number) + "\n";
    }
    return lines;
}

void append(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::app) << bytes;
}

/// What is wrong with what has arrived: each key has one item, each item one key, and those from `first` on
/// are there.
std::string judge(const std::vector<std::string> &files, int first, int end) {
    std::map<std::pair<uint64_t, uint64_t>, std::string> items;
    std::map<std::string, std::pair<uint64_t, uint64_t>> keys;
    for (const std::string &file : files) {
        std::ifstream lines(file);
        for (std::string line; std::getline(lines, line);) {
            const auto json = nlohmann::json::parse(line);
            const std::pair key(json.at("epoch").get<uint64_t>(), json.at("seq").get<uint64_t>());
            const auto text = json.at("text").get<std::string>();
            if (items.emplace(key, text).first->second != text ||
                keys.emplace(text, key).first->second != key) {
                return "'" + text + "' has key " + std::to_string(key.second) + " and another";
            }
        }
    }
    for (int number = first; number < end; ++number) {
        if (keys.count("item " + std::to_string(number)) == 0) {
            return "item " + std::to_string(number) + " has not arrived";
        }
    }
    return "";
}

class CursorSweepTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
    }

    bool isToFile() const { return GetParam(); }

    /// A log of which some items have arrived, and others not.
    void begin() {
        for (const char *const name : {"log", "cursors", "out"}) {
            fs::remove_all(path(name));
        }
        fs::create_directory(path("log"));
        fs::create_directory(path("out"));
        writeIndex("0,0");
        append(path("log/0.csv"), dataLines(0, kShippedBefore));
        files_ = 0;
        EXPECT_EQ(pull({}), 0);
        append(path("log/0.csv"), dataLines(kShippedBefore, kNewThere));
        append(path("log/1.csv"), dataLines(kShippedBefore + kNewThere, kNew - kNewThere));
        writeIndex("0,1");
    }

    void writeIndex(const std::string &positions) const {
        std::ofstream(path("log/index.csv")) << "version:1\n" << positions << "\n";
    }

    std::string path(const std::string &name) const { return scratch_.path(name); }

    std::vector<std::string> words() {
        std::vector<std::string> words = {"export", "--cursor-file", path("cursors"), "--device", "u", "-q"};
        if (isToFile()) {
            words.insert(words.end(), {"--to", path("out/" + std::to_string(files_++) + ".jsonl")});
        } else {
            words.insert(words.end(),
                         {"--exec", "cat >> " + path("out/all.jsonl"), "--batch", "4", "--retries", "0"});
        }
        words.push_back(path("log"));
        return words;
    }

    /// What is to happen to the tool's calls from the first on that has to do with the pull.
    using Plan = std::function<Action(const SystemCall &call)>;

    int pull(const Plan &plan) {
        TraceOptions options;
        options.directory = path("");
        options.recordsCalls = false;
        // What it reads, too, and what it starts a command with.
        for (const long number :
             {SYS_read, SYS_pread64, SYS_fstat, SYS_newfstatat, SYS_getdents64, SYS_memfd_create, SYS_vfork,
              SYS_clone, SYS_pidfd_open, SYS_poll, SYS_wait4}) {
            options.calls.push_back(number);
        }
        TracedRun run(jornCommand(words()), options);
        bool hasBegun = false;
        run.onCall([&](const SystemCall &call) {
            hasBegun = hasBegun || call.path == path("cursors") || call.path == path("out");
            const bool isOwn = call.process == run.process() && hasBegun && call.isEntry();
            return isOwn && plan ? plan(call) : Action::proceed();
        });
        return run.wait().status;
    }

    /// After a disturbed pull, more comes. Where the ring moves on, what was shipped before is gone, and so
    /// are the first of the new items.
    std::string finish(bool isMovingOn) {
        constexpr int kAll = kShippedBefore + kNew;
        if (isMovingOn) {
            fs::remove(path("log/0.csv"));
            writeIndex("1,0");
        }
        append(path(isMovingOn ? "log/0.csv" : "log/1.csv"), dataLines(kAll, kLater));
        const int status = pull({});
        if (status != 0) {
            return "the next pull ends with exit code " + std::to_string(status);
        }
        std::vector<std::string> files;
        for (const fs::directory_entry &entry : fs::directory_iterator(path("out"))) {
            files.push_back(entry.path().string());
        }
        return judge(files, isMovingOn ? kShippedBefore + kNewThere : 0, kAll + kLater);
    }

    using Choice = std::function<bool(const SystemCall &)>;
    static bool any(const SystemCall &) { return true; }

    /// Disturbs each of the chosen calls in a pull of its own. Returns how many there are.
    size_t sweep(bool isMovingOn, const std::function<Action(const SystemCall &)> &action,
                 const Choice &isChosen = any, std::optional<int> status = std::nullopt) {
        // Where everything takes long, some of the calls: sanitizers look at what the others do as well.
        constexpr size_t kStep = JORN_IS_SLOW ? 11 : 1;
        size_t disturbed = 0;
        for (bool isDone = false; !isDone; disturbed += kStep) {
            begin();
            std::string at;
            size_t chosen = 0;
            const int ended = pull([&](const SystemCall &call) {
                if (!isChosen(call) || chosen++ != disturbed) {
                    return Action::proceed();
                }
                at = call.text();
                return action(call);
            });
            isDone = at.empty();
            const std::string where = "disturbed at call " + std::to_string(disturbed) + ": " + at;
            EXPECT_EQ(ended, status.value_or(ended)) << where;
            EXPECT_EQ(finish(isMovingOn), "") << where;
            if (HasFailure()) {
                break;
            }
        }
        return disturbed;
    }

    /// The cursors are opened, written at least twice and synced.
    static constexpr size_t kFewestCalls = 30;
    /// Batches or a file, and the cursors before and after.
    static constexpr size_t kFewestWrites = JORN_IS_SLOW ? 1 : 3;

    ScratchDirectory scratch_;
    int files_ = 0;
};

/// Sanitizers look whether memory can be read by writing a few bytes of it to a pipe of their own.
bool isProbe(const SystemCall &call) {
    constexpr size_t kProbeSize = 16;
    return JORN_IS_SLOW && call.path.rfind("pipe:", 0) == 0 && call.bytes.size() <= kProbeSize;
}

bool isWrite(const SystemCall &call) { return call.isWrite() && !isProbe(call); }

/// What leaves something on the medium, or sends something.
bool isStep(const SystemCall &call) {
    return call.isSync() || call.changesFiles() || call.number == SYS_vfork || call.number == SYS_clone ||
           call.number == SYS_wait4;
}

TEST_P(CursorSweepTest, Pull_KilledAtEachCall_IsMadeUpFor) {
    EXPECT_GT(sweep(false, [](const SystemCall &) { return Action::kill(); }), kFewestCalls);
}

TEST_P(CursorSweepTest, Pull_KilledAtEachCallBeforeTheRingMovesOn_GivesNoItemTwoKeys) {
    EXPECT_GT(sweep(true, [](const SystemCall &) { return Action::kill(); }), kFewestCalls);
}

TEST_P(CursorSweepTest, Pull_EachCallFailing_IsMadeUpFor) {
    EXPECT_GT(sweep(false, [](const SystemCall &) { return Action::fail(EIO); }), kFewestCalls);
}

TEST_P(CursorSweepTest, Pull_EachStepFailingBeforeTheRingMovesOn_GivesNoItemTwoKeys) {
    EXPECT_GT(sweep(
                  true, [](const SystemCall &) { return Action::fail(EIO); }, isStep),
              kFewestWrites);
}

TEST_P(CursorSweepTest, Pull_EachWriteWithoutSpace_FailsAndIsMadeUpFor) {
    EXPECT_GT(sweep(
                  false, [](const SystemCall &) { return Action::fail(ENOSPC); }, isWrite),
              kFewestWrites);
    EXPECT_GT(sweep(
                  true, [](const SystemCall &) { return Action::fail(ENOSPC); }, isWrite),
              kFewestWrites);
}

TEST_P(CursorSweepTest, Pull_EachWriteCutShort_GoesOnWithTheRest) {
    const auto half = [](const SystemCall &call) { return Action::shorten(call.bytes.size() / 2); };
    EXPECT_GT(sweep(false, half, isWrite, 0), kFewestWrites);
}

TEST_P(CursorSweepTest, Pull_EachWriteCutShortAndThenKilled_IsMadeUpFor) {
    const auto half = [](const SystemCall &call) { return Action::tear(call.bytes.size() / 2); };
    EXPECT_GT(sweep(false, half, isWrite), kFewestWrites);
    EXPECT_GT(sweep(true, half, isWrite), kFewestWrites);
}

INSTANTIATE_TEST_SUITE_P(Targets, CursorSweepTest, ::testing::Bool(),
                         [](const auto &named) { return named.param ? "File" : "Command"; });

}  // namespace
}  // namespace test
