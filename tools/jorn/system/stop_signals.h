// SPDX-License-Identifier: Apache-2.0
// SIGINT, SIGTERM and SIGHUP as a descriptor to poll.
#ifndef JORN_TOOLS_STOP_SIGNALS_H
#define JORN_TOOLS_STOP_SIGNALS_H

#include <signal.h>

#include <chrono>

#include "system/descriptor.h"

namespace tool {

/// From its construction on, a signal is kept until accept() takes it, so none is missed between a test
/// and a wait. Construct it before any thread. One that was ignored stays ignored.
class StopSignals {
public:
    /// Throws Failure.
    StopSignals();

    /// Readable when a signal has arrived.
    int descriptor() const { return descriptor_.get(); }

    /// Whether a signal has arrived that nobody has taken.
    bool hasCome() const;

    /// Waits until a signal has arrived, for at most this time. Whether one has arrived.
    bool waitFor(std::chrono::milliseconds time) const;

    /// Takes the signal that has arrived; the next one ends the process at once.
    void accept();

private:
    sigset_t signals_;
    Descriptor descriptor_;
};

}  // namespace tool

#endif
