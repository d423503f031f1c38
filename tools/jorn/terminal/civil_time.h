// SPDX-License-Identifier: Apache-2.0
// Dates and times of day as people write them, and the seconds since 1970 that they mean: in the process's
// time zone, TZ, or by an offset that is written beside them.
#ifndef JORN_TOOLS_CIVIL_TIME_H
#define JORN_TOOLS_CIVIL_TIME_H

#include <stdint.h>
#include <time.h>

#include <optional>
#include <string_view>

namespace tool {

/// Date and time of day as written, not yet in any zone.
struct Civil {
    int year = 0;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

bool operator==(const Civil &a, const Civil &b);

/// Seconds that a text's clock is ahead of UTC; nothing where it names none and local time is meant.
using Offset = std::optional<int64_t>;

Civil civilOf(const tm &date);

/// 1 for "Jan"; nothing for what is no such name of a month.
std::optional<int> monthNamed(std::string_view name);

/// Whether calendar and clock have such a date and time, in the years that local times of items can have.
bool isReal(const Civil &civil);

int64_t secondAsUtc(const Civil &civil);

/// The seconds at which local clocks show this: two where clocks were put back, else the same one twice. A
/// local time that clocks skip is as far into the next hour as it is into the skipped one.
struct LocalSeconds {
    int64_t first = 0;
    int64_t last = 0;
};
LocalSeconds secondsAsLocal(const Civil &civil);

/// What a clock shows at a time.
Civil shownAt(time_t now, Offset offset);

/// Seconds that local clocks are ahead of UTC at a time.
int64_t offsetAt(int64_t second);

}  // namespace tool

#endif
