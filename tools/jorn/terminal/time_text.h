// SPDX-License-Identifier: Apache-2.0
// Times as users write them and as the tool prints them, in the process's time zone: TZ, or UTC after
// useUtc().
#ifndef JORN_TOOLS_TIME_TEXT_H
#define JORN_TOOLS_TIME_TEXT_H

#include <stdint.h>
#include <time.h>

#include <optional>
#include <string>

namespace tool {

/// Makes UTC the local time zone of the process.
void useUtc();

/// Which limit a time is. A plain date as the upper limit means the end of that day. When a local time is
/// ambiguous because clocks are set back, the lower limit is its first occurrence and the upper one its
/// second.
enum class Bound { Since, Until };

/// The second since 1970 that a text means; nothing when it means none from 1970 to 2106. Accepted are
///   2026-11-21                      that day
///   11-21, Nov 21                   that day in the latest year in which it is not after today
///   Nov 21 2026, Sat Nov 21 2026    that day
///   today, yesterday, tomorrow
///   DAY 06:47[:08[.5]], DAYT06:47   a time on any of these days, with a point or a comma before a fraction
///   06:47[:08[.5]]                  today
///   Sat Nov 21 06:47:08 2026        as the device prints it
///   now
///   -2h, +1h30m, 2 days ago         s, m, h, d, w and their longer names; a day has 24 hours
///   -1M, 1 month ago, +1 year       by the calendar: the same clock time on the same day of the month, or on
///                                   the month's last day where it is too short
///   @1795000000, 1795000000         seconds since 1970; without the @, 9 or 10 digits; a fraction may
///                                   follow
/// Z or UTC after a day or a time means UTC, and after a time +01:00, +0100 or +01 that offset; "today" and
/// omitted years use the same clock. A fraction is dropped. A local time that clocks skip is taken to be as
/// far into the next hour as it is into the skipped one. Shifts beyond 1970 or 2106 stop there.
std::optional<uint32_t> parseTime(const std::string &text, time_t now, Bound bound);

/// The forms above in a few words, for messages.
extern const char *const kTimeForms;

enum class TimeForm {
    Plain,   ///< "2026-11-21 06:47:08", with a Z in UTC.
    Iso,     ///< "2026-11-21T06:47:08+01:00", with a Z in UTC.
    Device,  ///< "Sat Nov 21 06:47:08 2026", as the module shows it.
};

/// Writes times in one form. Neighbouring items often share a day, an hour or a second, so only what differs
/// is rewritten.
class TimeFormatter {
public:
    TimeFormatter(TimeForm form, bool isUtc) : form_(form), isUtc_(isUtc) {}

    /// "-" for a second that no calendar year holds. The text is valid until the next call.
    const std::string &format(int64_t second);

private:
    void renew(int64_t second);
    void show(const tm &date);
    void writeInHour(int minute, int second);
    std::string compose(const tm &date) const;

    TimeForm form_;
    bool isUtc_;
    std::optional<int64_t> last_;
    std::string text_;
    tm shown_ = {};          ///< What text_ shows, except for minutes and seconds.
    int64_t hourBegin_ = 0;  ///< In this hour, clocks show minutes and seconds as counted from its
    int64_t hourEnd_ = 0;    ///< start; empty where no such hour is known.
};

}  // namespace tool

#endif
