// SPDX-License-Identifier: Apache-2.0
#include "day.h"

#include <charconv>

namespace tool {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

/// A number of decimal digits alone, up to a limit.
std::optional<int64_t> parseNumber(const char *first, const char *last, int64_t limit) {
    int64_t number = 0;
    const auto [end, error] = std::from_chars(first, last, number);
    const bool isNumber = error == std::errc() && end == last && *first != '-';
    return isNumber && number <= limit ? std::optional(number) : std::nullopt;
}

std::optional<int32_t> dayOfSecond(std::optional<int64_t> second) {
    if (!second || *second < 0 || *second > kLastSecond) {
        return std::nullopt;
    }
    return static_cast<int32_t>(*second / kSecondsPerDay);
}

std::optional<int32_t> parseDate(const std::string &text) {
    tm date = {};
    const char *const end = strptime(text.c_str(), "%Y-%m-%d", &date);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    const time_t second = timegm(&date);
    // Written back, a day that no month has comes out as another one, and a short form as the full one.
    char normal[sizeof "2026-11-21"];
    if (strftime(normal, sizeof normal, "%Y-%m-%d", &date) == 0 || text != normal) {
        return std::nullopt;
    }
    return dayOfSecond(second);
}

}  // namespace

std::optional<int32_t> parseDay(const std::string &text, time_t now) {
    if (text == "today") {
        return dayOfSecond(now);
    }
    if (text == "yesterday") {
        return dayOfSecond(now - kSecondsPerDay);
    }
    const char *const first = text.data();
    const char *const last = first + text.size();
    if (!text.empty() && text[0] == '@') {
        return dayOfSecond(parseNumber(first + 1, last, kLastSecond));
    }
    if (const auto number = parseNumber(first, last, kLastDay)) {
        return static_cast<int32_t>(*number);
    }
    return parseDate(text);
}

}  // namespace tool
