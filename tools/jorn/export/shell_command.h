// SPDX-License-Identifier: Apache-2.0
// A command of the user that is running.
#ifndef JORN_TOOLS_SHELL_COMMAND_H
#define JORN_TOOLS_SHELL_COMMAND_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "system/descriptor.h"
#include "system/stop_signals.h"

namespace tool {

/// How long a command may take.
struct CommandLimits {
    using Time = std::chrono::milliseconds;
    std::optional<Time> timeout{};            ///< From its start.
    Time patience = std::chrono::seconds(5);  ///< For its own end after a signal came to this process,
    Time grace = std::chrono::seconds(5);     ///< and then from SIGTERM to SIGKILL.
};

/// It has a process group of its own, so that all that it started can be ended with it. Only where somebody
/// sits at the terminal of this process, it stays in this one's, so that it can ask for a password.
class ShellCommand {
public:
    enum class End {
        Own,       ///< By itself.
        TimedOut,  ///< It was ended, since it took too long,
        Stopped,   ///< or since a signal came to this process.
    };

    /// Starts it. Throws Failure.
    ShellCommand(const std::string &command, int input);
    /// Ends it, if it is still running, by SIGKILL.
    ~ShellCommand();
    ShellCommand(const ShellCommand &) = delete;
    ShellCommand &operator=(const ShellCommand &) = delete;

    /// Waits until it has ended, and sees to it that it does. Throws Failure.
    End wait(const StopSignals &signals, const CommandLimits &limits);

    /// As wait() of the system gives it; only after it has ended.
    int status() const { return status_; }

private:
    using Clock = std::chrono::steady_clock;

    bool endsWithin(CommandLimits::Time time) const;
    void signal(int number) const;
    void reap();

    bool isGroup_;
    pid_t process_ = -1;  ///< -1 when it has ended.
    Descriptor descriptor_;
    Clock::time_point begun_;
    int status_ = 0;
};

}  // namespace tool

#endif
