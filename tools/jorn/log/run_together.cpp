// SPDX-License-Identifier: Apache-2.0
#include "log/run_together.h"

#include <stdint.h>

#include <algorithm>
#include <charconv>

#include "csvfile/line.h"
#include "log/stored_line.h"
#include "module_limits.h"

namespace tool {
namespace {

/// Digits of the times from 1973 on. Shorter numbers are common in texts.
constexpr size_t kFewestDigits = 9;
constexpr size_t kMostDigits = 10;

/// What follows the time, ",3,0,".
constexpr size_t kNumbersLength = sizeof ",3,0," - 1;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isBelow(char digit, int end) { return digit >= '0' && digit < '0' + end; }

bool areNumbersAt(std::string_view line, size_t comma) {
    return line.size() - comma >= kNumbersLength && isBelow(line[comma + 1], jorn::kLevelMax) &&
           line[comma + 2] == ',' && isBelow(line[comma + 3], jorn::kSlotMax) && line[comma + 4] == ',';
}

size_t digitsBefore(std::string_view line, size_t end) {
    size_t begin = end;
    while (begin > 0 && isDigit(line[begin - 1])) {
        --begin;
    }
    return end - begin;
}

uint64_t numberIn(std::string_view digits) {
    uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

/// The time at the end of these digits: the last ten of them if they can be a time.
uint64_t timeAtEnd(std::string_view digits) {
    if (digits.size() >= kMostDigits) {
        const std::string_view last = digits.substr(digits.size() - kMostDigits);
        if (last.front() != '0' && numberIn(last) <= UINT32_MAX) {
            return numberIn(last);
        }
    }
    return numberIn(digits.substr(digits.size() - kFewestDigits));
}

/// The time at the start of a line; 0, the lowest, when it is not whole.
uint64_t timeAtBegin(std::string_view line) {
    const size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
    return digits <= kMostDigits ? numberIn(line.substr(0, digits)) : 0;
}

bool isStartItem(std::string_view line, size_t comma) {
    return line.substr(comma, kNumbersLength) == ",3,0," &&
           line.substr(comma + kNumbersLength) == jorn::kStartText;
}

bool beginsSecondLine(std::string_view line, size_t comma) {
    const size_t digits = areNumbersAt(line, comma) ? digitsBefore(line, comma) : 0;
    const bool isAtBegin = digits == comma;
    if (digits < kFewestDigits || (isAtBegin && digits <= kMostDigits)) {
        return false;
    }
    return isStartItem(line, comma) || timeAtEnd(line.substr(comma - digits, digits)) > timeAtBegin(line);
}

}  // namespace

bool looksRunTogether(std::string_view line) {
    line = withoutLineFeed(line);
    for (size_t comma = line.find(','); comma != std::string_view::npos; comma = line.find(',', comma + 1)) {
        if (beginsSecondLine(line, comma)) {
            return true;
        }
    }
    return false;
}

}  // namespace tool
