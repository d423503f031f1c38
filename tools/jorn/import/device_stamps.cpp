// SPDX-License-Identifier: Apache-2.0
#include "import/device_stamps.h"

#include <algorithm>
#include <array>

#include "import/stamp_scan.h"
#include "output/syslog_format.h"

namespace tool {
namespace {

constexpr int64_t kMicroseconds = 1000000;
constexpr size_t kFractionDigits = 6;
/// Enough digits for the time of any item in seconds; few enough that a sum in microseconds cannot overflow.
constexpr size_t kMostSecondDigits = 10;

std::optional<uint32_t> timeAfterBoot(int64_t boot, int64_t microseconds) {
    return itemTime((boot + microseconds) / kMicroseconds);
}

/// "6,339,5140900,-;text"; flags and further fields may follow the time.
LineHead readRecord(std::string_view line, int64_t boot) {
    StampScan scan(line);
    int priority = 0;
    int64_t sequence = 0;
    int64_t microseconds = 0;
    const bool isRecord = scan.takeNumber(1, 4, &priority) && scan.take(',') &&
                          scan.takeNumber(1, 18, &sequence) && scan.take(',') &&
                          scan.takeNumber(1, kMostSecondDigits + kFractionDigits, &microseconds);
    const size_t semicolon = scan.rest().find(';');
    if (!isRecord || !scan.take(',') || semicolon == std::string_view::npos) {
        return {};
    }
    return {timeAfterBoot(boot, microseconds), levelOfSeverity(priority % kSeverityCount),
            line.find(';', scan.taken()) + 1};
}

/// "kern  :info  : "; false for anything else.
bool takeNames(StampScan *scan, LineHead *head) {
    static constexpr std::array<std::string_view, kSeverityCount> kSeverities = {
        "emerg", "alert", "crit", "err", "warn", "notice", "info", "debug"};
    StampScan after = *scan;
    const bool isFacility = !after.takeWord().empty();
    after.takeBlanks();
    const bool isColon = after.take(':');
    const auto *const severity = std::find(kSeverities.begin(), kSeverities.end(), after.takeWord());
    after.takeBlanks();
    if (!isFacility || !isColon || severity == kSeverities.end() || !after.take(':')) {
        return false;
    }
    after.take(' ');
    *scan = after;
    *head = {std::nullopt, levelOfSeverity(static_cast<int>(severity - kSeverities.begin())), after.taken()};
    return true;
}

/// "[    5.123456] ".
bool takeBracketed(StampScan *scan, int64_t *microseconds) {
    int64_t seconds = 0;
    if (!scan->take('[')) {
        return false;
    }
    scan->takeBlanks();
    if (!scan->takeNumber(1, kMostSecondDigits, &seconds) || !scan->take('.') ||
        !scan->takeNumber(kFractionDigits, kFractionDigits, microseconds) || !scan->take(']')) {
        return false;
    }
    *microseconds += seconds * kMicroseconds;
    scan->take(' ');
    return true;
}

std::optional<int> levelOfLetter(std::string_view word) {
    constexpr std::string_view kLetters = "EFAWIDV";
    constexpr std::array<int, kLetters.size()> kLevels = {0, 0, 0, 1, 2, 3, 3};
    const size_t found = word.size() == 1 ? kLetters.find(word.front()) : std::string_view::npos;
    return found == std::string_view::npos ? std::nullopt : std::optional(kLevels[found]);
}

/// "I/Tag( 1): text", or "root  1  2 I Tag: text", where user and thread may be missing.
std::optional<int> readLetter(StampScan scan) {
    constexpr int kMostWords = 4;
    for (int words = 0; words < kMostWords; ++words) {
        scan.takeBlanks();
        const std::optional<int> level = levelOfLetter(scan.takeWord());
        if (level) {
            const bool isAlone = words == 0;
            return scan.take(isAlone ? '/' : ' ') ? level : std::nullopt;
        }
    }
    return std::nullopt;
}

/// "11-21 06:47:08.123", with or without a year before it and a zone after it.
std::optional<uint32_t> takeCalendarTime(StampScan *scan, StampClock *clock) {
    Civil civil;
    Offset offset;
    StampScan withYear = *scan;
    const bool hasYear = withYear.takeDate(&civil);
    if (hasYear) {
        *scan = withYear;
    } else if (!scan->takeMonthAndDay(&civil)) {
        return std::nullopt;
    }
    if (!scan->take(' ') || !scan->takeTimeOfDay(&civil)) {
        return std::nullopt;
    }
    scan->takeFraction();
    StampScan zoned = *scan;
    if (zoned.take(' ') && zoned.takeZone(&offset)) {
        *scan = zoned;
    } else {
        offset.reset();
    }
    return hasYear ? clock->at(civil, offset) : clock->newest(civil, offset);
}

/// "1795240028.123"; fewer digits are seconds since the device started, or something else.
std::optional<uint32_t> takeEpoch(StampScan *scan) {
    int64_t seconds = 0;
    scan->takeBlanks();
    const bool isTaken = scan->takeNumber(9, 10, &seconds);
    scan->takeFraction();
    return isTaken ? itemTime(seconds) : std::nullopt;
}

}  // namespace

LineHead readKernelHead(std::string_view line, int64_t bootMicroseconds) {
    const LineHead record = readRecord(line, bootMicroseconds);
    if (record.length > 0) {
        return record;
    }
    StampScan scan(line);
    LineHead head;
    StampScan prioritised = scan;
    int priority = 0;
    if (prioritised.takePriority(&priority)) {
        scan = prioritised;
        head = {std::nullopt, levelOfSeverity(priority % kSeverityCount), scan.taken()};
    } else {
        takeNames(&scan, &head);
    }
    int64_t microseconds = 0;
    if (takeBracketed(&scan, &microseconds)) {
        head.time = timeAfterBoot(bootMicroseconds, microseconds);
        head.length = scan.taken();
    }
    return head;
}

LineHead readLogcatHead(std::string_view line, StampClock *clock) {
    StampScan scan(line);
    LineHead head;
    head.time = takeCalendarTime(&scan, clock);
    if (!head.time) {
        scan = StampScan(line);
        head.time = takeEpoch(&scan);
    }
    if (head.time && scan.takeGap()) {
        scan.takeBlanks();
        head.length = scan.taken();
    } else {
        head = {};
        scan = StampScan(line);
    }
    head.level = readLetter(scan);
    return head;
}

}  // namespace tool
