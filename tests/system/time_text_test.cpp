// SPDX-License-Identifier: Apache-2.0
// Times as users write them and as the tool prints them.
#include "terminal/time_text.h"
#include "common_values.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace test {
namespace {

using tool::Bound;
using tool::parseTime;
using tool::TimeForm;
using tool::TimeFormatter;

/// Sets the time zone of the process for a test.
class Zone {
public:
    explicit Zone(const char *zone)
        : former_(getenv("TZ") != nullptr ? std::optional<std::string>(getenv("TZ")) : std::nullopt) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~Zone() {
        if (former_) {
            setenv("TZ", former_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    Zone(const Zone &) = delete;
    Zone &operator=(const Zone &) = delete;

private:
    std::optional<std::string> former_;
};

/// 2026-11-21 12:00:00 UTC, in Europe 13:00.
constexpr time_t kNoon = 20778LL * 86400 + 43200;
/// As a rule, not a zone file, which a machine may lack.
constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

struct Row {
    const char *text;
    std::optional<uint32_t> since;
    std::optional<uint32_t> until;
};

void expectRows(const std::vector<Row> &rows) {
    for (const Row &row : rows) {
        EXPECT_EQ(parseTime(row.text, kNoon, Bound::Since), row.since) << row.text;
        EXPECT_EQ(parseTime(row.text, kNoon, Bound::Until), row.until) << row.text;
    }
}

Row same(const char *text, uint32_t second) { return {text, second, second}; }
Row none(const char *text) { return {text, std::nullopt, std::nullopt}; }

TEST(ParseTime, FormsInUtc_GiveTheSecond) {
    const Zone zone("UTC0");
    constexpr uint32_t kToday = 20778U * kDay;
    constexpr uint32_t kMorning = kToday + 6 * kHour + 47 * 60;
    expectRows({
        {"2026-11-21", kToday, kToday + kDay - 1},
        {"today", kToday, kToday + kDay - 1},
        {"yesterday", kToday - kDay, kToday - 1},
        {"tomorrow", kToday + kDay, kToday + 2 * kDay - 1},
        same("now", kToday + kDay / 2),
        same("2026-11-21 06:47", kMorning),
        same("2026-11-21 06:47:08", kMorning + 8),
        same("2026-11-21T06:47:08", kMorning + 8),
        same("2026-11-21 06:47:08Z", kMorning + 8),
        same("2026-11-21T06:47:08.250Z", kMorning + 8),
        same("2026-11-21T07:47:08+01:00", kMorning + 8),
        same("2026-11-21 01:17:08 -0530", kMorning + 8),
        same("2026-11-21T16:47:08+10", kMorning + 8),
        same("2026-11-22T06:47:08+24:00", kMorning + 8),
        same("2026-11-20T05:48:08-24:59", kMorning + 8),
        same("Sat Nov 21 06:47:08 2026", kMorning + 8),
        same("Thu Jan  1 00:00:00 1970", 0),
        same("06:47", kMorning),
        same("6:47:08", kMorning + 8),
        same("@0", 0),
        same("@4294967295", UINT32_MAX),
        same("1795243628", 1795243628),
        same("@1795243628.75", 1795243628),
        same("@1795243628,999999", 1795243628),
        same("1795243628.75", 1795243628),
        same("-2h", kToday + 10 * kHour),
        same("-30min", kToday + 12 * kHour - 1800),
        same("-90s", kToday + 12 * kHour - 90),
        same("-1d", kToday - kDay / 2),
        same("-1week", kToday - 7 * kDay + kDay / 2),
        same("2 days ago", kToday - 2 * kDay + kDay / 2),
        same("1 hour ago", kToday + 11 * kHour),
        same("5m ago", kToday + 12 * kHour - 300),
        same("2 weeks ago", kToday - 14 * kDay + kDay / 2),
        same("+1h", kToday + 13 * kHour),
        same("+ 1d 2h", kToday + 38 * kHour),
        same("+90 min", kToday + 13 * kHour + 1800),
        same("-1h30m", kToday + 10 * kHour + 1800),
        same("-1h 30min", kToday + 10 * kHour + 1800),
        same("- 1d 2h3s", kToday - 14 * kHour - 3),
        same("1 day 2 hours ago", kToday - 14 * kHour),
        same("1h30m ago", kToday + 10 * kHour + 1800),
        same("-9999w", 0),
        same("+9999w", UINT32_MAX),
        same("+999999999y", UINT32_MAX),
        same("-999999999y 999999999M", 0),
        same("-999999999w 999999999w 999999999w 999999999w 999999999w", 0),
        same("-1s1s1s1s1s1s1s1s1s", kToday + kDay / 2 - 9),
        same("1s 1s 1s 1s 1s 1s 1s 1s 1s ago", kToday + kDay / 2 - 9),
        {"1970-01-01", 0, kDay - 1},
        {"2000-02-29", 11016 * kDay, 11017 * kDay - 1},
        {"2106-02-07", 49710U * kDay, UINT32_MAX},
        same("2038-01-19 03:14:08", 2147483648U),
        same("2106-02-07T06:28:15Z", UINT32_MAX),
    });
}

TEST(ParseTime, DaysWithTimes_GiveTheSecond) {
    const Zone zone("UTC0");
    constexpr uint32_t kToday = 20778U * kDay;
    constexpr uint32_t kMorning = kToday + 6 * kHour + 47 * 60;
    expectRows({
        same("yesterday 10:00", kToday - 14 * kHour),
        same("yesterday 9:05:30", kToday - kDay + 9 * kHour + 330),
        same("today 06:47", kMorning),
        same("tomorrow 00:00", kToday + kDay),
        same("2026-11-21 06:47:08,250", kMorning + 8),
        same("2026-11-21T06:47:08,250Z", kMorning + 8),
        same("2026-11-21 06:47:08.250 UTC", kMorning + 8),
        same("06:47:08.5", kMorning + 8),
        same("06:47:08,5", kMorning + 8),
        same("06:47 UTC", kMorning),
        same("06:47+01:00", kMorning - kHour),
        {"2026-11-21 UTC", kToday, kToday + kDay - 1},
        {"Nov 21 2026", kToday, kToday + kDay - 1},
        {"Sat Nov 21 2026", kToday, kToday + kDay - 1},
        same("Nov 21 06:47 2026", kMorning),
        same("Sat Nov 21 06:47:08 UTC 2026", kMorning + 8),
        same("Sat Nov 21 06:47:08 2026 UTC", kMorning + 8),
    });
}

// 2026-11-21 is today.
TEST(ParseTime, DateWithoutYear_IsTheLatestNotAfterToday) {
    const Zone zone("UTC0");
    constexpr uint32_t kToday = 20778U * kDay;
    constexpr uint32_t kTomorrowAYearAgo = kToday - 364 * kDay;
    constexpr uint32_t kFebruary29 = 19782U * kDay;  // of 2024
    expectRows({
        {"11-21", kToday, kToday + kDay - 1},
        {"Nov 21", kToday, kToday + kDay - 1},
        same("Nov 21 23:59", kToday + kDay - 60),
        {"Nov 20", kToday - kDay, kToday - 1},
        same("11-20 05:00:00.000", kToday - 19 * kHour),
        same("11-20T05:00", kToday - 19 * kHour),
        same("Nov 20 05:00:00,5", kToday - 19 * kHour),
        {"11-22", kTomorrowAYearAgo, kTomorrowAYearAgo + kDay - 1},
        same("Nov 22 05:00", kTomorrowAYearAgo + 5 * kHour),
        same("11-22 05:00:00.000", kTomorrowAYearAgo + 5 * kHour),
        same("Sun Nov 22 05:00", kTomorrowAYearAgo + 5 * kHour),
        {"Dec  1", kToday - 355 * kDay, kToday - 354 * kDay - 1},
        {"02-29", kFebruary29, kFebruary29 + kDay - 1},
        none("02-30"),
        none("Feb 30"),
        none("13-01"),
        none("00-10"),
        none("Nov 0"),
        none("Nov 31 05:00"),
    });
    // 2104-01-15, when February 29 was eight years ago.
    EXPECT_EQ(parseTime("Feb 29", 48956LL * kDay, Bound::Since), 46080U * kDay);
}

TEST(ParseTime, MonthsAndYears_GoByTheCalendar) {
    const Zone zone("UTC0");
    constexpr uint32_t kMidday = 20778U * kDay + kDay / 2;
    expectRows({
        same("1 month ago", kMidday - 31 * kDay),
        same("2 months ago", kMidday - 61 * kDay),
        same("-1M", kMidday - 31 * kDay),
        same("-1M 1m", kMidday - 31 * kDay - 60),
        same("+1 month", kMidday + 30 * kDay),
        same("1 year ago", kMidday - 365 * kDay),
        same("-2y", kMidday - 730 * kDay),
        same("1 year 1 month 2 days ago", kMidday - 398 * kDay),
        same("+1y", kMidday + 365 * kDay),
    });
    // 2024-03-31 00:00:00.
    constexpr time_t kLastOfMarch = 19813LL * kDay;
    EXPECT_EQ(parseTime("1 month ago", kLastOfMarch, Bound::Since), 19782U * kDay);
    EXPECT_EQ(parseTime("13 months ago", kLastOfMarch, Bound::Since), 19416U * kDay);
    EXPECT_EQ(parseTime("+1 month", kLastOfMarch, Bound::Since), 19843U * kDay);
    EXPECT_EQ(parseTime("3 months ago", kLastOfMarch, Bound::Since), 19722U * kDay);
}

TEST(ParseTime, OtherTexts_GiveNothing) {
    const Zone zone("UTC0");
    expectRows({none(""),
                none("@"),
                none("@-1"),
                none("@4294967296"),
                none("@1x"),
                none("20778"),
                none("20261121"),
                none("9999999999"),
                none("2023-02-30"),
                none("2023-13-01"),
                none("2023-1-1"),
                none("1969-12-30"),
                none("2106-02-08"),
                none("2107-01-01"),
                none("2106-03-01"),
                none("2023-11-16x"),
                none(" 2023-11-16"),
                none("2023-11-16 24:00"),
                none("2023-11-16 12:60"),
                none("2023-11-16 12:00:60"),
                none("2023-11-16 12:00+01:60"),
                none("2023-11-16 12:00+25:00"),
                none("2023-11-16 12:00 CET"),
                none("tomorrow1"),
                none("tomorrow 25:00"),
                none("yesterday10:00"),
                none("yesterday 10"),
                none("yesterday -1h"),
                none("10:00 yesterday"),
                none("now 10:00"),
                none("now UTC"),
                none("2026-11-21 06:47:08,"),
                none("2026-11-21 06:47,5"),
                none("2026-11-21 UTC 06:47"),
                none("2026-11-21+01:00"),
                none("2026-11-21 06:47 UTC UTC"),
                none("2026-11-21 06:47 2026"),
                none("2026-11-21 06:47UTCx"),
                none("UTC"),
                none("11-22-33"),
                none("1-22"),
                none("nov 22"),
                none("Nov"),
                none("Nov22"),
                none("Nov 22 05"),
                none("Nov 22 05:00 26"),
                none("Sat"),
                none("Sat 06:47"),
                none("@1795243628."),
                none("@.5"),
                none("20778.5"),
                none("+"),
                none("+1"),
                none("+1h ago"),
                none("+-1h"),
                none("--1h"),
                none("1h"),
                none("1 month"),
                none("month ago"),
                none("-1Month"),
                none("-1H"),
                none("-2"),
                none("-2x"),
                none("-1h30"),
                none("-1s1s1s1s1s1s1s1s1s1s"),
                none("1s 1s 1s 1s 1s 1s 1s 1s 1s 1s ago"),
                none("-1h30x"),
                none("-1h-30m"),
                none("-1h30m ago"),
                none("-q"),
                none("- "),
                none(" ago"),
                none("2 days"),
                none("days ago"),
                none("24:00"),
                none("12"),
                none("Sat Foo 21 06:47:08 2026"),
                none("Sat Feb 31 06:47:08 2026"),
                none("99999999999999999999"),
                none("-9999999999h")});
}

TEST(ParseTime, LocalZone_DaysAndTimesAreLocal) {
    const Zone zone(kCentralEurope);
    constexpr uint32_t kToday = 20778U * kDay - kHour;
    expectRows({
        {"2026-11-21", kToday, kToday + kDay - 1},
        {"today", kToday, kToday + kDay - 1},
        same("06:47", kToday + 6 * kHour + 47 * 60),
        same("2026-11-21 06:47", kToday + 6 * kHour + 47 * 60),
        same("2026-11-21 06:47Z", kToday + 7 * kHour + 47 * 60),
        same("2026-07-01 00:00", 20635U * kDay - 2 * kHour),
        {"1970-01-01", 0, kDay - kHour - 1},
        {"2026-11-21 UTC", 20778U * kDay, 20779U * kDay - 1},
        {"yesterday UTC", 20777U * kDay, 20778U * kDay - 1},
        same("yesterday 10:00 UTC", 20777U * kDay + 10 * kHour),
        same("Nov 20 10:00", 20777U * kDay + 9 * kHour),
    });
}

// 2026-11-21 23:30 UTC is half past midnight on the next day here.
TEST(ParseTime, TodayOfAnotherClock_IsItsOwn) {
    const Zone zone(kCentralEurope);
    constexpr uint32_t kDayInUtc = 20778U * kDay;
    constexpr time_t kLate = kDayInUtc + 23 * kHour + 1800;
    EXPECT_EQ(parseTime("today", kLate, Bound::Since), kDayInUtc + 23 * kHour);
    EXPECT_EQ(parseTime("today UTC", kLate, Bound::Since), kDayInUtc);
    EXPECT_EQ(parseTime("00:15", kLate, Bound::Since), kDayInUtc + 23 * kHour + 900);
    EXPECT_EQ(parseTime("00:15 UTC", kLate, Bound::Since), kDayInUtc + 900);
    EXPECT_EQ(parseTime("00:15-10:00", kLate, Bound::Since), kDayInUtc + 10 * kHour + 900);
    EXPECT_EQ(parseTime("Nov 22", kLate, Bound::Since), kDayInUtc + 23 * kHour);
    EXPECT_EQ(parseTime("Nov 22 UTC", kLate, Bound::Since), kDayInUtc - 364 * kDay);
}

TEST(ParseTime, ClocksArePutOn_SkippedTimeMovesOnAndDayIsShort) {
    const Zone zone(kCentralEurope);
    // 2026-03-29: 02:00 CET is 03:00 CEST, 01:00 UTC.
    constexpr uint32_t kChange = 20541U * kDay + kHour;
    expectRows({
        same("2026-03-29 01:59:59", kChange - 1),
        same("2026-03-29 02:30", kChange + 1800),
        same("2026-03-29 03:00", kChange),
        {"2026-03-29", kChange - 2 * kHour, kChange + 21 * kHour - 1},
        same("2026-03-29 02:30 UTC", kChange + 5400),
    });
    // 12:00 CEST the next day.
    constexpr time_t kNextDay = kChange + 33 * kHour;
    EXPECT_EQ(parseTime("yesterday 02:30", kNextDay, Bound::Since), kChange + 1800);
    EXPECT_EQ(parseTime("yesterday", kNextDay, Bound::Until), kChange + 21 * kHour - 1);
    EXPECT_EQ(parseTime("1 month ago", kNextDay, Bound::Since), 20512U * kDay + 11 * kHour);
    EXPECT_EQ(parseTime("1 day ago", kNextDay, Bound::Since), kNextDay - kDay);
    // 02:30 CEST a month later; a month before it, that time does not exist.
    constexpr time_t kMonthLater = kChange + 31 * kDay - 1800;
    EXPECT_EQ(parseTime("1 month ago", kMonthLater, Bound::Since), kChange + 1800);
    // 01:30 CET, half an hour before.
    EXPECT_EQ(parseTime("+1h", kChange - 1800, Bound::Since), kChange + 1800);
    EXPECT_EQ(parseTime("tomorrow", kChange - 3 * kHour, Bound::Until), kChange + 21 * kHour - 1);
}

TEST(ParseTime, ClocksArePutBack_TimeThatComesTwiceIsFirstOrLast) {
    const Zone zone(kCentralEurope);
    // 2026-10-25: 03:00 CEST is 02:00 CET, 01:00 UTC.
    constexpr uint32_t kChange = 20751U * kDay + kHour;
    expectRows({
        {"2026-10-25 02:30", kChange - 1800, kChange + 1800},
        {"Sun Oct 25 02:30:00 2026", kChange - 1800, kChange + 1800},
        same("2026-10-25 03:00", kChange + kHour),
        same("2026-10-25 02:30+02:00", kChange - 1800),
        {"2026-10-25", kChange - 3 * kHour, kChange + 22 * kHour - 1},
        {"Oct 25 02:30", kChange - 1800, kChange + 1800},
        {"10-25 02:30:00.000", kChange - 1800, kChange + 1800},
        same("Oct 25 02:30 UTC", kChange + 5400),
    });
    // 12:00 CET the next day, and 02:30 CET a month later.
    constexpr time_t kNextDay = kChange + 34 * kHour;
    EXPECT_EQ(parseTime("yesterday 02:30", kNextDay, Bound::Since), kChange - 1800);
    EXPECT_EQ(parseTime("yesterday 02:30", kNextDay, Bound::Until), kChange + 1800);
    constexpr time_t kMonthLater = kChange + 31 * kDay + 1800;
    EXPECT_EQ(parseTime("1 month ago", kMonthLater, Bound::Since), kChange - 1800);
    EXPECT_EQ(parseTime("1 month ago", kMonthLater, Bound::Until), kChange + 1800);
}

TEST(ParseTime, WhatIsPrinted_IsReadBack) {
    for (const char *zoneName :
         {"UTC0", kCentralEurope, "XYZ-5:45", "ABC+11", "ABC+24", "ABC+24:59:59", "XYZ-24:59:59"}) {
        const Zone zone(zoneName);
        for (const TimeForm form : {TimeForm::Plain, TimeForm::Iso, TimeForm::Device}) {
            TimeFormatter formatter(form, std::string(zoneName) == "UTC0");
            for (uint64_t second = 0; second <= UINT32_MAX; second += 1234567) {
                const std::string text = formatter.format(static_cast<int64_t>(second));
                const auto since = parseTime(text, kNoon, Bound::Since);
                const auto until = parseTime(text, kNoon, Bound::Until);
                EXPECT_TRUE(since == second || until == second) << zoneName << ' ' << text;
            }
        }
    }
}

TEST(FormatTime, Forms_AsDocumented) {
    const Zone zone(kCentralEurope);
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, false).format(kNoon), "2026-11-21 13:00:00");
    EXPECT_EQ(TimeFormatter(TimeForm::Iso, false).format(kNoon), "2026-11-21T13:00:00+01:00");
    EXPECT_EQ(TimeFormatter(TimeForm::Device, false).format(kNoon), "Sat Nov 21 13:00:00 2026");
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, false).format(INT64_MAX), "-");
    const Zone utc("UTC0");
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, true).format(0), "1970-01-01 00:00:00Z");
    EXPECT_EQ(TimeFormatter(TimeForm::Iso, true).format(UINT32_MAX), "2106-02-07T06:28:15Z");
}

TEST(FormatTime, IsoWhereClocksAreSecondsOff_StillTellsTheSecond) {
    const Zone zone("XYZ0:44:30");
    const std::string text = TimeFormatter(TimeForm::Iso, false).format(0);
    EXPECT_EQ(text, "1969-12-31T23:16:00-00:44");
    EXPECT_EQ(parseTime(text, kNoon, Bound::Since), 0U);
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, false).format(0), "1969-12-31 23:15:30");
    const Zone east("XYZ-0:44:30");
    EXPECT_EQ(TimeFormatter(TimeForm::Iso, false).format(0), "1970-01-01T00:44:00+00:44");
}

TEST(FormatTime, AnotherSecond_AnotherText) {
    const Zone zone("UTC0");
    TimeFormatter formatter(TimeForm::Plain, true);
    EXPECT_EQ(formatter.format(1), "1970-01-01 00:00:01Z");
    EXPECT_EQ(formatter.format(2), "1970-01-01 00:00:02Z");
    EXPECT_EQ(formatter.format(1), "1970-01-01 00:00:01Z");
}

/// Zones whose clocks change by an hour, by half an hour, within an hour, twice a day, or are off by seconds.
constexpr std::array<const char *, 8> kZones = {"UTC0",
                                                kCentralEurope,
                                                "XYZ-5:45",
                                                "LHST-10:30LHDT-11,M10.1.0,M4.1.0",
                                                "XYZ0ABC,J100/2:10:20,J200/2:10:20",
                                                "XYZ0ABC,J100/2,J100/5",
                                                "XYZ0:44:30",
                                                "right/UTC"};

/// Seconds around each change of those zones in a year: some in every hour, and all of them where clocks may
/// jump.
std::vector<int64_t> instants() {
    std::vector<int64_t> seconds;
    // 2026-01-01.
    constexpr int64_t kYear = 20454 * int64_t{kDay};
    for (const int64_t day : {0, 87, 93, 99, 100, 199, 276, 297, 364}) {
        for (int64_t second = -3600; second < int64_t{kDay}; second += 599) {
            seconds.push_back(kYear + day * kDay + second);
            seconds.push_back(seconds.back() + 1);
        }
    }
    // The last leap second, in 2016, as counted by clocks that have leap seconds.
    for (int64_t second = -3; second < 40; ++second) {
        seconds.push_back(1483228800 + second);
    }
    for (const int64_t second : {int64_t{0}, int64_t{-1}, INT64_MAX, int64_t{UINT32_MAX}, INT64_MIN,
                                 int64_t{253402300800}, int64_t{253402300800} + 1800}) {
        seconds.push_back(second);
    }
    return seconds;
}

void expectAsAlone(TimeFormatter *formatter, TimeForm form, bool isUtc, int64_t second, const char *zone) {
    ASSERT_EQ(formatter->format(second), TimeFormatter(form, isUtc).format(second)) << zone << ' ' << second;
}

// A new formatter has no earlier text to reuse.
TEST(FormatTime, OneAfterTheOther_AsEachAlone) {
    const std::vector<int64_t> seconds = instants();
    for (const char *zoneName : kZones) {
        const Zone zone(zoneName);
        for (const TimeForm form : {TimeForm::Plain, TimeForm::Iso, TimeForm::Device}) {
            TimeFormatter formatter(form, false);
            for (const int64_t second : seconds) {
                expectAsAlone(&formatter, form, false, second, zoneName);
            }
            for (size_t i = 0; i < seconds.size(); ++i) {
                expectAsAlone(&formatter, form, false, seconds[i * 7919 % seconds.size()], zoneName);
            }
        }
    }
}

}  // namespace
}  // namespace test
