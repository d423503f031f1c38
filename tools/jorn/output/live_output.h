// SPDX-License-Identifier: Apache-2.0
// Standard output of a command that runs until it is stopped.
#ifndef JORN_TOOLS_LIVE_OUTPUT_H
#define JORN_TOOLS_LIVE_OUTPUT_H

#include <string>
#include <string_view>

#include "system/stop_signals.h"

namespace tool {

/// Writes so that a reader that stops reading cannot keep the command from being stopped. A stop signal or a
/// reader that is gone ends the output, which is not an error; any other failure throws Failure.
class LiveOutput {
public:
    /// The signals must outlive the output.
    explicit LiveOutput(const StopSignals &signals) : signals_(signals) {}

    /// Takes text to be written with the next flush, or at once when there is a lot. False when the output
    /// has ended.
    bool write(std::string_view text);

    /// Writes what was taken. False when the output has ended.
    bool flush();

private:
    bool waitUntilWritable();
    size_t writeSome(std::string_view text);

    const StopSignals &signals_;
    std::string buffer_;
    bool isStopped_ = false;
    bool isClosed_ = false;
};

}  // namespace tool

#endif
