// SPDX-License-Identifier: Apache-2.0
// What cursors say about their logs, and what would be sent now.
#ifndef JORN_TOOLS_CURSOR_REPORT_H
#define JORN_TOOLS_CURSOR_REPORT_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "cursor/numbering.h"
#include "export/pulled_log.h"

namespace tool {

/// A log compared with its cursor.
struct LogReport {
    LogCursor kept;                     ///< Without epochs before the first transfer.
    std::optional<LogProblem> problem;  ///< Why it cannot be sent; the numbers below are 0 then.
    uint64_t behind = 0;                ///< Items that are to be sent,
    uint64_t epoch = 0;                 ///< in this epoch,
    uint64_t first = 0;                 ///< with numbers from this one
    uint64_t last = 0;                  ///< to this one.
    std::vector<std::string> notes;
    bool hasDamage = false;
};

/// Looks at a log without sending anything. Usage errors of `open` are thrown.
LogReport reportOn(const ShippedLog &log, const LogCursor &kept, const LogOpener &open);

/// What has been sent, one line per log; times in local time, or in UTC.
std::string statusText(const std::vector<LogReport> &reports, bool isUtc);

/// The same as an object for each log, each on a line of its own.
std::string statusJson(const std::vector<LogReport> &reports);

/// What would be sent, one line for each log that has something to send.
std::string planText(const std::vector<LogReport> &reports);

}  // namespace tool

#endif
