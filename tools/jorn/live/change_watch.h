// SPDX-License-Identifier: Apache-2.0
// Waits until something in a directory may have changed, or there is a reason to stop.
#ifndef JORN_TOOLS_CHANGE_WATCH_H
#define JORN_TOOLS_CHANGE_WATCH_H

#include <optional>
#include <string>

#include "system/descriptor.h"
#include "system/stop_signals.h"

namespace tool {

/// Told by the system where it can tell, which it cannot of directories that are not there, nor of what
/// others do on file systems that are shared over a network or served by a program: these are looked at from
/// time to time.
class ChangeWatch {
public:
    /// Time between two looks where changes are not told.
    static constexpr int kPollMilliseconds = 500;

    /// Longest time between two looks. That the path leads elsewhere, because a link was turned, a directory
    /// above renamed or an empty one that is still open removed, is told by nobody.
    static constexpr int kLongestMilliseconds = 2000;

    enum class Reason { Look, Stop };

    /// With `isPolling`, it never asks the system to tell. The signals must outlive the watch.
    ChangeWatch(std::string path, const StopSignals &signals, bool isPolling);

    /// Watches what the path leads to now. To be called before each look, so that nothing that happens from
    /// the look on is missed.
    void arm();

    /// Returns at once when something changed since arm() was called. With `isSoon`, waits for no longer than
    /// where changes are not told; else up to the longest time, or `limit` milliseconds where that is less.
    /// Stop: a signal came, or nobody reads standard output any more.
    Reason wait(bool isSoon, std::optional<int> limit);

private:
    void drop();

    const std::string path_;
    const StopSignals &signals_;
    const bool isPolling_;
    Descriptor notices_;
    int watched_ = -1;
};

}  // namespace tool

#endif
