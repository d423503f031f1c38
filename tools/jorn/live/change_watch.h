// SPDX-License-Identifier: Apache-2.0
// Waits until something in one of several directories may have changed, or there is a reason to stop.
#ifndef JORN_TOOLS_CHANGE_WATCH_H
#define JORN_TOOLS_CHANGE_WATCH_H

#include <optional>
#include <string>
#include <vector>

#include "system/descriptor.h"
#include "system/stop_signals.h"

namespace tool {

/// Uses the system's change notices where it can. There are none for a directory that does not exist, nor for
/// changes by others on file systems shared over a network or served by a program: these are polled.
class ChangeWatch {
public:
    /// Time between two looks when polling.
    static constexpr int kPollMilliseconds = 500;

    /// Longest time between two looks. No notice is sent when the path comes to lead elsewhere because a link
    /// was changed, a parent directory renamed, or an empty directory that is still open removed.
    static constexpr int kLongestMilliseconds = 2000;

    enum class Reason { Look, Stop };

    /// Whether a reader of standard output who is gone is a reason to stop.
    enum class Reader { Needed, Ignored };

    /// With `isPolling`, change notices are never used. The signals must outlive the watch.
    ChangeWatch(std::vector<std::string> paths, const StopSignals &signals, bool isPolling,
                Reader reader = Reader::Needed);

    /// Watches what the paths lead to now. Call it before each look, so that nothing that happens after the
    /// look is missed.
    void arm();

    /// Returns at once when something has changed since arm() was called. With `isSoon`, waits no longer than
    /// when polling; otherwise up to the longest time, or `limit` milliseconds if that is less. Stop: a
    /// signal arrived, or nobody reads standard output any more.
    Reason wait(bool isSoon, std::optional<int> limit);

private:
    int watchOn(const std::string &path) const;
    bool isWatching(int watch) const;

    const std::vector<std::string> paths_;
    const StopSignals &signals_;
    const bool isPolling_;
    const Reader reader_;
    Descriptor notices_;
    std::vector<int> watched_;  ///< By path; -1 for those that are polled.
};

}  // namespace tool

#endif
