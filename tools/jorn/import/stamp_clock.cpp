// SPDX-License-Identifier: Apache-2.0
#include "import/stamp_clock.h"

#include <limits>

namespace tool {
namespace {

/// February 29 comes every four years, but around 2100 only after eight.
constexpr int kMostYears = 8;

}  // namespace

std::optional<uint32_t> itemTime(std::optional<int64_t> second) {
    return second && *second >= 0 && *second <= UINT32_MAX ? std::optional(static_cast<uint32_t>(*second))
                                                           : std::nullopt;
}

std::optional<uint32_t> StampClock::at(const Civil &civil, Offset offset) {
    return isAsBefore(civil, offset) ? last_
                                     : keep(secondOf(civil, offset, std::numeric_limits<int64_t>::max()));
}

std::optional<uint32_t> StampClock::newest(Civil civil, Offset offset) {
    civil.year = 0;
    return isAsBefore(civil, offset) ? last_ : keep(newestSecondOf(civil, offset));
}

std::optional<uint32_t> StampClock::newestTimeOfDay(Civil civil, Offset offset) {
    lastCivil_.reset();
    const time_t now = now_();
    const Civil today = shownAt(now, offset);
    for (int daysBack = 0; daysBack < 2; ++daysBack) {
        const Civil day =
            shownAt(static_cast<time_t>(secondAsUtc({today.year, today.month, today.day - daysBack})), 0);
        civil.year = day.year;
        civil.month = day.month;
        civil.day = day.day;
        const std::optional<int64_t> second = secondOf(civil, offset, now);
        if (second && *second <= now) {
            return keep(second);
        }
    }
    return std::nullopt;
}

std::optional<int64_t> StampClock::secondOf(const Civil &civil, Offset offset, int64_t latest) const {
    if (!isReal(civil)) {
        return std::nullopt;
    }
    if (offset) {
        return secondAsUtc(civil) - *offset;
    }
    const LocalSeconds seconds = secondsAsLocal(civil);
    const bool isOver = last_ && seconds.first < *last_;
    return isOver && seconds.last <= latest ? seconds.last : seconds.first;
}

std::optional<int64_t> StampClock::newestSecondOf(Civil civil, Offset offset) const {
    const time_t now = now_();
    const int thisYear = shownAt(now, offset).year;
    for (civil.year = thisYear; civil.year > thisYear - kMostYears; --civil.year) {
        const std::optional<int64_t> second = secondOf(civil, offset, now);
        if (second && *second <= now) {
            return second;
        }
    }
    return std::nullopt;
}

/// Whether the previous line had the same date and offset. Remembers these for the next line.
bool StampClock::isAsBefore(const Civil &civil, Offset offset) {
    if (lastCivil_ == civil && lastOffset_ == offset) {
        return true;
    }
    lastCivil_ = civil;
    lastOffset_ = offset;
    return false;
}

std::optional<uint32_t> StampClock::keep(std::optional<int64_t> second) {
    const std::optional<uint32_t> time = itemTime(second);
    if (time) {
        last_ = time;
    } else {
        lastCivil_.reset();
    }
    return time;
}

}  // namespace tool
