// SPDX-License-Identifier: Apache-2.0
#include "terminal/time_text.h"

#include <re2/re2.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>

#include "module_limits.h"
#include "terminal/civil_time.h"

namespace tool {

const char *const kTimeForms =
    "2026-11-21, 11-21, \"Nov 21\", today, yesterday or tomorrow, each with or without 06:47[:08] and UTC, "
    "Z or +01:00 after it; 06:47, now, -1h30m, +1h, \"1 month ago\" or @SECONDS since 1970";

namespace {

constexpr int64_t kSecondsPerHour = jorn::kSecondsPerHour;
constexpr int64_t kSecondsPerDay = jorn::kSecondsPerDay;

int64_t secondAsLocal(const Civil &civil, Bound bound) {
    const LocalSeconds seconds = secondsAsLocal(civil);
    return bound == Bound::Since ? seconds.first : seconds.last;
}

int64_t secondAt(const Civil &civil, Offset offset, Bound bound) {
    return offset ? secondAsUtc(civil) - *offset : secondAsLocal(civil, bound);
}

/// The first or the last second of a day.
int64_t secondOfDay(Civil day, Offset offset, Bound bound) {
    day.hour = day.minute = day.second = 0;
    if (bound == Bound::Since) {
        return secondAt(day, offset, Bound::Since);
    }
    ++day.day;
    return secondAt(day, offset, Bound::Since) - 1;
}

/// Items have times from 1970 to 2106 in UTC. The local day at either end may reach beyond.
std::optional<uint32_t> inRange(std::optional<int64_t> second, Bound bound) {
    constexpr int64_t kLast = UINT32_MAX;
    const int64_t smallest = bound == Bound::Since ? -kSecondsPerDay : 0;
    const int64_t largest = bound == Bound::Until ? kLast + kSecondsPerDay : kLast;
    if (!second || *second < smallest || *second > largest) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(std::clamp<int64_t>(*second, 0, kLast));
}

std::optional<int64_t> parseEpoch(const std::string &text) {
    static const RE2 kForm(R"((?:@(\d{1,10})|(\d{9,10}))(?:[.,]\d+)?)");
    std::string marked;
    std::string bare;
    if (!RE2::FullMatch(text, kForm, &marked, &bare)) {
        return std::nullopt;
    }
    const int64_t second = atoll((marked.empty() ? bare : marked).c_str());
    return second <= UINT32_MAX ? std::optional(second) : std::nullopt;
}

/// A length of time as written: months follow the calendar, all other units have a fixed length.
struct Length {
    int64_t months = 0;
    int64_t seconds = 0;
};

/// Nothing for a word that is not a unit.
std::optional<Length> unitLength(const std::string &unit) {
    struct Unit {
        const char *form;
        Length length;
    };
    static constexpr std::array<Unit, 7> kUnits = {{{"s|secs?|seconds?", {0, 1}},
                                                    {"m|mins?|minutes?", {0, 60}},
                                                    {"h|hrs?|hours?", {0, 3600}},
                                                    {"d|days?", {0, kSecondsPerDay}},
                                                    {"w|weeks?", {0, 7 * kSecondsPerDay}},
                                                    {"M|months?", {1, 0}},
                                                    {"y|years?", {12, 0}}}};
    const auto found = std::find_if(kUnits.begin(), kUnits.end(),
                                    [&](const Unit &each) { return RE2::FullMatch(unit, each.form); });
    return found == kUnits.end() ? std::nullopt : std::optional(found->length);
}

/// The length of "1h", "1h30m" or "2 days 1 hour"; nothing where a unit is unknown.
std::optional<Length> spanLength(re2::StringPiece span) {
    static const RE2 kPart(R"(\s*(\d{1,9})\s*([a-zA-Z]+))");
    Length sum;
    int64_t number = 0;
    std::string unit;
    while (RE2::Consume(&span, kPart, &number, &unit)) {
        const std::optional<Length> length = unitLength(unit);
        if (!length) {
            return std::nullopt;
        }
        sum.months += number * length->months;
        sum.seconds += number * length->seconds;
    }
    return sum;
}

/// The same clock time `months` later; on the last day of the month where the month is too short for the day.
int64_t monthsLater(time_t now, int64_t months, Bound bound) {
    Civil civil = shownAt(now, std::nullopt);
    // Stop just beyond the years that items can have.
    constexpr int64_t kMost = int64_t{12} * 200;
    const int64_t month = civil.year * 12 + civil.month - 1 + std::clamp(months, -kMost, kMost);
    civil.year = static_cast<int>(month / 12);
    civil.month = static_cast<int>(month % 12) + 1;
    const Civil lastOfMonth = {civil.year, civil.month + 1, 0};
    const time_t last = secondAsUtc(lastOfMonth);
    civil.day = std::min(civil.day, shownAt(last, 0).day);
    return secondAsLocal(civil, bound);
}

std::optional<int64_t> parseRelative(const std::string &text, time_t now, Bound bound) {
    // Few enough parts that their sum cannot overflow.
    static const RE2 kSigned(R"(([+-])((?:\s*\d{1,9}\s*[a-zA-Z]+){1,9}))");
    static const RE2 kAgo(R"((\d{1,9}\s*[a-zA-Z]+(?:\s*\d{1,9}\s*[a-zA-Z]+){0,8})\s+ago)");
    std::string sign = "-";
    re2::StringPiece span;
    if (!RE2::FullMatch(text, kSigned, &sign, &span) && !RE2::FullMatch(text, kAgo, &span)) {
        return std::nullopt;
    }
    const std::optional<Length> length = spanLength(span);
    if (!length) {
        return std::nullopt;
    }
    const int direction = sign == "+" ? 1 : -1;
    const int64_t begin = length->months == 0 ? now : monthsLater(now, direction * length->months, bound);
    // A time out of range becomes the first or the last in range.
    return std::clamp<int64_t>(begin + direction * length->seconds, 0, UINT32_MAX);
}

/// What has been read so far of a text that names a day, a time of day or both.
struct Written {
    Civil civil;
    int daysFromToday = 0;
    bool hasDay = false;   ///< A word or a date.
    bool hasDate = false;  ///< Month and day.
    bool hasYear = false;
    bool hasMonthName = false;
    bool hasTime = false;
    Offset offset;
};

bool takeDayWord(re2::StringPiece *rest, Written *written) {
    static const RE2 kForm("(today|yesterday|tomorrow)");
    std::string word;
    if (!RE2::Consume(rest, kForm, &word)) {
        return false;
    }
    if (word != "today") {
        written->daysFromToday = word == "tomorrow" ? 1 : -1;
    }
    return true;
}

bool takeNumberedDate(re2::StringPiece *rest, Written *written) {
    static const RE2 kForm(R"((?:(\d{4})-)?(\d\d)-(\d\d))");
    std::string year;
    Civil &civil = written->civil;
    if (!RE2::Consume(rest, kForm, &year, &civil.month, &civil.day)) {
        return false;
    }
    written->hasDate = true;
    written->hasYear = !year.empty();
    civil.year = atoi(year.c_str());
    return true;
}

/// "Nov 21" or "Sat Nov 21". The year of this form comes last.
bool takeNamedDate(re2::StringPiece *rest, Written *written) {
    static const RE2 kForm(
        "(?:(?:Mon|Tue|Wed|Thu|Fri|Sat|Sun) )?(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) +"
        R"((\d\d?))");
    std::string month;
    if (!RE2::Consume(rest, kForm, &month, &written->civil.day)) {
        return false;
    }
    written->hasDate = written->hasMonthName = true;
    written->civil.month = *monthNamed(month);
    return true;
}

/// A fraction, after a point or a comma, is dropped.
void takeTimeOfDay(re2::StringPiece *rest, Written *written) {
    static const RE2 kAlone(R"((\d\d?):(\d\d)(?::(\d\d)(?:[.,]\d+)?)?)");
    static const RE2 kAfterDay("[T ]" + kAlone.pattern());
    Civil &civil = written->civil;
    std::string second;
    const RE2 &form = written->hasDay ? kAfterDay : kAlone;
    written->hasTime = RE2::Consume(rest, form, &civil.hour, &civil.minute, &second);
    civil.second = atoi(second.c_str());
}

/// "Z", "UTC", and after a time of day also "+01", "+01:00" or "+0100".
void takeZone(re2::StringPiece *rest, Written *written) {
    static const RE2 kUtc(R"(\s?(?:Z|UTC))");
    // TZ can put local time up to 24:59 from UTC, and such offsets are printed too.
    static const RE2 kOffset(R"(\s?([+-])([01]\d|2[0-4])(?::?([0-5]\d))?)");
    if (RE2::Consume(rest, kUtc)) {
        written->offset = 0;
        return;
    }
    std::string sign;
    int hours = 0;
    std::string minutes;
    if (written->hasTime && RE2::Consume(rest, kOffset, &sign, &hours, &minutes)) {
        const int64_t seconds = hours * 3600 + atoi(minutes.c_str()) * 60;
        written->offset = sign == "-" ? -seconds : seconds;
    }
}

void takeLastYear(re2::StringPiece *rest, Written *written) {
    static const RE2 kForm(R"( (\d{4}))");
    written->hasYear = RE2::Consume(rest, kForm, &written->civil.year);
}

/// Takes the parts in order. Nothing when there is none, or when text is left over.
std::optional<Written> takeApart(const std::string &text) {
    Written written;
    re2::StringPiece rest(text);
    written.hasDay =
        takeDayWord(&rest, &written) || takeNumberedDate(&rest, &written) || takeNamedDate(&rest, &written);
    takeTimeOfDay(&rest, &written);
    if (!written.hasDay && !written.hasTime) {
        return std::nullopt;
    }
    takeZone(&rest, &written);
    if (written.hasMonthName) {
        takeLastYear(&rest, &written);
    }
    if (!written.offset) {
        takeZone(&rest, &written);
    }
    return rest.empty() ? std::optional(written) : std::nullopt;
}

/// Fills in what a text leaves out. Logs are about the past, so a date without a year is the latest such date
/// that is not after today; February 29 comes every fourth year, but around 2100 only after eight.
void complete(Written *written, const Civil &today) {
    Civil &civil = written->civil;
    if (!written->hasDate) {
        const Civil day = {today.year, today.month, today.day + written->daysFromToday};
        const Civil shown = shownAt(static_cast<time_t>(secondAsUtc(day)), 0);
        civil.year = shown.year;
        civil.month = shown.month;
        civil.day = shown.day;
        return;
    }
    constexpr int kMostYears = 8;
    const auto isPast = [&] {
        return std::tie(civil.year, civil.month, civil.day) <= std::tie(today.year, today.month, today.day);
    };
    if (!written->hasYear) {
        civil.year = today.year;
        while (civil.year > today.year - kMostYears && !(isPast() && isReal(civil))) {
            --civil.year;
        }
    }
}

std::optional<int64_t> parseCalendarTime(const std::string &text, time_t now, Bound bound) {
    std::optional<Written> written = takeApart(text);
    if (!written) {
        return std::nullopt;
    }
    complete(&*written, shownAt(now, written->offset));
    if (!isReal(written->civil)) {
        return std::nullopt;
    }
    return written->hasTime ? secondAt(written->civil, written->offset, bound)
                            : secondOfDay(written->civil, written->offset, bound);
}

/// "+01:00".
std::string zoneText(int64_t offset) {
    const int64_t minutes = std::abs(offset) / 60;
    std::array<char, 32> text{};
    snprintf(text.data(), text.size(), "%c%02d:%02d", offset < 0 ? '-' : '+', static_cast<int>(minutes / 60),
             static_cast<int>(minutes % 60));
    return text.data();
}

/// The local time at the whole-minute offset that is printed after it: a few zones have had offsets with
/// seconds.
tm withWrittenOffset(const tm &local, time_t second) {
    const int64_t offset = local.tm_gmtoff / 60 * 60;
    const time_t shifted = second + static_cast<time_t>(offset);
    tm date = {};
    gmtime_r(&shifted, &date);
    date.tm_gmtoff = static_cast<decltype(date.tm_gmtoff)>(offset);
    return date;
}

/// Whether, for the hour from this second on, clocks run from 00:00 to 59:59 with no change of offset and
/// no leap second.
bool isPlainHour(time_t begin, long offset) {
    const time_t last = begin + kSecondsPerHour - 1;
    tm first = {};
    tm end = {};
    return localtime_r(&begin, &first) != nullptr && localtime_r(&last, &end) != nullptr &&
           first.tm_gmtoff == offset && end.tm_gmtoff == offset && first.tm_min == 0 && first.tm_sec == 0 &&
           end.tm_min == 59 && end.tm_sec == 59;
}

void writeTwoDigits(char *out, int number) {
    out[0] = static_cast<char>('0' + number / 10);
    out[1] = static_cast<char>('0' + number % 10);
}

}  // namespace

void useUtc() {
    setenv("TZ", "UTC0", 1);
    tzset();
}

std::optional<uint32_t> parseTime(const std::string &text, time_t now, Bound bound) {
    std::optional<int64_t> second;
    if (text == "now") {
        second = now;
    }
    if (!second) {
        second = parseEpoch(text);
    }
    if (!second) {
        second = parseRelative(text, now, bound);
    }
    if (!second) {
        second = parseCalendarTime(text, now, bound);
    }
    return inRange(second, bound);
}

std::string TimeFormatter::compose(const tm &date) const {
    std::array<char, 64> text{};
    if (form_ == TimeForm::Device) {
        // Names depend on the locale; in the C locale they are English, like the module's.
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

/// Composing dates is costly, so the date already in the text is kept while it stays the same.
void TimeFormatter::show(const tm &date) {
    const bool isSameDay = date.tm_mday == shown_.tm_mday && date.tm_mon == shown_.tm_mon &&
                           date.tm_year == shown_.tm_year && date.tm_gmtoff == shown_.tm_gmtoff;
    if (isSameDay) {
        writeTwoDigits(&text_[text_.find(':') - 2], date.tm_hour);
        writeInHour(date.tm_min, date.tm_sec);
    } else {
        text_ = compose(date);
    }
    shown_ = date;
}

/// In every form the first colon is the one after the hour.
void TimeFormatter::writeInHour(int minute, int second) {
    char *const begin = &text_[text_.find(':') + 1];
    writeTwoDigits(begin, minute);
    writeTwoDigits(begin + 3, second);
}

void TimeFormatter::renew(int64_t second) {
    hourBegin_ = hourEnd_ = second;
    const time_t time = second;
    tm date = {};
    if (localtime_r(&time, &date) == nullptr) {
        text_ = "-";
        shown_ = {};
        return;
    }
    if (form_ == TimeForm::Iso && date.tm_gmtoff % 60 != 0) {
        date = withWrittenOffset(date, time);
    }
    show(date);
    const int64_t begin = second - date.tm_min * 60 - date.tm_sec;
    if (isPlainHour(static_cast<time_t>(begin), date.tm_gmtoff)) {
        hourBegin_ = begin;
        hourEnd_ = begin + kSecondsPerHour;
    }
}

const std::string &TimeFormatter::format(int64_t second) {
    if (last_ != second) {
        if (second >= hourBegin_ && second < hourEnd_) {
            const auto inHour = static_cast<int>(second - hourBegin_);
            writeInHour(inHour / 60, inHour % 60);
        } else {
            renew(second);
        }
        last_ = second;
    }
    return text_;
}

}  // namespace tool
