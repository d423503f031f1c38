// SPDX-License-Identifier: Apache-2.0
// Parsing of one data file line into its numbers. The layout of a line is described in data_file.h.
#ifndef JORN_SRC_CSVFILE_ITEM_PARSER_H
#define JORN_SRC_CSVFILE_ITEM_PARSER_H

#include <stddef.h>
#include <stdint.h>

#include <string_view>

#include "bounded_length.h"
#include "linkage.h"
#include "module_limits.h"

/// The numbers of one line. A plain value of the caller's.
typedef struct {
    uint32_t time;     ///< Seconds since 1970-01-01 UTC.
    int32_t level;     ///< As the line gives it; any value.
    int32_t slot;      ///< As the line gives it; any value.
    const char *text;  ///< What follows the slot's comma, in the line that was parsed.
} JORN_ITEM_INFO;

/// Splits `line` into `item`. Fields are what strtok_r finds between commas (empty fields do not
/// count), converted as atol and atoi do: the leading number they hold, 0 when they hold none; no range is
/// tested. Only the first 255 characters are looked at, and none behind the slot's comma. Returns 0; -1 with
/// a message when a field is missing, the fields before it being stored already. Reentrant.
JORN_INTERNAL int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item);

/// Day number of a time: whole days since 1970-01-01 UTC, 0 to 49710.
JORN_INTERNAL uint32_t jorn_TimeToDay(uint32_t seconds);

namespace jorn {

/// Takes a line apart, field by field, from its front. It goes over the line once and copies nothing, so what
/// it gives lies in the line. (Every line that is read goes through it: all of it but takeInt() stands in the
/// class, so that a compiler can make one piece of it and its caller.)
class LineSplitter {
public:
    /// Sees at most `maxChars` characters of the line. Something else than a digit, as its NUL, has to follow
    /// them where a number is taken: digits are looked at to their end.
    LineSplitter(const char *line, size_t maxChars) : line_(line), maxChars_(maxChars) {}

    /// Takes the next field; empty when the line holds no more.
    std::string_view takeField() {
        const size_t begin = nextField();
        const size_t end = endOfField(begin);
        leaveField(end);
        return {line_ + begin, end - begin};
    }

    /// Takes the next field as the number that it begins with, as atol() gives it where long has 64 bits:
    /// behind white space, with a sign or without one, the nearest number when 64 bits do not hold it, 0 when
    /// there is none. False when the line holds no more fields.
    bool takeNumber(int64_t *number) { return takePlainNumber(number) || takeAnyNumber(number); }

    /// The same as atoi() gives it: as the nearest long, of which 32 bits are kept.
    bool takeInt(int32_t *number);

    /// What follows the comma behind the last field taken; empty when the line ends there.
    std::string_view rest() const { return {restBegin(), boundedLength(restBegin(), maxChars_ - position_)}; }

    /// Where that begins.
    const char *restBegin() const { return line_ + position_; }

private:
    /// takeNumber() for a field as the store writes it: digits, so few that they fit without a test, and a
    /// comma. Takes nothing and is false when the field is another.
    bool takePlainNumber(int64_t *number) {
        constexpr size_t kDigitsThatFit = 18;
        uint64_t value = 0;
        size_t end = position_;
        for (; isDigit(line_[end]); ++end) {
            value = 10 * value + digitOf(line_[end]);
        }
        const size_t digits = end - position_;
        if (digits == 0 || digits > kDigitsThatFit || end >= maxChars_ || line_[end] != ',') {
            return false;
        }
        *number = static_cast<int64_t>(value);
        position_ = end + 1;
        return true;
    }

    bool takeAnyNumber(int64_t *number) {
        size_t position = nextField();
        if (at(position) == '\0') {
            return false;
        }
        while (isWhiteSpace(at(position))) {
            ++position;
        }
        const bool isNegative = at(position) == '-';
        if (isNegative || at(position) == '+') {
            ++position;
        }
        uint64_t digits = 0;
        for (; isDigit(at(position)); ++position) {
            digits = withDigit(digits, at(position));
        }
        *number = withSign(digits, isNegative);
        leaveField(endOfField(position));
        return true;
    }

    static bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    /// What a digit counts; above 9 for any other character.
    static unsigned digitOf(char c) { return static_cast<unsigned char>(c) - unsigned{'0'}; }
    static bool isDigit(char c) { return digitOf(c) <= 9; }

    /// A number with one digit more; all ones from where 64 bits do not hold it.
    static uint64_t withDigit(uint64_t number, char digit) {
        constexpr uint64_t kMayGrow = (UINT64_MAX - 9) / 10;
        return number <= kMayGrow ? 10 * number + static_cast<uint64_t>(digit - '0') : UINT64_MAX;
    }

    /// A number with its sign, or the nearest one that 64 bits hold.
    static int64_t withSign(uint64_t number, bool isNegative) {
        constexpr uint64_t kLargest = INT64_MAX;
        if (number > kLargest) {
            return isNegative ? INT64_MIN : INT64_MAX;
        }
        return isNegative ? -static_cast<int64_t>(number) : static_cast<int64_t>(number);
    }

    char at(size_t position) const { return position < maxChars_ ? line_[position] : '\0'; }

    /// Where the next field begins, or the line ends.
    size_t nextField() const {
        size_t position = position_;
        while (at(position) == ',') {
            ++position;
        }
        return position;
    }

    size_t endOfField(size_t position) const {
        while (at(position) != ',' && at(position) != '\0') {
            ++position;
        }
        return position;
    }

    void leaveField(size_t end) { position_ = at(end) == ',' ? end + 1 : end; }

    const char *line_;
    size_t maxChars_;
    size_t position_ = 0;
};

}  // namespace jorn

#endif
