// SPDX-License-Identifier: Apache-2.0
// Dates and times of day as people write them, and the seconds since 1970 that they stand for, in the
// process's time zone (TZ) or at an offset written with them.
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

/// Seconds that a written time is ahead of UTC; nothing where no zone is written and local time is meant.
using Offset = std::optional<int64_t>;

Civil civilOf(const tm &date);

/// 1 for "Jan"; nothing for anything that is not such a month name.
std::optional<int> monthNamed(std::string_view name);

/// Whether such a date and time exist, within the years that local times of items can fall in.
bool isReal(const Civil &civil);

int64_t secondAsUtc(const Civil &civil);

/// The seconds at which local clocks show this: two where clocks were set back, else the same one twice. A
/// local time that clocks skip is taken to be as far into the next hour as it is into the skipped one.
struct LocalSeconds {
    int64_t first = 0;
    int64_t last = 0;
};
LocalSeconds secondsAsLocal(const Civil &civil);

/// What a clock at this offset, or else the local clock, shows at a time.
Civil shownAt(time_t now, Offset offset);

/// Seconds that local clocks are ahead of UTC at a time.
int64_t offsetAt(int64_t second);

}  // namespace tool

#endif
