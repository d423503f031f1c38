// SPDX-License-Identifier: Apache-2.0
// A command that runs beside this process, its outputs led here.
#ifndef JORN_TOOLS_CHILD_PROCESS_H
#define JORN_TOOLS_CHILD_PROCESS_H

#include <signal.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "system/descriptor.h"

namespace tool {

/// Exit codes as env(1) has them.
inline constexpr int kExitOfRunner = 125;  ///< What runs the command has failed.
inline constexpr int kExitNotRun = 126;    ///< The command is there, and cannot be run.
inline constexpr int kExitNotFound = 127;

class ChildProcess {
public:
    /// Starts the command, which is looked for in PATH, with this standard input and this mask of signals.
    /// Throws Failure with one of the exit codes above.
    ChildProcess(const std::vector<std::string> &words, const sigset_t &mask);

    /// Sends a signal to the command, unless it has ended.
    void signal(int number);

    /// To be read from; closed by whoever has read to the end.
    Descriptor &output() { return output_; }
    Descriptor &error() { return error_; }

    /// The exit code once it has ended, 128 and the signal's number when a signal ended it; nothing before.
    std::optional<int> ended();

private:
    pid_t id_ = -1;
    Descriptor output_;
    Descriptor error_;
    std::optional<int> exitCode_;
};

}  // namespace tool

#endif
