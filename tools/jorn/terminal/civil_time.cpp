// SPDX-License-Identifier: Apache-2.0
#include "terminal/civil_time.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "module_limits.h"

namespace tool {
namespace {

tm toTm(const Civil &civil) {
    tm date = {};
    date.tm_year = civil.year - 1900;
    date.tm_mon = civil.month - 1;
    date.tm_mday = civil.day;
    date.tm_hour = civil.hour;
    date.tm_min = civil.minute;
    date.tm_sec = civil.second;
    return date;
}

}  // namespace

bool operator==(const Civil &a, const Civil &b) {
    return std::tie(a.year, a.month, a.day, a.hour, a.minute, a.second) ==
           std::tie(b.year, b.month, b.day, b.hour, b.minute, b.second);
}

Civil civilOf(const tm &date) {
    Civil civil;
    civil.year = date.tm_year + 1900;
    civil.month = date.tm_mon + 1;
    civil.day = date.tm_mday;
    civil.hour = date.tm_hour;
    civil.minute = date.tm_min;
    civil.second = date.tm_sec;
    return civil;
}

std::optional<int> monthNamed(std::string_view name) {
    constexpr std::array<std::string_view, 12> kNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto *const found = std::find(kNames.begin(), kNames.end(), name);
    return found == kNames.end() ? std::nullopt : std::optional(static_cast<int>(found - kNames.begin()) + 1);
}

bool isReal(const Civil &civil) {
    if (civil.year < 1969 || civil.year > 2106 || civil.hour > 23 || civil.minute > 59 || civil.second > 59) {
        return false;
    }
    // timegm() turns a day that its month does not have into another one.
    tm date = toTm(civil);
    timegm(&date);
    return date.tm_mon == civil.month - 1 && date.tm_mday == civil.day;
}

int64_t secondAsUtc(const Civil &civil) {
    tm date = toTm(civil);
    return timegm(&date);
}

/// Around a zone change, the offsets a day before and a day after differ: each one that is really in force at
/// the second it yields is an answer.
LocalSeconds secondsAsLocal(const Civil &civil) {
    const int64_t asUtc = secondAsUtc(civil);
    const std::array<int64_t, 2> offsets = {offsetAt(asUtc - jorn::kSecondsPerDay),
                                            offsetAt(asUtc + jorn::kSecondsPerDay)};
    std::optional<LocalSeconds> found;
    for (const int64_t offset : offsets) {
        const int64_t second = asUtc - offset;
        if (offsetAt(second) != offset) {
            continue;
        }
        found = found ? LocalSeconds{std::min(found->first, second), std::max(found->last, second)}
                      : LocalSeconds{second, second};
    }
    const int64_t skipped = asUtc - offsets.front();
    return found.value_or(LocalSeconds{skipped, skipped});
}

Civil shownAt(time_t now, Offset offset) {
    const time_t asUtc = now + static_cast<time_t>(offset ? *offset : offsetAt(now));
    tm date = {};
    gmtime_r(&asUtc, &date);
    return civilOf(date);
}

int64_t offsetAt(int64_t second) {
    const time_t time = second;
    tm date = {};
    localtime_r(&time, &date);
    return date.tm_gmtoff;
}

}  // namespace tool
