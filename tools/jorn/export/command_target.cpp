// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "export/batch_target.h"
#include "system/descriptor.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr CommandLimits::Time kFirstPause = std::chrono::milliseconds(200);
constexpr CommandLimits::Time kLongestPause = std::chrono::minutes(1);

std::string secondsText(CommandLimits::Time time) {
    std::array<char, 32> text{};
    snprintf(text.data(), text.size(), "%g s", static_cast<double>(time.count()) / 1000.0);
    return text.data();
}

std::string whyEnded(int status) {
    return WIFSIGNALED(status) ? "was killed by signal " + std::to_string(WTERMSIG(status))
                               : "exited with code " + std::to_string(WEXITSTATUS(status));
}

class CommandTarget : public BatchTarget {
public:
    CommandTarget(FormTerms terms, CommandTerms command, const StopSignals &signals)
        : terms_(std::move(terms)), command_(std::move(command)), signals_(signals) {}

    std::unique_ptr<ExportSink> begin() override {
        batch_ = Descriptor(memfd_create("jorn-batch", MFD_CLOEXEC));
        if (!batch_.isOpen()) {
            throw systemFailure("a batch of items", errno);
        }
        return makeLineSink(terms_, batch_.get(), "a batch of items");
    }

    void send() override {
        sent_ = std::move(batch_);
        start();
    }

    void awaitArrival() override {
        try {
            awaitSuccess();
        } catch (const Failure &) {
            running_.reset();
            throw;
        }
    }

private:
    void awaitSuccess() {
        CommandLimits::Time pause = kFirstPause;
        for (int failures = 0;; ++failures) {
            const std::string failure = awaitEnd();
            if (failure.empty()) {
                known_.clear();
                return;
            }
            const std::string what = command_.command + ": " + failure;
            if (failures == command_.retries || !pauseBeforeRetry(what, pause)) {
                known_ = what;
                throw Failure(what);
            }
            pause = std::min(2 * pause, kLongestPause);
            start();
        }
    }

    /// False when a signal has come, before the pause or in it.
    bool pauseBeforeRetry(const std::string &failure, CommandLimits::Time pause) const {
        if (signals_.hasCome()) {
            return false;
        }
        if (failure != known_) {
            command_.report(failure + "; retrying with the same items in " + secondsText(pause));
        }
        return !signals_.waitFor(pause);
    }

    void start() { running_.emplace(command_.command, reopened().get()); }

    /// Why the batch has not arrived; empty when it has. A command that was asked to end may have stored a
    /// part of it, whatever its exit code is.
    std::string awaitEnd() {
        switch (running_->wait(signals_, command_.limits)) {
            case ShellCommand::End::TimedOut:
                return "took longer than " + secondsText(*command_.limits.timeout) + " and was terminated";
            case ShellCommand::End::Stopped:
                return "was still running " + secondsText(command_.limits.patience) +
                       " after a signal and was terminated";
            case ShellCommand::End::Own:
                break;
        }
        return running_->status() == 0 ? "" : whyEnded(running_->status());
    }

    /// From the first byte, whatever was read of it before.
    Descriptor reopened() const {
        Descriptor input(open(descriptorName(sent_.get()).c_str(), O_RDONLY | O_CLOEXEC));
        if (!input.isOpen()) {
            throw systemFailure("a batch of items", errno);
        }
        return input;
    }

    FormTerms terms_;
    CommandTerms command_;
    const StopSignals &signals_;
    Descriptor batch_;                     ///< That is being filled.
    Descriptor sent_;                      ///< That is under way.
    std::optional<ShellCommand> running_;  ///< What takes it.
    std::string known_;                    ///< Why the batch before this one failed in the end.
};

}  // namespace

std::unique_ptr<BatchTarget> makeCommandTarget(const FormTerms &terms, CommandTerms command,
                                               const StopSignals &signals) {
    return std::make_unique<CommandTarget>(terms, std::move(command), signals);
}

}  // namespace tool
