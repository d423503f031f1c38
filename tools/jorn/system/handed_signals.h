// SPDX-License-Identifier: Apache-2.0
// Signals that a process passes on to the command that it runs.
#ifndef JORN_TOOLS_HANDED_SIGNALS_H
#define JORN_TOOLS_HANDED_SIGNALS_H

#include <signal.h>

#include <functional>

#include "system/descriptor.h"

namespace tool {

/// SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1 and SIGUSR2, and SIGCHLD, as a descriptor to poll. From
/// construction on they are held until taken; those that are ignored stay so. Construct it before any thread.
class HandedSignals {
public:
    /// Throws Failure.
    HandedSignals();

    /// Readable when a signal has arrived.
    int descriptor() const { return descriptor_.get(); }

    /// Takes all signals that have arrived, and calls `pass` with those that the command has not received
    /// itself (it does receive the terminal's). Returns whether one of them asks to end.
    bool handOn(const std::function<void(int)> &pass) const;

    /// The mask before construction, which a command is started with.
    const sigset_t &formerMask() const { return formerMask_; }

private:
    sigset_t formerMask_;
    Descriptor descriptor_;
};

}  // namespace tool

#endif
