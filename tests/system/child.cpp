// SPDX-License-Identifier: Apache-2.0
#include "child.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace test {
namespace {

/// Whether the process ends within the limit. It is not reaped.
bool endsWithin(pid_t process, Milliseconds limit) {
    const int end = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    EXPECT_GE(end, 0) << strerror(errno);
    const bool hasEnded = isReadyWithin(end, POLLIN, limit);
    close(end);
    return hasEnded;
}

}  // namespace

bool isReadyWithin(int descriptor, short events, Milliseconds limit) {
    pollfd ready = {descriptor, events, 0};
    return poll(&ready, 1, static_cast<int>(limit.count())) == 1;
}

Child::Child(pid_t process) : process_(process) {
    EXPECT_GE(process, 0) << "no process can be started: " << strerror(errno);
}

Child::Child(Child &&other) noexcept : process_(std::exchange(other.process_, -1)) {}

Child &Child::operator=(Child &&other) noexcept {
    std::swap(process_, other.process_);
    return *this;
}

void Child::begin() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
}

void Child::signal(int number) const {
    ASSERT_GT(process_, 0) << "no process is running";
    ASSERT_EQ(kill(process_, number), 0);
}

void Child::halt() {
    signal(SIGSTOP);
    if (process_ <= 0) {
        return;
    }
    // Nothing can ignore that signal, so this wait has an end.
    int status = 0;
    ASSERT_EQ(waitpid(process_, &status, WUNTRACED), process_);
    if (!WIFSTOPPED(status)) {
        process_ = -1;
        FAIL() << "the process has ended";
    }
}

int Child::wait(Milliseconds limit) {
    if (process_ <= 0) {
        ADD_FAILURE() << "no process is running";
        return -1;
    }
    if (!endsWithin(process_, limit)) {
        ADD_FAILURE() << "process " << process_ << " has not ended within " << limit.count() << " ms";
        end();
        return 128 + SIGKILL;
    }
    int status = 0;
    EXPECT_EQ(waitpid(process_, &status, 0), process_);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Child::end() {
    if (process_ <= 0) {
        return;
    }
    // It may not have made its group yet.
    kill(-process_, SIGKILL);
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

}  // namespace test
