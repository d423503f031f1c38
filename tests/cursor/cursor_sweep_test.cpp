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
        ASSERT_EQ(pull({}), 0);
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
    using Plan = std::function<Action(size_t number, const SystemCall &call)>;

    int pull(const Plan &plan) {
        TraceOptions options;
        options.directory = path("");
        options.recordsCalls = false;
        // What it reads, too, and what it starts a command with.
        for (const long number : {SYS_read, SYS_pread64, SYS_fstat, SYS_newfstatat, SYS_getdents64,
                                  SYS_memfd_create, SYS_vfork, SYS_clone, SYS_wait4}) {
            options.calls.push_back(number);
        }
        TracedRun run(jornCommand(words()), options);
        calls_ = 0;
        bool hasBegun = false;
        run.onCall([&](const SystemCall &call) {
            hasBegun = hasBegun || call.path == path("cursors");
            const bool isOwn = call.process == run.process() && hasBegun && call.isEntry();
            return isOwn && plan ? plan(calls_++, call) : Action::proceed();
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

    void sweep(bool isMovingOn, const std::function<Action(const SystemCall &)> &action) {
        // Where everything takes long, some of the calls: sanitizers look at what the others do as well.
        constexpr size_t kStep = JORN_IS_SLOW ? 11 : 1;
        size_t disturbed = 0;
        for (bool isDone = false; !isDone; disturbed += kStep) {
            begin();
            std::string at;
            pull([&](size_t number, const SystemCall &call) {
                if (number != disturbed) {
                    return Action::proceed();
                }
                at = call.text();
                return action(call);
            });
            isDone = at.empty();
            ASSERT_EQ(finish(isMovingOn), "") << "disturbed at call " << disturbed << ": " << at;
        }
        // The cursors are opened, written at least twice and synced.
        EXPECT_GT(disturbed, 30U);
    }

    ScratchDirectory scratch_;
    size_t calls_ = 0;
    int files_ = 0;
};

TEST_P(CursorSweepTest, Pull_KilledAtEachCall_IsMadeUpFor) {
    sweep(false, [](const SystemCall &) { return Action::kill(); });
}

TEST_P(CursorSweepTest, Pull_KilledAtEachCallBeforeTheRingMovesOn_GivesNoItemTwoKeys) {
    sweep(true, [](const SystemCall &) { return Action::kill(); });
}

TEST_P(CursorSweepTest, Pull_EachCallFailing_IsMadeUpFor) {
    sweep(false, [](const SystemCall &) { return Action::fail(EIO); });
}

INSTANTIATE_TEST_SUITE_P(Targets, CursorSweepTest, ::testing::Bool(),
                         [](const auto &named) { return named.param ? "File" : "Command"; });

}  // namespace
}  // namespace test
