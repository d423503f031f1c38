// SPDX-License-Identifier: Apache-2.0
#include "time_text.h"

#include <re2/re2.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "module_limits.h"

namespace tool {

const char *const kTimeForms =
    "2026-11-21, \"2026-11-21 06:47[:08][Z|+01:00]\", 06:47, now, today, yesterday, -1h30m, \"2 days ago\" "
    "or @SECONDS since 1970";

namespace {

constexpr int64_t kSecondsPerDay = jorn::kSecondsPerDay;

/// Date and time of day as written, not yet in any zone.
struct Civil {
    int year = 0;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

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

int64_t secondAsUtc(const Civil &civil) {
    tm date = toTm(civil);
    return timegm(&date);
}

Civil civilOf(const tm &date) {
    return {date.tm_year + 1900, date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec};
}

/// Whether calendar and clock have such a date and time, in the years that local times of items can have.
bool isReal(const Civil &civil) {
    if (civil.year < 1969 || civil.year > 2106 || civil.hour > 23 || civil.minute > 59 || civil.second > 59) {
        return false;
    }
    // A day that its month does not have comes back as another one.
    tm date = toTm(civil);
    timegm(&date);
    return date.tm_mon == civil.month - 1 && date.tm_mday == civil.day;
}

/// The second at which local clocks show this. A zone change is told by the offsets a day before and a day
/// after: each that is really in force at the second it leads to is an answer.
int64_t secondAsLocal(const Civil &civil, Bound bound) {
    const int64_t asUtc = secondAsUtc(civil);
    const std::array<int64_t, 2> offsets = {offsetAt(asUtc - kSecondsPerDay),
                                            offsetAt(asUtc + kSecondsPerDay)};
    std::optional<int64_t> found;
    for (const int64_t offset : offsets) {
        const int64_t second = asUtc - offset;
        if (offsetAt(second) != offset) {
            continue;
        }
        const bool isBetter = !found || (bound == Bound::Since ? second < *found : second > *found);
        found = isBetter ? second : *found;
    }
    return found.value_or(asUtc - offsets.front());
}

/// The first or the last second of a local day.
int64_t secondOfDay(Civil day, Bound bound) {
    day.hour = day.minute = day.second = 0;
    if (bound == Bound::Since) {
        return secondAsLocal(day, Bound::Since);
    }
    ++day.day;
    return secondAsLocal(day, Bound::Since) - 1;
}

/// Items have times from 1970 to 2106 in UTC. The local day that either end lies in may reach beyond.
std::optional<uint32_t> inRange(std::optional<int64_t> second, Bound bound) {
    constexpr int64_t kLast = UINT32_MAX;
    const int64_t smallest = bound == Bound::Since ? -kSecondsPerDay : 0;
    const int64_t largest = bound == Bound::Until ? kLast + kSecondsPerDay : kLast;
    if (!second || *second < smallest || *second > largest) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(std::clamp<int64_t>(*second, 0, kLast));
}

Civil localToday(time_t now) {
    tm date = {};
    localtime_r(&now, &date);
    return civilOf(date);
}

std::optional<int64_t> parseWord(const std::string &text, time_t now, Bound bound) {
    if (text == "now") {
        return now;
    }
    Civil day = localToday(now);
    if (text == "today") {
        return secondOfDay(day, bound);
    }
    if (text == "yesterday") {
        --day.day;
        return secondOfDay(day, bound);
    }
    return std::nullopt;
}

std::optional<int64_t> parseEpoch(const std::string &text) {
    static const RE2 kForm(R"(@(\d{1,10})|(\d{9,10}))");
    std::string marked;
    std::string bare;
    if (!RE2::FullMatch(text, kForm, &marked, &bare)) {
        return std::nullopt;
    }
    const int64_t second = atoll((marked.empty() ? bare : marked).c_str());
    return second <= UINT32_MAX ? std::optional(second) : std::nullopt;
}

/// 0 for a word that is no unit.
int64_t unitSeconds(const std::string &unit) {
    struct Unit {
        const char *form;
        int64_t seconds;
    };
    static constexpr std::array<Unit, 5> kUnits = {{{"s|secs?|seconds?", 1},
                                                    {"m|mins?|minutes?", 60},
                                                    {"h|hrs?|hours?", 3600},
                                                    {"d|days?", kSecondsPerDay},
                                                    {"w|weeks?", 7 * kSecondsPerDay}}};
    const auto found = std::find_if(kUnits.begin(), kUnits.end(),
                                    [&](const Unit &each) { return RE2::FullMatch(unit, each.form); });
    return found == kUnits.end() ? 0 : found->seconds;
}

/// The seconds of "1h", "1h30m" or "2 days 1 hour"; nothing where a unit is none.
std::optional<int64_t> spanSeconds(re2::StringPiece span) {
    static const RE2 kPart(R"(\s*(\d{1,9})\s*([a-z]+))");
    int64_t sum = 0;
    int64_t number = 0;
    std::string unit;
    while (RE2::Consume(&span, kPart, &number, &unit)) {
        const int64_t seconds = unitSeconds(unit);
        if (seconds == 0) {
            return std::nullopt;
        }
        sum += number * seconds;
    }
    return sum;
}

std::optional<int64_t> parseRelative(const std::string &text, time_t now) {
    // So few parts that no sum of theirs is too large.
    static const RE2 kMinus(R"(-((?:\s*\d{1,9}\s*[a-z]+){1,9}))");
    static const RE2 kAgo(R"((\d{1,9}\s*[a-z]+(?:\s*\d{1,9}\s*[a-z]+){0,8})\s+ago)");
    re2::StringPiece span;
    if (!RE2::FullMatch(text, kMinus, &span) && !RE2::FullMatch(text, kAgo, &span)) {
        return std::nullopt;
    }
    const std::optional<int64_t> seconds = spanSeconds(span);
    // Longer ago than there are times is as far back as there are.
    return seconds ? std::optional(std::max<int64_t>(now - *seconds, 0)) : std::nullopt;
}

/// Seconds east of Greenwich of "Z", "+01", "+01:00" or "+0100".
std::optional<int64_t> zoneOffset(const std::string &zone) {
    static const RE2 kForm(R"(([+-])(\d\d)(?::?(\d\d))?)");
    if (zone == "Z") {
        return 0;
    }
    std::string sign;
    int hours = 0;
    std::string minutes;
    if (!RE2::FullMatch(zone, kForm, &sign, &hours, &minutes) || hours > 23 || minutes > "59") {
        return std::nullopt;
    }
    const int64_t seconds = hours * 3600 + atoi(minutes.c_str()) * 60;
    return sign == "-" ? -seconds : seconds;
}

std::optional<int64_t> parseDate(const std::string &text, Bound bound) {
    static const RE2 kForm(R"((\d{4})-(\d\d)-(\d\d))");
    Civil day;
    if (!RE2::FullMatch(text, kForm, &day.year, &day.month, &day.day) || !isReal(day)) {
        return std::nullopt;
    }
    return secondOfDay(day, bound);
}

std::optional<int64_t> parseDateAndTime(const std::string &text, Bound bound) {
    static const RE2 kForm(
        R"((\d{4})-(\d\d)-(\d\d)[T ](\d\d):(\d\d)(?::(\d\d)(?:\.\d+)?)?\s?(Z|[+-][\d:]+)?)");
    Civil civil;
    std::string second;
    std::string zone;
    if (!RE2::FullMatch(text, kForm, &civil.year, &civil.month, &civil.day, &civil.hour, &civil.minute,
                        &second, &zone)) {
        return std::nullopt;
    }
    civil.second = atoi(second.c_str());
    if (!isReal(civil)) {
        return std::nullopt;
    }
    if (zone.empty()) {
        return secondAsLocal(civil, bound);
    }
    const std::optional<int64_t> offset = zoneOffset(zone);
    return offset ? std::optional(secondAsUtc(civil) - *offset) : std::nullopt;
}

std::optional<int64_t> parseDeviceTime(const std::string &text, Bound bound) {
    static const RE2 kForm(
        R"((?:Mon|Tue|Wed|Thu|Fri|Sat|Sun) ([A-Z][a-z]{2}) +(\d{1,2}) (\d\d):(\d\d):(\d\d) (\d{4}))");
    static constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
    Civil civil;
    std::string month;
    if (!RE2::FullMatch(text, kForm, &month, &civil.day, &civil.hour, &civil.minute, &civil.second,
                        &civil.year)) {
        return std::nullopt;
    }
    const size_t index = kMonths.find(month);
    if (index == std::string_view::npos) {
        return std::nullopt;
    }
    civil.month = static_cast<int>(index / 3) + 1;
    return isReal(civil) ? std::optional(secondAsLocal(civil, bound)) : std::nullopt;
}

std::optional<int64_t> parseTimeOfDay(const std::string &text, time_t now, Bound bound) {
    static const RE2 kForm(R"((\d\d?):(\d\d)(?::(\d\d))?)");
    Civil civil = localToday(now);
    std::string second;
    if (!RE2::FullMatch(text, kForm, &civil.hour, &civil.minute, &second)) {
        return std::nullopt;
    }
    civil.second = atoi(second.c_str());
    return isReal(civil) ? std::optional(secondAsLocal(civil, bound)) : std::nullopt;
}

/// "+01:00".
std::string zoneText(int64_t offset) {
    const int64_t minutes = std::abs(offset) / 60;
    std::array<char, 32> text{};
    snprintf(text.data(), text.size(), "%c%02d:%02d", offset < 0 ? '-' : '+', static_cast<int>(minutes / 60),
             static_cast<int>(minutes % 60));
    return text.data();
}

/// The local time by the offset of whole minutes that is written behind it. A few clocks have been seconds
/// off.
tm withWrittenOffset(const tm &local, time_t second) {
    const int64_t offset = local.tm_gmtoff / 60 * 60;
    const time_t shifted = second + static_cast<time_t>(offset);
    tm date = {};
    gmtime_r(&shifted, &date);
    date.tm_gmtoff = static_cast<decltype(date.tm_gmtoff)>(offset);
    return date;
}

}  // namespace

void useUtc() {
    setenv("TZ", "UTC0", 1);
    tzset();
}

int64_t offsetAt(int64_t second) {
    const time_t time = second;
    tm date = {};
    localtime_r(&time, &date);
    return date.tm_gmtoff;
}

std::optional<uint32_t> parseTime(const std::string &text, time_t now, Bound bound) {
    std::optional<int64_t> second = parseWord(text, now, bound);
    const auto orElse = [&second](auto parse) {
        if (!second) {
            second = parse();
        }
    };
    orElse([&] { return parseEpoch(text); });
    orElse([&] { return parseRelative(text, now); });
    orElse([&] { return parseDate(text, bound); });
    orElse([&] { return parseDateAndTime(text, bound); });
    orElse([&] { return parseDeviceTime(text, bound); });
    orElse([&] { return parseTimeOfDay(text, now, bound); });
    return inRange(second, bound);
}

std::string TimeFormatter::compose(const tm &date) const {
    std::array<char, 64> text{};
    if (form_ == TimeForm::Device) {
        // Not every calendar that the C library writes has English names; the module's has.
        return strftime(text.data(), text.size(), "%a %b %e %H:%M:%S %Y", &date) > 0 ? text.data() : "-";
    }
    snprintf(text.data(), text.size(), "%04lld-%02d-%02d%c%02d:%02d:%02d", date.tm_year + 1900LL,
             date.tm_mon + 1, date.tm_mday, form_ == TimeForm::Iso ? 'T' : ' ', date.tm_hour, date.tm_min,
             date.tm_sec);
    std::string composed = text.data();
    if (isUtc_) {
        return composed + "Z";
    }
    return form_ == TimeForm::Iso ? composed + zoneText(date.tm_gmtoff) : composed;
}

const std::string &TimeFormatter::format(int64_t second) {
    if (last_ != second) {
        const time_t time = second;
        tm date = {};
        const bool isDate = localtime_r(&time, &date) != nullptr;
        if (isDate && form_ == TimeForm::Iso && date.tm_gmtoff % 60 != 0) {
            date = withWrittenOffset(date, time);
        }
        text_ = isDate ? compose(date) : "-";
        last_ = second;
    }
    return text_;
}

}  // namespace tool
