// SPDX-License-Identifier: Apache-2.0
// A running command of the user.
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
    Time patience = std::chrono::seconds(5);  ///< For its own end after this process got a signal,
    Time grace = std::chrono::seconds(5);     ///< and then from SIGTERM to SIGKILL.
};

/// It has its own process group, so that everything that it started can be ended with it. Only if somebody
/// sits at the terminal of this process does it stay in the group of this process, so that it can ask for a
/// password.
class ShellCommand {
public:
    enum class End {
        Own,       ///< By itself.
        TimedOut,  ///< It was ended because it took too long,
        Stopped,   ///< or because this process got a signal.
    };

    /// Starts it. Throws Failure.
    ShellCommand(const std::string &command, int input);
    /// Ends it with SIGKILL if it is still running.
    ~ShellCommand();
    ShellCommand(const ShellCommand &) = delete;
    ShellCommand &operator=(const ShellCommand &) = delete;

    /// Waits until it has ended, and makes sure that it does. Throws Failure.
    End wait(const StopSignals &signals, const CommandLimits &limits);

    /// As the system's wait() reports it; only after it has ended.
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
