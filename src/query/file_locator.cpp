// SPDX-License-Identifier: Apache-2.0
#include "query/file_locator.h"

#include <stdio.h>

#include "csvfile/file_summary.h"
#include "csvfile/item_parser.h"
#include "diagnostics.h"

namespace {

constexpr int32_t kNone = -1;

struct DayLimits {
    int32_t lower;
    int32_t upper;
};

const JORN_CSV_INFO &summaryAt(const JORN_OBJ &obj, int32_t unwrapped) {
    return obj.csv_info[jorn::ringOf(obj).position(unwrapped)];
}

int32_t firstDay(const JORN_CSV_INFO &info) { return static_cast<int32_t>(jorn_TimeToDay(info.timeMin)); }

int32_t lastDay(const JORN_CSV_INFO &info) { return static_cast<int32_t>(jorn_TimeToDay(info.timeMax)); }

/// The day limits; an open side takes its limit from what the ring holds.
DayLimits effectiveLimits(const JORN_OBJ &obj, const JORN_REQUIRE &req, const jorn::RingRange &ring) {
    return {req.dayDwLimit < 0 ? firstDay(summaryAt(obj, ring.oldest)) : req.dayDwLimit,
            req.dayUpLimit < 0 ? lastDay(summaryAt(obj, ring.latest)) : req.dayUpLimit};
}

bool areContradicting(const DayLimits &days) {
    if (days.upper >= days.lower) {
        return false;
    }
    JORN_PRINT(jorn::kPrintError, "dayUpLimit=%ld, dayDwLimit=%ld", jorn::asLong(days.upper),
               jorn::asLong(days.lower));
    if (jorn::isPrinted(jorn::kPrintError)) {
        printf("Error! Required date is not exist!\r\n");
    }
    return true;
}

/// The newest file that begins on or before the day, unwrapped; kNone with a message when there is none.
int32_t findNewestSide(const JORN_OBJ &obj, const jorn::RingRange &ring, int32_t day) {
    for (int32_t i = ring.latest; i >= ring.oldest; --i) {
        if (firstDay(summaryAt(obj, i)) <= day) {
            return i;
        }
    }
    JORN_PRINT(jorn::kPrintError, "Can not find CSV file, dayUpLimit=%ld", jorn::asLong(day));
    return kNone;
}

/// The oldest file of the unbroken run, from the newest one down, of files that end on or after the day,
/// unwrapped; kNone with a message when there is none.
int32_t findOldestSide(const JORN_OBJ &obj, const jorn::RingRange &ring, int32_t day) {
    int32_t oldest = kNone;
    for (int32_t i = ring.latest; i >= ring.oldest && lastDay(summaryAt(obj, i)) >= day; --i) {
        oldest = i;
    }
    if (oldest == kNone) {
        JORN_PRINT(jorn::kPrintError, "Can not find CSV file, dayDwLimit=%ld", jorn::asLong(day));
    }
    return oldest;
}

/// Narrows the ring's range to the files of the day limits; false when none qualifies.
bool narrowToDays(const JORN_OBJ &obj, const JORN_REQUIRE &req, jorn::RingRange *ring) {
    const DayLimits days = effectiveLimits(obj, req, *ring);
    if (areContradicting(days)) {
        return false;
    }
    if (req.dayUpLimit >= 0) {
        ring->latest = findNewestSide(obj, *ring, days.upper);
        if (ring->latest == kNone) {
            return false;
        }
    }
    if (req.dayDwLimit >= 0) {
        ring->oldest = findOldestSide(obj, *ring, days.lower);
        if (ring->oldest == kNone) {
            return false;
        }
    }
    return true;
}

}  // namespace

int32_t jorn_FindCsvByTime(JORN_OBJ *obj, const JORN_REQUIRE *req, int32_t range[2]) {
    if (obj == nullptr) {
        return -1;
    }
    jorn::RingRange ring = jorn::ringOf(*obj).range();
    if (!narrowToDays(*obj, *req, &ring)) {
        range[0] = kNone;
        range[1] = kNone;
        return -1;
    }
    range[0] = jorn::ringOf(*obj).position(ring.oldest);
    range[1] = jorn::ringOf(*obj).position(ring.latest);
    return 0;
}
