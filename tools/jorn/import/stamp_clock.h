// SPDX-License-Identifier: Apache-2.0
// Converts the times in the lines of a log to seconds since 1970.
#ifndef JORN_TOOLS_STAMP_CLOCK_H
#define JORN_TOOLS_STAMP_CLOCK_H

#include <stdint.h>
#include <time.h>

#include <functional>
#include <optional>
#include <utility>

#include "terminal/civil_time.h"

namespace tool {

/// The time of an item, from 1970 to 2106; nothing for any other second.
std::optional<uint32_t> itemTime(std::optional<int64_t> second);

/// Called line after line. When a local time is ambiguous because the clocks went back, it means the first
/// of the two seconds that is not before the previous line's.
class StampClock {
public:
    /// `now` decides what is "in the future".
    explicit StampClock(std::function<time_t()> now) : now_(std::move(now)) {}

    /// The second that a date with its year means; nothing when there is no such date or time.
    std::optional<uint32_t> at(const Civil &civil, Offset offset);

    /// The same without a year: in the newest year in which it is not in the future.
    std::optional<uint32_t> newest(Civil civil, Offset offset);

    /// The same without a date: today, or yesterday where it is in the future today.
    std::optional<uint32_t> newestTimeOfDay(Civil civil, Offset offset);

private:
    bool isAsBefore(const Civil &civil, Offset offset);
    std::optional<int64_t> secondOf(const Civil &civil, Offset offset, int64_t latest) const;
    std::optional<int64_t> newestSecondOf(Civil civil, Offset offset) const;
    std::optional<uint32_t> keep(std::optional<int64_t> second);

    std::function<time_t()> now_;
    std::optional<uint32_t> last_;
    std::optional<Civil> lastCivil_;  ///< Source of last_: neighbouring lines often have the same second.
    Offset lastOffset_;
};

}  // namespace tool

#endif
