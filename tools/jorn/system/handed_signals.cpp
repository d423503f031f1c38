// SPDX-License-Identifier: Apache-2.0
#include "system/handed_signals.h"

#include <errno.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "system/failure.h"

namespace tool {
namespace {

bool isIgnored(int number) {
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

bool asksToEnd(uint32_t number) {
    return number == SIGINT || number == SIGTERM || number == SIGHUP || number == SIGQUIT;
}

}  // namespace

HandedSignals::HandedSignals() {
    // The parent process may have left it ignored, and then a child's end could not be waited for.
    signal(SIGCHLD, SIG_DFL);
    sigset_t taken;
    sigemptyset(&taken);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGCHLD}) {
        // When blocked, even an ignored signal would be delivered to the descriptor.
        if (!isIgnored(number)) {
            sigaddset(&taken, number);
        }
    }
    pthread_sigmask(SIG_BLOCK, &taken, &formerMask_);
    descriptor_ = Descriptor(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor_.isOpen()) {
        throw systemFailure("signals", errno);
    }
}

bool HandedSignals::handOn(const std::function<void(int)> &pass) const {
    bool isEnd = false;
    signalfd_siginfo taken;
    while (read(descriptor_.get(), &taken, sizeof taken) == sizeof taken) {
        if (taken.ssi_signo == SIGCHLD) {
            continue;
        }
        // The kernel sends a terminal's signals to its whole foreground process group.
        if (taken.ssi_code != SI_KERNEL) {
            pass(static_cast<int>(taken.ssi_signo));
        }
        isEnd = isEnd || asksToEnd(taken.ssi_signo);
    }
    return isEnd;
}

}  // namespace tool
