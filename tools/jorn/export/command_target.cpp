// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "export/batch_target.h"
#include "system/descriptor.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr int kFirstPauseMilliseconds = 200;
constexpr int kLongestPauseMilliseconds = 60000;

/// Starts a process as it would be without the signals that this one waits for or ignores.
class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t none;
        sigset_t ignoredHere;
        sigemptyset(&none);
        sigemptyset(&ignoredHere);
        sigaddset(&ignoredHere, SIGPIPE);
        sigaddset(&ignoredHere, SIGXFSZ);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &ignoredHere);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;
    const posix_spawnattr_t *get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

class SpawnActions {
public:
    explicit SpawnActions(int input) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
    }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions &) = delete;
    SpawnActions &operator=(const SpawnActions &) = delete;
    const posix_spawn_file_actions_t *get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

/// Its status as wait() gives it. Throws Failure when there is none.
int runShell(const std::string &command, int input) {
    const SpawnAttributes attributes;
    const SpawnActions actions(input);
    const std::array<const char *, 5> words = {"sh", "-c", "--", command.c_str(), nullptr};
    pid_t process = -1;
    const int error = posix_spawn(&process, "/bin/sh", actions.get(), attributes.get(),
                                  const_cast<char *const *>(words.data()), environ);
    if (error != 0) {
        throw systemFailure("/bin/sh", error);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            throw systemFailure("/bin/sh", errno);
        }
    }
    return status;
}

std::string whyFailed(int status) {
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with exit code " + std::to_string(WEXITSTATUS(status));
}

std::string secondsText(int milliseconds) {
    std::array<char, 32> text{};
    snprintf(text.data(), text.size(), "%g s", milliseconds / 1000.0);
    return text.data();
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

    void deliver() override {
        int pause = kFirstPauseMilliseconds;
        for (int failures = 0;; ++failures) {
            const int status = runShell(command_.command, reopened().get());
            if (status == 0) {
                return;
            }
            const std::string what = command_.command + ": " + whyFailed(status);
            if (failures == command_.retries || signals_.hasCome()) {
                throw Failure(what);
            }
            command_.tell(what + "; the same items go to it again in " + secondsText(pause));
            wait(pause);
            pause = std::min(2 * pause, kLongestPauseMilliseconds);
        }
    }

private:
    /// From the first byte, whatever was read of it before.
    Descriptor reopened() const {
        Descriptor input(open(descriptorName(batch_.get()).c_str(), O_RDONLY | O_CLOEXEC));
        if (!input.isOpen()) {
            throw systemFailure("a batch of items", errno);
        }
        return input;
    }

    void wait(int milliseconds) const {
        pollfd signal = {signals_.descriptor(), POLLIN, 0};
        poll(&signal, 1, milliseconds);
    }

    FormTerms terms_;
    CommandTerms command_;
    const StopSignals &signals_;
    Descriptor batch_;
};

}  // namespace

std::unique_ptr<BatchTarget> makeCommandTarget(const FormTerms &terms, CommandTerms command,
                                               const StopSignals &signals) {
    return std::make_unique<CommandTarget>(terms, std::move(command), signals);
}

}  // namespace tool
