// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

constexpr int kKilled = 128 + SIGKILL;

class TraceTest : public ::testing::Test {
protected:
    TraceTest() {
        char name[] = "/tmp/jorn-trace-XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        root_ = fs::canonical(name).string();
    }
    ~TraceTest() override { fs::remove_all(root_); }

    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
    }

    std::vector<std::string> words() const { return {JORN_TRACED_PROGRAM, root_}; }
    std::string path(const std::string &name) const { return root_ + "/" + name; }
    std::string content(const std::string &name) const {
        std::ifstream file(path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string root_;
};

/// The text of each call on this directory.
std::vector<std::string> textsOf(const std::vector<SystemCall> &calls, const std::string &directory) {
    std::vector<std::string> texts;
    for (const SystemCall &call : calls) {
        if (call.path.rfind(directory, 0) == 0) {
            std::string text = call.text();
            for (size_t at = 0; (at = text.find(directory)) != std::string::npos;) {
                text.replace(at, directory.size(), "D");
            }
            texts.push_back(text.substr(0, call.isOpen() ? text.find(" =") : std::string::npos));
        }
    }
    return texts;
}

TEST_F(TraceTest, Run_ThreadsAndChild_EachCallIsRecordedOnceWithPathsAndBytes) {
    TracedRun run(words());
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "done\n");
    EXPECT_FALSE(outcome.hasTimedOut);
    EXPECT_THAT(textsOf(run.calls(), root_),
                ElementsAre("openat D/thread", "write D/thread 14 bytes at 0 = 14", "close D/thread = 0",
                            "openat D/child", "write D/child 13 bytes at 0 = 13", "close D/child = 0",
                            "rename D/thread -> D/renamed = 0", "mkdir D/made = 0"));
    const auto write = std::find_if(run.calls().begin(), run.calls().end(), [this](const SystemCall &call) {
        return call.isWrite() && call.path == path("thread");
    });
    ASSERT_NE(write, run.calls().end());
    EXPECT_EQ(write->bytes, "from a thread\n");
    EXPECT_EQ(write->process, run.process());
    EXPECT_NE(write->thread, run.process());
}

TEST_F(TraceTest, Write_AppendsToAFile_OffsetIsItsEnd) {
    std::ofstream(path("thread")) << "before\n";
    TracedRun run(words());
    run.wait();
    EXPECT_THAT(textsOf(run.calls(), path("thread")),
                ElementsAre("openat D", "write D 14 bytes at 7 = 14", "close D = 0",
                            "rename D -> " + path("renamed") + " = 0"));
}

TEST_F(TraceTest, Kill_AtEntry_CallIsNotMade) {
    TracedRun run(words());
    run.onCall([](const SystemCall &call) {
        return call.isEntry() && call.isRename() ? Action::kill() : Action::proceed();
    });
    EXPECT_EQ(run.wait().status, kKilled);
    EXPECT_TRUE(fs::exists(path("thread")));
    EXPECT_FALSE(fs::exists(path("renamed")));
}

TEST_F(TraceTest, Kill_AtExit_CallIsTheLastOne) {
    TracedRun run(words());
    run.onCall([](const SystemCall &call) {
        return call.isExit() && call.isRename() ? Action::kill() : Action::proceed();
    });
    EXPECT_EQ(run.wait().status, kKilled);
    EXPECT_TRUE(fs::exists(path("renamed")));
    EXPECT_FALSE(fs::exists(path("made")));
}

TEST_F(TraceTest, Kill_InAnotherThread_EndsTheProcess) {
    TracedRun run(words());
    run.onCall([](const SystemCall &call) {
        return call.isEntry() && call.isWrite() ? Action::kill() : Action::proceed();
    });
    EXPECT_EQ(run.wait().status, kKilled);
    EXPECT_EQ(content("thread"), "");
}

TEST_F(TraceTest, Fail_AtEntry_CallFailsWithoutEffect) {
    TracedRun run(words());
    run.onCall([this](const SystemCall &call) {
        const bool isMeant = call.isEntry() && call.isWrite() && call.path == path("thread");
        return isMeant ? Action::fail(ENOSPC) : Action::proceed();
    });
    EXPECT_EQ(run.wait().status, ENOSPC);
    EXPECT_EQ(content("renamed"), "");
    EXPECT_EQ(content("child"), "from a child\n");
}

TEST_F(TraceTest, Shorten_Write_WritesItsBeginning) {
    TracedRun run(words());
    run.onCall([this](const SystemCall &call) {
        const bool isMeant = call.isEntry() && call.isWrite() && call.path == path("thread");
        return isMeant ? Action::shorten(4) : Action::proceed();
    });
    EXPECT_EQ(run.wait().status, 200);
    EXPECT_EQ(content("renamed"), "from");
}

TEST_F(TraceTest, Tear_Write_WritesItsBeginningAndEndsTheProcess) {
    TracedRun run(words());
    run.onCall([this](const SystemCall &call) {
        const bool isMeant = call.isEntry() && call.isWrite() && call.path == path("thread");
        return isMeant ? Action::tear(6) : Action::proceed();
    });
    EXPECT_EQ(run.wait().status, kKilled);
    EXPECT_EQ(content("thread"), "from a");
    EXPECT_FALSE(fs::exists(path("child")));
}

TEST_F(TraceTest, Hold_Rename_TestActsBeforeIt) {
    TracedRun run(words());
    run.onCall([](const SystemCall &call) {
        return call.isEntry() && call.isRename() ? Action::hold() : Action::proceed();
    });
    ASSERT_TRUE(run.waitUntilHeld());
    EXPECT_EQ(run.heldCall().newPath, path("renamed"));
    EXPECT_EQ(content("child"), "from a child\n");
    EXPECT_FALSE(fs::exists(path("renamed")));
    std::ofstream(path("thread")) << "changed meanwhile";
    run.letGo();
    EXPECT_EQ(run.wait().status, 0);
    EXPECT_EQ(content("renamed"), "changed meanwhile");
}

TEST_F(TraceTest, WaitUntilHeld_NothingIsHeld_ReturnsFalseAtTheEnd) {
    TracedRun run(words());
    EXPECT_FALSE(run.waitUntilHeld());
    EXPECT_EQ(run.wait().status, 0);
}

TEST_F(TraceTest, Wait_TimeIsUp_RunIsKilledAndSaysSo) {
    TraceOptions options;
    options.limit = std::chrono::milliseconds(50);
    TracedRun run({"/bin/sleep", "60"}, options);
    const TraceOutcome outcome = run.wait();
    EXPECT_TRUE(outcome.hasTimedOut);
    EXPECT_EQ(outcome.status, kKilled);
}

TEST_F(TraceTest, Destruction_CallIsHeld_EndsTheProgram) {
    pid_t process = -1;
    {
        TracedRun run(words());
        run.onCall([](const SystemCall &) { return Action::hold(); });
        ASSERT_TRUE(run.waitUntilHeld());
        process = run.process();
    }
    EXPECT_EQ(kill(process, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(TraceTest, Input_Given_IsReadAndOtherCallsCanBeSeen) {
    TraceOptions options;
    options.input = "a line\n";
    options.calls = {SYS_read};
    options.variables = {{"ANSWER", "is read"}};
    TracedRun run({"/bin/sh", "-c", "read line; echo $line $ANSWER"}, options);
    EXPECT_EQ(run.wait().out, "a line is read\n");
    const auto isOfInput = [](const SystemCall &call) {
        return call.number == SYS_read && call.arguments[0] == 0 && call.result > 0;
    };
    EXPECT_TRUE(std::any_of(run.calls().begin(), run.calls().end(), isOfInput));
}

TEST_F(TraceTest, Signal_ToTheProgram_IsDelivered) {
    TracedRun run(words());
    run.onCall([](const SystemCall &call) {
        return call.isEntry() && call.isRename() ? Action::hold() : Action::proceed();
    });
    ASSERT_TRUE(run.waitUntilHeld());
    run.signal(SIGTERM);
    run.letGo();
    EXPECT_EQ(run.wait().status, 128 + SIGTERM);
}

TEST_F(TraceTest, Record_StoreTaskNamesFilesByADescriptor_PathsAreThoseOfTheFiles) {
    TraceOptions options;
    options.input = "an item\n";
    options.directory = root_;
    TracedRun run(jornCommand({"record", "log"}), options);
    EXPECT_EQ(run.wait().status, 0);
    const auto isIndex = [this](const SystemCall &call) {
        return call.isOpen() && call.changesFiles() && call.path == path("log/index.csv");
    };
    EXPECT_TRUE(std::any_of(run.calls().begin(), run.calls().end(), isIndex));
    const auto isItem = [this](const SystemCall &call) {
        return call.isWrite() && call.path == path("log/0.csv") &&
               call.bytes.find("an item\n") != std::string::npos;
    };
    EXPECT_TRUE(std::any_of(run.calls().begin(), run.calls().end(), isItem));
}

}  // namespace
}  // namespace test
