// SPDX-License-Identifier: Apache-2.0
#include "export/shell_command.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "system/failure.h"

namespace tool {
namespace {

using Time = CommandLimits::Time;

/// Starts a process as it would be without the signals that this one waits for or ignores.
class SpawnAttributes {
public:
    explicit SpawnAttributes(bool isGroup) {
        sigset_t none;
        sigset_t ignoredHere;
        sigemptyset(&none);
        sigemptyset(&ignoredHere);
        sigaddset(&ignoredHere, SIGPIPE);
        sigaddset(&ignoredHere, SIGXFSZ);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &ignoredHere);
        posix_spawnattr_setpgroup(&attributes_, 0);
        const int group = isGroup ? POSIX_SPAWN_SETPGROUP : 0;
        posix_spawnattr_setflags(&attributes_,
                                 static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group));
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

/// Whether this process is what the user of its terminal sees at work. Another process group would be stopped
/// when it reads from there.
bool isInForeground() {
    const Descriptor terminal(open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC));
    return terminal.isOpen() && tcgetpgrp(terminal.get()) == getpgrp();
}

/// As poll() takes it: -1 without a limit.
int pollTime(const std::optional<Time> &left) {
    constexpr Time kMost = std::chrono::hours(24);
    return left ? static_cast<int>(std::clamp(*left, Time(0), kMost).count()) : -1;
}

}  // namespace

ShellCommand::ShellCommand(const std::string &command, int input)
    : isGroup_(!isInForeground()), begun_(Clock::now()) {
    const SpawnAttributes attributes(isGroup_);
    const SpawnActions actions(input);
    const std::array<const char *, 5> words = {"sh", "-c", "--", command.c_str(), nullptr};
    const int error = posix_spawn(&process_, "/bin/sh", actions.get(), attributes.get(),
                                  const_cast<char *const *>(words.data()), environ);
    if (error != 0) {
        process_ = -1;
        throw systemFailure("/bin/sh", error);
    }
    // Not every C library that the tool is built with has a function for it.
    descriptor_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
    if (!descriptor_.isOpen()) {
        const int reason = errno;
        signal(SIGKILL);
        reap();
        throw systemFailure("/bin/sh", reason);
    }
}

ShellCommand::~ShellCommand() {
    if (process_ != -1) {
        signal(SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

ShellCommand::End ShellCommand::wait(const StopSignals &signals, const CommandLimits &limits) {
    std::array<pollfd, 2> events = {{{descriptor_.get(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}}};
    std::optional<Time> left = limits.timeout;
    int count = 0;
    do {
        if (limits.timeout) {
            left = *limits.timeout - std::chrono::duration_cast<Time>(Clock::now() - begun_);
        }
        count = poll(events.data(), events.size(), pollTime(left));
    } while (count < 0 && errno == EINTR);
    End end = count == 0 ? End::TimedOut : End::Own;
    const bool hasEnded = count > 0 && events[0].revents != 0;
    // A batch that is nearly stored may still be.
    if (count > 0 && !hasEnded && !endsWithin(limits.patience)) {
        end = End::Stopped;
    }
    if (end != End::Own) {
        signal(SIGTERM);
        if (!endsWithin(limits.grace)) {
            signal(SIGKILL);
        }
    }
    reap();
    return end;
}

bool ShellCommand::endsWithin(Time time) const {
    pollfd event = {descriptor_.get(), POLLIN, 0};
    return poll(&event, 1, pollTime(time)) > 0;
}

void ShellCommand::signal(int number) const { kill(isGroup_ ? -process_ : process_, number); }

void ShellCommand::reap() {
    while (waitpid(process_, &status_, 0) < 0) {
        if (errno != EINTR) {
            throw systemFailure("/bin/sh", errno);
        }
    }
    process_ = -1;
}

}  // namespace tool
