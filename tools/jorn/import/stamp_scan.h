// SPDX-License-Identifier: Apache-2.0
// Takes the parts of a time off the front of a line.
#ifndef JORN_TOOLS_STAMP_SCAN_H
#define JORN_TOOLS_STAMP_SCAN_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <string_view>

#include "terminal/civil_time.h"

namespace tool {

/// Each take function returns whether its part was there; if not, some of it may have been taken.
class StampScan {
public:
    explicit StampScan(std::string_view line) : line_(line), rest_(line) {}

    /// Number of bytes taken so far, and what is left.
    size_t taken() const { return line_.size() - rest_.size(); }
    std::string_view rest() const { return rest_; }

    bool take(char c);
    bool takeText(std::string_view text);

    /// Takes all that come next.
    void takeBlanks();

    /// A number of `least` to `most` digits, not followed by another digit.
    bool takeNumber(size_t least, size_t most, int64_t *number);
    bool takeNumber(size_t least, size_t most, int *number);

    /// "2026-11-21", "11-21".
    bool takeDate(Civil *civil);
    bool takeMonthAndDay(Civil *civil);

    /// "Nov 21", "Nov  2", "Nov 2".
    bool takeNamedDate(Civil *civil);

    /// "06:47:08". A leap second, ":60", is taken as the second before it.
    bool takeTimeOfDay(Civil *civil);

    /// The digits after a point or a comma, if there are any. They are dropped.
    void takeFraction();

    /// "Z", "+01:00", "+0100" or "+01".
    bool takeZone(Offset *offset);

    /// "<13>" of syslog and of the kernel: facility and severity. At most 191.
    bool takePriority(int *priority);

    /// Everything up to the next blank, tab, colon, slash or opening parenthesis; may be empty.
    std::string_view takeWord();

    /// Takes the separator of time and text: one blank or tab. Also true at the end of the line.
    bool takeGap();

private:
    std::string_view line_;
    std::string_view rest_;
};

}  // namespace tool

#endif
