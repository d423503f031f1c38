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
/// it gives lies in the line. (All in the class, so that the compiler keeps the position in registers: this
/// is what every line that is read goes through.)
class LineSplitter {
public:
    /// Sees at most `maxChars` characters of the line.
    LineSplitter(const char *line, size_t maxChars) : position_(line), left_(maxChars) {}

    /// Takes the next field; empty when the line holds no more.
    std::string_view takeField() {
        const bool isFound = findField();
        const char *const begin = position_;
        const size_t leftBefore = left_;
        skipToComma();
        const size_t length = leftBefore - left_;
        skipComma();
        return isFound ? std::string_view(begin, length) : std::string_view();
    }

    /// Takes the next field as the number that it begins with, as atol() gives it where long has 64 bits:
    /// behind white space, with a sign or without one, the nearest number when 64 bits do not hold it, 0 when
    /// there is none. False when the line holds no more fields.
    bool takeNumber(int64_t *number) {
        if (!findField()) {
            return false;
        }
        skipWhiteSpace();
        const bool isNegative = takeSign();
        *number = signedNumber(isNegative, takeDigits());
        skipToComma();
        skipComma();
        return true;
    }

    /// What follows the comma behind the last field taken; empty when the line ends there.
    std::string_view rest() const { return {position_, boundedLength(position_, left_)}; }

    /// Where that begins.
    const char *restBegin() const { return position_; }

private:
    char current() const { return left_ > 0 ? *position_ : '\0'; }

    void step() {
        ++position_;
        --left_;
    }

    /// Goes to the next field's first character; false when there is none.
    bool findField() {
        while (current() == ',') {
            step();
        }
        return current() != '\0';
    }

    void skipToComma() {
        while (current() != ',' && current() != '\0') {
            step();
        }
    }

    void skipComma() {
        if (current() == ',') {
            step();
        }
    }

    void skipWhiteSpace() {
        while (current() == ' ' || (current() >= '\t' && current() <= '\r')) {
            step();
        }
    }

    /// Steps over a sign; tells whether it is a minus.
    bool takeSign() {
        const bool isNegative = current() == '-';
        if (isNegative || current() == '+') {
            step();
        }
        return isNegative;
    }

    /// The number of the digits that follow; all ones from where 64 bits do not hold it.
    uint64_t takeDigits() {
        constexpr uint64_t kMayGrow = (UINT64_MAX - 9) / 10;
        uint64_t number = 0;
        while (current() >= '0' && current() <= '9') {
            const auto digit = static_cast<uint64_t>(current() - '0');
            number = number <= kMayGrow ? 10 * number + digit : UINT64_MAX;
            step();
        }
        return number;
    }

    /// The number of a sign and digits, or the nearest one that 64 bits hold.
    static int64_t signedNumber(bool isNegative, uint64_t digits) {
        constexpr uint64_t kLargest = INT64_MAX;
        if (digits > kLargest) {
            return isNegative ? INT64_MIN : INT64_MAX;
        }
        return isNegative ? -static_cast<int64_t>(digits) : static_cast<int64_t>(digits);
    }

    const char *position_;
    size_t left_;
};

}  // namespace jorn

#endif
