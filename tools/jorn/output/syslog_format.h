// SPDX-License-Identifier: Apache-2.0
// Items as syslog messages by RFC 5424, each on a line of its own:
//   <132>1 2026-11-21T06:47:08+01:00 - door - - [jorn@32473 level="1" slot="5"] door open
// Where an item's origin is given, there are also device, log, epoch and seq, as far as they are known.
// 32473 is the enterprise number that RFC 5612 reserves; this tool has none of its own.
#ifndef JORN_TOOLS_SYSLOG_FORMAT_H
#define JORN_TOOLS_SYSLOG_FORMAT_H

#include <array>
#include <optional>
#include <string>

#include "log/item.h"
#include "log/names.h"
#include "module_limits.h"
#include "output/item_origin.h"
#include "terminal/time_text.h"

namespace tool {

/// Syslog severities: 0 is an emergency, 7 a debug message.
inline constexpr int kSeverityCount = 8;

/// The level for a message of this severity: a severity that some level has by default gives that level, any
/// other one the level of the next less severe of these.
int levelOfSeverity(int severity);

/// The severity of each level, 0 to 7.
using Severities = std::array<int, jorn::kLevelMax>;

/// The number of a facility given by number or by name; nothing when there is no such facility.
std::optional<int> facilityNumber(const std::string &text);

/// Four numbers separated by commas; nothing for any other text.
std::optional<Severities> parseSeverities(const std::string &text);

/// Whether a message can contain it: 1 to 255 printable ASCII characters without blanks.
bool isHostName(const std::string &text);

struct SyslogStyle {
    int facility = 0;
    Severities severities{};
    std::string hostName = "-";
    std::string log;                  ///< Name of the items' log.
    ItemOrigin origin{};              ///< The parts of it that each message gives.
    bool isUtc = false;               ///< UTC is the local time of the process.
    bool isEscaped = false;           ///< For a terminal: texts pass through escaped().
    const Names *names = &noNames();  ///< Shown besides the numbers.
};

class SyslogFormatter {
public:
    explicit SyslogFormatter(SyslogStyle style);

    /// The item's message with a line feed.
    std::string format(const Item &item);

private:
    int priorityOf(int32_t level) const;
    std::string timeOf(int64_t seconds);
    std::string dataOf(const Item &item) const;
    std::string messageOf(const Item &item) const;

    SyslogStyle style_;
    std::string applicationName_;
    TimeFormatter time_;
};

}  // namespace tool

#endif
