// SPDX-License-Identifier: Apache-2.0
// A log whose new items are to be sent, opened and compared with its cursor.
#ifndef JORN_TOOLS_PULLED_LOG_H
#define JORN_TOOLS_PULLED_LOG_H

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "cursor/log_pull.h"
#include "query/question.h"
#include "system/failure.h"

namespace tool {

/// A log, by the name that its items carry.
struct ShippedLog {
    std::string directory;  ///< As the user gave it.
    std::string place;      ///< The same as an absolute path: others look from elsewhere.
    std::string device;
    std::string log;
};

/// Opens a directory, whether it is a log or not. Throws Failure; a usage error is the same for all logs.
using LogOpener = std::function<Question(const std::string &directory)>;

/// Why one log cannot be sent now, while others can. With the exit code of a usage error, it is no log.
class LogProblem : public Failure {
public:
    using Failure::Failure;
};

/// How often a log is read while a writer comes round in it meanwhile.
constexpr int kMostPulls = 20;

/// The problem of a log that was read so often.
LogProblem overtaken(const ShippedLog &log);

struct PulledLog {
    /// Throws Failure.
    PulledLog(Question asked, const LogCursor &kept, uint64_t fresh)
        : question(std::move(asked)), pull(question.directory, question.ringSize, kept, fresh) {}
    PulledLog(const PulledLog &) = delete;
    PulledLog &operator=(const PulledLog &) = delete;

    Question question;
    LogPull pull;
};

/// `fresh` is the epoch to begin if a new one is needed. Throws LogProblem, also while files cannot be read
/// that must show first what is new; and usage errors of `open`.
std::unique_ptr<PulledLog> pullLog(const LogOpener &open, const ShippedLog &log, const LogCursor &kept,
                                   uint64_t fresh);

}  // namespace tool

#endif
