// SPDX-License-Identifier: Apache-2.0
// Signals that a process hands on to the command that it runs.
#ifndef JORN_TOOLS_HANDED_SIGNALS_H
#define JORN_TOOLS_HANDED_SIGNALS_H

#include <signal.h>

#include <functional>

#include "system/descriptor.h"

namespace tool {

/// SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1 and SIGUSR2, and SIGCHLD, as something to poll for. From its
/// construction on they wait to be taken; those that are ignored stay so. Construct it before any thread.
class HandedSignals {
public:
    /// Throws Failure.
    HandedSignals();

    /// Readable when a signal has come.
    int descriptor() const { return descriptor_.get(); }

    /// Takes all that have come, and calls `pass` with those that the command has not had itself, as it has
    /// had those of the terminal. Returns whether one of them asks to end.
    bool handOn(const std::function<void(int)> &pass) const;

    /// What was blocked before, which a command is started with.
    const sigset_t &formerMask() const { return formerMask_; }

private:
    sigset_t formerMask_;
    Descriptor descriptor_;
};

}  // namespace tool

#endif
