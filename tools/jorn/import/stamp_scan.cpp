// SPDX-License-Identifier: Apache-2.0
#include "import/stamp_scan.h"

#include "module_limits.h"

namespace tool {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool StampScan::take(char c) {
    if (rest_.empty() || rest_.front() != c) {
        return false;
    }
    rest_.remove_prefix(1);
    return true;
}

bool StampScan::takeText(std::string_view text) {
    if (rest_.substr(0, text.size()) != text) {
        return false;
    }
    rest_.remove_prefix(text.size());
    return true;
}

void StampScan::takeBlanks() {
    while (take(' ')) {
    }
}

bool StampScan::takeNumber(size_t least, size_t most, int64_t *number) {
    size_t digits = 0;
    int64_t value = 0;
    for (; digits < rest_.size() && isDigit(rest_[digits]); ++digits) {
        if (digits == most) {
            return false;
        }
        value = value * 10 + (rest_[digits] - '0');
    }
    if (digits < least) {
        return false;
    }
    rest_.remove_prefix(digits);
    *number = value;
    return true;
}

bool StampScan::takeNumber(size_t least, size_t most, int *number) {
    int64_t wide = 0;
    const bool isTaken = takeNumber(least, most, &wide);
    *number = static_cast<int>(wide);
    return isTaken;
}

bool StampScan::takeDate(Civil *civil) {
    return takeNumber(4, 4, &civil->year) && take('-') && takeMonthAndDay(civil);
}

bool StampScan::takeMonthAndDay(Civil *civil) {
    return takeNumber(2, 2, &civil->month) && take('-') && takeNumber(2, 2, &civil->day);
}

bool StampScan::takeNamedDate(Civil *civil) {
    constexpr size_t kNameLength = 3;
    const std::optional<int> month = monthNamed(rest_.substr(0, kNameLength));
    if (!month) {
        return false;
    }
    civil->month = *month;
    rest_.remove_prefix(kNameLength);
    return take(' ') && (take(' ') ? takeNumber(1, 1, &civil->day) : takeNumber(1, 2, &civil->day));
}

bool StampScan::takeTimeOfDay(Civil *civil) {
    const bool isTaken = takeNumber(2, 2, &civil->hour) && take(':') && takeNumber(2, 2, &civil->minute) &&
                         take(':') && takeNumber(2, 2, &civil->second);
    constexpr int kLeapSecond = 60;
    civil->second -= civil->second == kLeapSecond ? 1 : 0;
    return isTaken;
}

void StampScan::takeFraction() {
    const bool isThere = rest_.size() > 1 && (rest_[0] == '.' || rest_[0] == ',') && isDigit(rest_[1]);
    if (!isThere) {
        return;
    }
    rest_.remove_prefix(1);
    while (!rest_.empty() && isDigit(rest_.front())) {
        rest_.remove_prefix(1);
    }
}

bool StampScan::takeZone(Offset *offset) {
    if (take('Z')) {
        *offset = 0;
        return true;
    }
    const bool isWest = take('-');
    if (!isWest && !take('+')) {
        return false;
    }
    int hours = 0;
    int minutes = 0;
    const std::string_view begin = rest_;
    if (takeNumber(4, 4, &hours)) {
        minutes = hours % 100;
        hours /= 100;
    } else {
        rest_ = begin;
        if (!takeNumber(2, 2, &hours) || (take(':') && !takeNumber(2, 2, &minutes))) {
            return false;
        }
    }
    constexpr int kMostHours = 24;  // TZ can put local time this far from UTC.
    if (hours > kMostHours || minutes > 59) {
        return false;
    }
    const int64_t seconds = static_cast<int64_t>(hours) * jorn::kSecondsPerHour + minutes * 60;
    *offset = isWest ? -seconds : seconds;
    return true;
}

bool StampScan::takePriority(int *priority) {
    constexpr int kMost = 191;
    return take('<') && takeNumber(1, 3, priority) && take('>') && *priority <= kMost;
}

std::string_view StampScan::takeWord() {
    const size_t end = rest_.find_first_of(" \t:/(");
    const std::string_view word = rest_.substr(0, end);
    rest_.remove_prefix(word.size());
    return word;
}

bool StampScan::takeGap() { return rest_.empty() || take(' ') || take('\t'); }

}  // namespace tool
