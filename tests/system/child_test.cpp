// SPDX-License-Identifier: Apache-2.0
// The helpers that start processes: whatever goes wrong in a test, nothing is left running or waited for.
#include "child.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>

#include "piped_tool.h"
#include "system/descriptor.h"
#include "tool_run.h"

namespace test {
namespace {

constexpr Milliseconds kShort{20};

/// Less than the minute after which a process that was left running ends by itself.
constexpr Milliseconds kLong{20000};

/// A pipe that processes inherit, to be seen at work and to be missed.
class Lifeline {
public:
    Lifeline() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader_ = tool::Descriptor(ends[0]);
        writer_ = tool::Descriptor(ends[1]);
    }

    bool tug() const { return ::write(writer_.get(), "t", 1) == 1; }
    bool isTugged() const { return bytesRead() == 1; }

    /// Whether all processes that inherited it have ended.
    bool isCut() {
        writer_ = tool::Descriptor();
        return bytesRead() == 0;
    }

private:
    ssize_t bytesRead() const {
        char byte = 0;
        return isReadyWithin(reader_.get(), POLLIN, kLong) ? ::read(reader_.get(), &byte, 1) : -1;
    }

    tool::Descriptor reader_;
    tool::Descriptor writer_;
};

/// Ends when it is killed, or after a minute, so that a broken helper leaves nothing.
[[noreturn]] void sleepOn(const Lifeline &line) {
    alarm(60);
    line.tug();
    for (;;) {
        pause();
    }
}

Child sleeper(const Lifeline &line) {
    Child child(fork());
    if (child.process() == 0) {
        Child::begin();
        sleepOn(line);
    }
    EXPECT_TRUE(line.isTugged());
    return child;
}

TEST(ChildTest, Destruction_ProcessHasStartedAnother_BothAreKilled) {
    Lifeline line;
    {
        const Child child(fork());
        if (child.process() == 0) {
            Child::begin();
            fork();
            sleepOn(line);
        }
        EXPECT_TRUE(line.isTugged());
        EXPECT_TRUE(line.isTugged());
    }
    EXPECT_TRUE(line.isCut());
}

TEST(ChildTest, TestProgram_IsKilled_ProcessIsKilledToo) {
    Lifeline line;
    Child program(fork());
    if (program.process() == 0) {
        const Child child = sleeper(line);
        raise(SIGKILL);
    }
    EXPECT_EQ(program.wait(), 128 + SIGKILL);
    EXPECT_TRUE(line.isCut());
}

TEST(ChildTest, Wait_ProcessDoesNotEnd_TestFailsAndProcessIsKilled) {
    Lifeline line;
    Child child = sleeper(line);
    int status = 0;
    EXPECT_NONFATAL_FAILURE(status = child.wait(kShort), "has not ended within 20 ms");
    EXPECT_EQ(status, 128 + SIGKILL);
    EXPECT_TRUE(line.isCut());
}

TEST(ChildTest, Wait_ProcessIsStopped_TestFailsAndProcessIsKilled) {
    Lifeline line;
    Child child = sleeper(line);
    child.halt();
    EXPECT_NONFATAL_FAILURE(child.wait(kShort), "has not ended within 20 ms");
    EXPECT_TRUE(line.isCut());
}

TEST(ChildTest, Wait_ProcessCouldNotBeStarted_TestFailsWithoutWaitingForAnother) {
    const Lifeline line;
    const Child other = sleeper(line);
    Child child;
    EXPECT_NONFATAL_FAILURE(child = Child(-1), "no process can be started");
    EXPECT_NONFATAL_FAILURE(child.wait(), "no process is running");
}

TEST(ChildTest, Signal_ProcessHasEnded_TestFailsAndNobodyGetsIt) {
    constexpr int kHarmless = 0;
    EXPECT_FATAL_FAILURE(Child().signal(kHarmless), "no process is running");
}

TEST(ChildTest, Halt_ProcessHasEnded_TestFails) {
    static Child *ended = nullptr;
    Lifeline line;
    Child child(fork());
    if (child.process() == 0) {
        _exit(0);
    }
    ASSERT_TRUE(line.isCut());
    ended = &child;
    EXPECT_FATAL_FAILURE(ended->halt(), "the process has ended");
    EXPECT_FATAL_FAILURE(ended->halt(), "no process is running");
}

/// Those that run the tool.
class HelperTest : public ToolTest {};

TEST_F(HelperTest, Feed_ToolDoesNotRead_TestFails) {
    static RunningTool *halted = nullptr;
    constexpr size_t kMoreThanAPipeHolds = 1 << 21;
    RunningTool tool(root_, {"record", "log"});
    tool.halt();
    halted = &tool;
    EXPECT_FATAL_FAILURE(halted->feed(std::string(kMoreThanAPipeHolds, 'x'), kShort),
                         "the tool does not read its input");
}

TEST_F(HelperTest, WaitUntil_FilesAreClosedAgainAndAgainInVain_TestFails) {
    static CloseWatch *watch = nullptr;
    static std::function<bool()> holds;
    CloseWatch own(root_);
    int looks = 0;
    holds = [&] {
        write("other", "x");
        return ++looks == 10000;
    };
    watch = &own;
    EXPECT_FATAL_FAILURE(watch->waitUntil(holds, kShort), "nothing was written");
}

TEST_F(HelperTest, NextTexts_NoLineComes_TestWaitsAndFailsOnce) {
    makeDirectory("log");
    PipedTool tool(root_, {"follow", "log"}, kShort);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_NONFATAL_FAILURE(tool.nextTexts(2000), "no line came, but ''");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kLong);
}

TEST_F(HelperTest, Rest_OutputIsNotClosed_TestFails) {
    makeDirectory("log");
    PipedTool tool(root_, {"follow", "log"}, kShort);
    EXPECT_NONFATAL_FAILURE(tool.rest(), "the output was not closed");
}

}  // namespace
}  // namespace test
