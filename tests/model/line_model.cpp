// SPDX-License-Identifier: Apache-2.0
#include "model/line_model.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <unordered_map>

namespace test {
namespace {

constexpr size_t kPiece = 256;
constexpr size_t kTextsKept = 100;
constexpr int kLongBits = static_cast<int>(sizeof(long) * 8);

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The number that digits stand for, or a bound when it is larger.
uint64_t cappedNumber(const std::string &digits, uint64_t bound) {
    uint64_t number = 0;
    for (const char digit : digits) {
        const auto value = static_cast<uint64_t>(digit - '0');
        if (number > (bound - value) / 10) {
            return bound;
        }
        number = number * 10 + value;
    }
    return number;
}

bool isLeapYear(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysOfMonth(int64_t year, int month) {
    constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 1 && isLeapYear(year) ? 29 : kDays.at(static_cast<size_t>(month));
}

struct Date {
    int64_t year;
    int month;
    int day;
};

/// Counts forward from 1970 by 400 years, by years and by months.
Date dateOf(int64_t days) {
    constexpr int64_t kDaysOf400Years = 146097;
    int64_t cycles = days / kDaysOf400Years;
    int64_t left = days % kDaysOf400Years;
    if (left < 0) {
        left += kDaysOf400Years;
        --cycles;
    }
    Date date = {1970 + 400 * cycles, 0, 1};
    for (int yearDays = 365; left >= (yearDays = isLeapYear(date.year) ? 366 : 365); ++date.year) {
        left -= yearDays;
    }
    for (; left >= daysOfMonth(date.year, date.month); ++date.month) {
        left -= daysOfMonth(date.year, date.month);
    }
    date.day = static_cast<int>(left) + 1;
    return date;
}

std::string cut(const std::string &text, size_t length) { return text.substr(0, length); }

}  // namespace

std::shared_ptr<const ModelText> modelText(const std::string &bytes) {
    static std::unordered_map<std::string, std::shared_ptr<const ModelText>> known;
    const auto found = known.find(bytes);
    if (found != known.end()) {
        return found->second;
    }
    const auto text = std::make_shared<ModelText>();
    text->bytes = bytes;
    const std::string_view all = text->bytes;
    for (size_t begin = 0; begin < all.size();) {
        const size_t lineEnd = std::min(all.find('\n', begin), all.size() - 1) + 1;
        const std::string_view piece = all.substr(begin, std::min(lineEnd - begin, kPiece));
        const std::string_view seen = piece.substr(0, piece.find('\0'));
        const std::string line(seen);
        text->lines.push_back({piece, seen, isModelBlank(line), modelParse(line)});
        begin += piece.size();
    }
    if (known.size() >= kTextsKept) {
        known.clear();
    }
    known[bytes] = text;
    return text;
}

std::vector<std::string> modelLines(const std::string &bytes) {
    std::vector<std::string> lines;
    for (const ModelLine &line : modelText(bytes)->lines) {
        lines.emplace_back(line.seen);
    }
    return lines;
}

bool isModelBlank(const std::string &line) { return !line.empty() && (line[0] == '\r' || line[0] == '\n'); }

ModelFields modelFields(const std::string &line, size_t maxChars, size_t count) {
    const std::string seen = line.substr(0, maxChars);
    ModelFields split;
    size_t position = 0;
    while (split.fields.size() < count) {
        position = seen.find_first_not_of(',', position);
        if (position == seen.npos) {
            return split;
        }
        const size_t comma = seen.find(',', position);
        split.fields.push_back(seen.substr(position, comma - position));
        if (comma == seen.npos) {
            return split;
        }
        position = comma + 1;
    }
    split.rest = seen.substr(position);
    return split;
}

int64_t modelLeadingNumber(const std::string &text, int bits) {
    const size_t start = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const bool isSigned = start < text.size() && (text[start] == '-' || text[start] == '+');
    const bool isNegative = isSigned && text[start] == '-';
    const auto firstDigit = text.begin() + static_cast<std::ptrdiff_t>(start + (isSigned ? 1 : 0));
    const std::string digits(firstDigit, std::find_if_not(firstDigit, text.end(), isDigit));
    const uint64_t largest = (uint64_t{1} << (bits - 1)) - 1;
    if (!isNegative) {
        return static_cast<int64_t>(cappedNumber(digits, largest));
    }
    const uint64_t size = cappedNumber(digits, largest + 1);
    return size > largest ? -static_cast<int64_t>(largest) - 1 : -static_cast<int64_t>(size);
}

uint32_t modelTime(const std::string &field) { return static_cast<uint32_t>(modelLeadingNumber(field, 64)); }

int32_t modelNumber(const std::string &field) {
    return static_cast<int32_t>(static_cast<uint32_t>(modelLeadingNumber(field, kLongBits)));
}

ModelParse modelParse(const std::string &line) {
    const std::vector<std::string> fields = modelFields(line, 255, 3).fields;
    ModelParse parse;
    if (fields.empty()) {
        parse.message = "Time info error!";
        return parse;
    }
    parse.time = modelTime(fields[0]);
    if (fields.size() < 2) {
        parse.message = "Level info error!";
        return parse;
    }
    parse.level = modelNumber(fields[1]);
    if (fields.size() < 3) {
        parse.message = "Slot info error!";
        return parse;
    }
    parse.slot = modelNumber(fields[2]);
    return parse;
}

ModelFile modelItems(const std::string &bytes) {
    ModelFile items;
    for (const ModelLine &line : modelText(bytes)->lines) {
        if (line.isItem()) {
            items.push_back(line.item());
            items.back().text = line.seen;
        }
    }
    return items;
}

std::string modelCalendar(int64_t seconds) {
    constexpr int64_t kDay = 86400;
    constexpr std::array<const char *, 7> kWeekDays = {"Thu", "Fri", "Sat", "Sun", "Mon", "Tue", "Wed"};
    constexpr std::array<const char *, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const int64_t ofDay = (seconds % kDay + kDay) % kDay;
    const int64_t days = seconds / kDay - (seconds % kDay < 0 ? 1 : 0);
    const Date date = dateOf(days);
    // A calendar record counts its years from 1900 in 32 bits, and the year itself has to fit too.
    if (date.year > std::numeric_limits<int32_t>::max() ||
        date.year - 1900 < std::numeric_limits<int32_t>::min()) {
        return "";
    }
    std::array<char, 64> text{};
    snprintf(text.data(), text.size(), "%s %s %2d %02d:%02d:%02d %lld",
             kWeekDays.at(static_cast<size_t>((days % 7 + 7) % 7)),
             kMonths.at(static_cast<size_t>(date.month)), date.day, static_cast<int>(ofDay / 3600),
             static_cast<int>(ofDay / 60 % 60), static_cast<int>(ofDay % 60),
             static_cast<long long>(date.year));
    return text.data();
}

ModelRecord modelRecord(const std::string &line) {
    const ModelFields split = modelFields(line, kPiece, 3);
    ModelRecord record;
    if (split.fields.empty()) {
        record.message = "Time string error!\n";
        return record;
    }
    record.time = cut(modelCalendar(modelLeadingNumber(split.fields[0], 64)), 27);
    if (split.fields.size() < 2) {
        record.message = "Level string error!\n";
        return record;
    }
    record.level = cut(split.fields[1], 15);
    if (split.fields.size() < 3) {
        record.message = "Slot string error!\n";
        return record;
    }
    record.slot = cut(split.fields[2], 11);
    record.text = cut(split.rest, 199);
    return record;
}

}  // namespace test
