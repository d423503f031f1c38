// SPDX-License-Identifier: Apache-2.0
// Times as users write them and as the tool prints them.
#include "terminal/time_text.h"
#include "common_values.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>

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
constexpr time_t kNow = 20778LL * 86400 + 43200;
/// By rule, not by a zone file that a machine may lack.
constexpr char kEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

struct Row {
    const char *text;
    std::optional<uint32_t> since;
    std::optional<uint32_t> until;
};

void expectRows(const std::vector<Row> &rows) {
    for (const Row &row : rows) {
        EXPECT_EQ(parseTime(row.text, kNow, Bound::Since), row.since) << row.text;
        EXPECT_EQ(parseTime(row.text, kNow, Bound::Until), row.until) << row.text;
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
        same("-2h", kToday + 10 * kHour),
        same("-30min", kToday + 12 * kHour - 1800),
        same("-90s", kToday + 12 * kHour - 90),
        same("-1d", kToday - kDay / 2),
        same("-1week", kToday - 7 * kDay + kDay / 2),
        same("2 days ago", kToday - 2 * kDay + kDay / 2),
        same("1 hour ago", kToday + 11 * kHour),
        same("5m ago", kToday + 12 * kHour - 300),
        same("2 weeks ago", kToday - 14 * kDay + kDay / 2),
        same("-1h30m", kToday + 10 * kHour + 1800),
        same("-1h 30min", kToday + 10 * kHour + 1800),
        same("- 1d 2h3s", kToday - 14 * kHour - 3),
        same("1 day 2 hours ago", kToday - 14 * kHour),
        same("1h30m ago", kToday + 10 * kHour + 1800),
        same("-9999w", 0),
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
                none("tomorrow"),
                none("-2"),
                none("-2y"),
                none("-1h30"),
                none("-1s1s1s1s1s1s1s1s1s1s"),
                none("1s 1s 1s 1s 1s 1s 1s 1s 1s 1s ago"),
                none("-1h30y"),
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
    const Zone zone(kEurope);
    constexpr uint32_t kToday = 20778U * kDay - kHour;
    expectRows({
        {"2026-11-21", kToday, kToday + kDay - 1},
        {"today", kToday, kToday + kDay - 1},
        same("06:47", kToday + 6 * kHour + 47 * 60),
        same("2026-11-21 06:47", kToday + 6 * kHour + 47 * 60),
        same("2026-11-21 06:47Z", kToday + 7 * kHour + 47 * 60),
        same("2026-07-01 00:00", 20635U * kDay - 2 * kHour),
        {"1970-01-01", 0, kDay - kHour - 1},
    });
}

TEST(ParseTime, ClocksArePutOn_SkippedTimeMovesOnAndDayIsShort) {
    const Zone zone(kEurope);
    // 2026-03-29: 02:00 CET is 03:00 CEST, 01:00 UTC.
    constexpr uint32_t kChange = 20541U * kDay + kHour;
    expectRows({
        same("2026-03-29 01:59:59", kChange - 1),
        same("2026-03-29 02:30", kChange + 1800),
        same("2026-03-29 03:00", kChange),
        {"2026-03-29", kChange - 2 * kHour, kChange + 21 * kHour - 1},
    });
}

TEST(ParseTime, ClocksArePutBack_TimeThatComesTwiceIsFirstOrLast) {
    const Zone zone(kEurope);
    // 2026-10-25: 03:00 CEST is 02:00 CET, 01:00 UTC.
    constexpr uint32_t kChange = 20751U * kDay + kHour;
    expectRows({
        {"2026-10-25 02:30", kChange - 1800, kChange + 1800},
        {"Sun Oct 25 02:30:00 2026", kChange - 1800, kChange + 1800},
        same("2026-10-25 03:00", kChange + kHour),
        same("2026-10-25 02:30+02:00", kChange - 1800),
        {"2026-10-25", kChange - 3 * kHour, kChange + 22 * kHour - 1},
    });
}

TEST(ParseTime, WhatIsPrinted_IsReadBack) {
    for (const char *zoneName :
         {"UTC0", kEurope, "XYZ-5:45", "ABC+11", "ABC+24", "ABC+24:59:59", "XYZ-24:59:59"}) {
        const Zone zone(zoneName);
        for (const TimeForm form : {TimeForm::Plain, TimeForm::Iso, TimeForm::Device}) {
            TimeFormatter formatter(form, std::string(zoneName) == "UTC0");
            for (uint64_t second = 0; second <= UINT32_MAX; second += 1234567) {
                const std::string text = formatter.format(static_cast<int64_t>(second));
                const auto since = parseTime(text, kNow, Bound::Since);
                const auto until = parseTime(text, kNow, Bound::Until);
                EXPECT_TRUE(since == second || until == second) << zoneName << ' ' << text;
            }
        }
    }
}

TEST(FormatTime, Forms_AsDocumented) {
    const Zone zone(kEurope);
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, false).format(kNow), "2026-11-21 13:00:00");
    EXPECT_EQ(TimeFormatter(TimeForm::Iso, false).format(kNow), "2026-11-21T13:00:00+01:00");
    EXPECT_EQ(TimeFormatter(TimeForm::Device, false).format(kNow), "Sat Nov 21 13:00:00 2026");
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, false).format(INT64_MAX), "-");
    const Zone utc("UTC0");
    EXPECT_EQ(TimeFormatter(TimeForm::Plain, true).format(0), "1970-01-01 00:00:00Z");
    EXPECT_EQ(TimeFormatter(TimeForm::Iso, true).format(UINT32_MAX), "2106-02-07T06:28:15Z");
}

TEST(FormatTime, IsoWhereClocksAreSecondsOff_StillTellsTheSecond) {
    const Zone zone("XYZ0:44:30");
    const std::string text = TimeFormatter(TimeForm::Iso, false).format(0);
    EXPECT_EQ(text, "1969-12-31T23:16:00-00:44");
    EXPECT_EQ(parseTime(text, kNow, Bound::Since), 0U);
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

}  // namespace
}  // namespace test
