// SPDX-License-Identifier: Apache-2.0
#include "system/stop_signals.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "system/failure.h"

namespace tool {
namespace {

bool isIgnored(int number) {
    struct sigaction current = {};
    return sigaction(number, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

}  // namespace

StopSignals::StopSignals() {
    sigemptyset(&signals_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        // A blocked signal becomes pending even where it is ignored, as SIGHUP is under nohup.
        if (!isIgnored(number)) {
            sigaddset(&signals_, number);
        }
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    descriptor_ = Descriptor(signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor_.isOpen()) {
        throw systemFailure("signals", errno);
    }
}

bool StopSignals::hasCome() const { return waitFor(std::chrono::milliseconds(0)); }

bool StopSignals::waitFor(std::chrono::milliseconds time) const {
    pollfd signal = {descriptor_.get(), POLLIN, 0};
    return poll(&signal, 1, static_cast<int>(time.count())) > 0;
}

void StopSignals::accept() {
    signalfd_siginfo taken;
    // Nothing depends on which signal it was.
    [[maybe_unused]] const ssize_t length = read(descriptor_.get(), &taken, sizeof taken);
    pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
}

}  // namespace tool
