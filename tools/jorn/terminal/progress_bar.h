// SPDX-License-Identifier: Apache-2.0
// Shows on a terminal how much has been read.
#ifndef JORN_TOOLS_PROGRESS_BAR_H
#define JORN_TOOLS_PROGRESS_BAR_H

#include <stdint.h>

#include <chrono>
#include <string>

namespace tool {

/// Drawn on standard error, only if that is a terminal. Erased on destruction.
class ProgressBar {
public:
    explicit ProgressBar(bool isWanted);
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /// Begins at 0 of `total` bytes; the name stands before the bar.
    void start(const std::string &name, uint64_t total);

    /// Redraws the bar, but no more often than the eye can follow.
    void show(uint64_t done);

    void clear();

private:
    using Clock = std::chrono::steady_clock;

    void draw(uint64_t percent);

    bool isWanted_;
    bool isDrawn_ = false;
    std::string name_;
    uint64_t total_ = 0;
    Clock::time_point lastDrawn_;
};

}  // namespace tool

#endif
