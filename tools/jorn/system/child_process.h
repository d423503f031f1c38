// SPDX-License-Identifier: Apache-2.0
// A command that runs as a child of this process, which reads its outputs.
#ifndef JORN_TOOLS_CHILD_PROCESS_H
#define JORN_TOOLS_CHILD_PROCESS_H

#include <signal.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "system/descriptor.h"

namespace tool {

/// Exit codes as env(1) uses them.
inline constexpr int kExitOfRunner = 125;  ///< The program that runs the command has failed itself.
inline constexpr int kExitNotRun = 126;    ///< The command exists but cannot be run.
inline constexpr int kExitNotFound = 127;

class ChildProcess {
public:
    /// Starts the command, found through PATH, with this process's standard input and the given signal mask.
    /// Throws Failure with one of the exit codes above.
    ChildProcess(const std::vector<std::string> &words, const sigset_t &mask);

    /// Sends a signal to the command, unless it has ended.
    void signal(int number);

    /// To be read from; whoever has read to the end closes it.
    Descriptor &output() { return output_; }
    Descriptor &error() { return error_; }

    /// The exit code once it has ended, or 128 plus the signal's number when a signal ended it; nothing
    /// before.
    std::optional<int> ended();

private:
    pid_t id_ = -1;
    Descriptor output_;
    Descriptor error_;
    std::optional<int> exitCode_;
};

}  // namespace tool

#endif
