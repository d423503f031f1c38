// SPDX-License-Identifier: Apache-2.0
// Commands that hang are ended: after a time limit, and after a signal to the process that runs them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "export/batch_target.h"
#include "kills/scratch_directory.h"
#include "system/failure.h"

namespace test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using tool::CommandLimits;

/// A FIFO that a command holds open until all that it started has ended.
class HangingCommandTest : public ::testing::Test {
protected:
    HangingCommandTest() {
        mkfifo(scratch_.path("fifo").c_str(), 0600);
        fifo_ = tool::Descriptor(open(scratch_.path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        // A FIFO that nobody has opened for writing yet has no end.
        own_ = tool::Descriptor(open(scratch_.path("fifo").c_str(), O_WRONLY | O_CLOEXEC));
    }
    ~HangingCommandTest() override {
        if (signals_ && signals_->hasCome()) {
            signals_->accept();
        }
    }

    /// Nobody holds the FIFO open: all that the command started is gone.
    bool isGone() {
        own_ = {};
        char letter = 0;
        while (read(fifo_.get(), &letter, 1) == 1) {
        }
        pollfd fifo = {fifo_.get(), 0, 0};
        return poll(&fifo, 1, 20000) == 1;
    }

    /// `words` is run by the shell with the FIFO as its standard output. Returns what was thrown.
    std::string deliver(const std::string &words, CommandLimits limits, int retries = 0) {
        signals_.emplace();
        const auto note = [this](const std::string &text) {
            notes_.push_back(text);
            onNote_();
        };
        tool::CommandTerms terms{"exec > " + scratch_.path("fifo") + "; " + words, retries, note, limits};
        const auto target = tool::makeCommandTarget({}, terms, *signals_);
        target->begin()->finish();
        try {
            target->send();
            target->awaitArrival();
        } catch (const tool::Failure &failure) {
            const std::string what = failure.what();
            return what.substr(terms.command.size());
        }
        return "";
    }

    ScratchDirectory scratch_;
    tool::Descriptor fifo_;
    tool::Descriptor own_;
    std::optional<tool::StopSignals> signals_;
    std::vector<std::string> notes_;
    std::function<void()> onNote_ = [] {};  ///< Before the pause that is noted.
};

constexpr CommandLimits kShort{milliseconds(1), milliseconds(1), milliseconds(1)};

TEST_F(HangingCommandTest, TimeLimit_EndsAllThatTheCommandHasStarted) {
    EXPECT_EQ(deliver("sleep 1000 | sleep 1000", {milliseconds(200), {}, std::chrono::minutes(1)}),
              ": took longer than 0.2 s and was terminated");
    EXPECT_TRUE(isGone());
}

TEST_F(HangingCommandTest, TimeLimit_CommandThatIgnoresSigterm_IsKilled) {
    EXPECT_EQ(deliver("trap '' TERM; sleep 1000", {milliseconds(200), {}, milliseconds(1)}),
              ": took longer than 0.2 s and was terminated");
    EXPECT_TRUE(isGone());
}

TEST_F(HangingCommandTest, TimeLimit_CommandThatEndsWith0WhenItIsTold_HasNotStoredTheBatch) {
    CommandLimits limits = kShort;
    limits.timeout = milliseconds(300);
    limits.grace = std::chrono::minutes(1);
    EXPECT_EQ(deliver("trap 'exit 0' TERM; sleep 1000 & wait", limits),
              ": took longer than 0.3 s and was terminated");
}

TEST_F(HangingCommandTest, TimeLimit_Retries_EachHasTheWholeTime) {
    deliver("sleep 1000", kShort, 1);
    EXPECT_THAT(notes_,
                ElementsAre("exec > " + scratch_.path("fifo") +
                            "; sleep 1000: took longer than 0.001 s and was terminated; retrying with "
                            "the same items in 0.2 s"));
}

TEST_F(HangingCommandTest, Signal_EndsTheCommandAfterAWhile) {
    EXPECT_EQ(deliver("kill -TERM " + std::to_string(getpid()) + "; sleep 1000 | sleep 1000",
                      {{}, milliseconds(1), std::chrono::minutes(1)}),
              ": was still running 0.001 s after a signal and was terminated");
    EXPECT_TRUE(isGone());
}

TEST_F(HangingCommandTest, Signal_CommandThatIgnoresSigterm_IsKilled) {
    EXPECT_EQ(deliver("trap '' TERM; kill -TERM " + std::to_string(getpid()) + "; sleep 1000",
                      {{}, milliseconds(1), milliseconds(1)}),
              ": was still running 0.001 s after a signal and was terminated");
    EXPECT_TRUE(isGone());
}

TEST_F(HangingCommandTest, Signal_CommandThatEndsSoon_HasStoredTheBatch) {
    EXPECT_EQ(deliver("kill -TERM " + std::to_string(getpid()) + "; cat", {{}, std::chrono::minutes(1), {}}),
              "");
}

TEST_F(HangingCommandTest, Signal_InAPause_StartsTheCommandNoMore) {
    onNote_ = [] { raise(SIGTERM); };
    EXPECT_EQ(deliver("echo >> " + scratch_.path("runs") + "; false", {{}, {}, {}}, 5),
              ": exited with code 1");
    std::ifstream runs(scratch_.path("runs"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(runs), {}), "\n");
}

}  // namespace
}  // namespace test
