// SPDX-License-Identifier: Apache-2.0
// The line of a data file, built and parsed.
//
//   line    time "," level "," slot "," text LF
//   time    unsigned decimal seconds since 1970-01-01 UTC
//   level   signed decimal, below 4
//   slot    signed decimal, below the object's slot_max
//   text    0 to 198 bytes, any but CR, LF and NUL; commas belong to the text
//
// A line built here has at most 234 characters. A line to be parsed may be anything.
//
// All of it is in this header so that a compiler can inline it: every item submitted and every line read
// passes through it.
#ifndef JORN_SRC_CSVFILE_LINE_H
#define JORN_SRC_CSVFILE_LINE_H

#include <limits.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string_view>

#include "module_limits.h"

/// The numbers of one line. A plain value that the caller owns.
typedef struct {
    uint32_t time;     ///< Seconds since 1970-01-01 UTC.
    int32_t level;     ///< As the line gives it; any value.
    int32_t slot;      ///< As the line gives it; any value.
    const char *text;  ///< What follows the slot's comma, in the line that was parsed.
} JORN_ITEM_INFO;

namespace jorn {

/// The texts of the store's own items: for an object's creation and for its clearing.
constexpr char kStartText[] = "Log start init!";
constexpr char kClearedText[] = "Log all cleared!";

/// Bytes before a text's NUL, `most` when the first `most` bytes hold none. Nothing after those is read. (The
/// C library's strnlen, which not every device has.)
inline size_t boundedLength(const char *text, size_t most) {
    const void *const end = memchr(text, '\0', most);
    return end != nullptr ? static_cast<size_t>(static_cast<const char *>(end) - text) : most;
}

/// Writes a number in decimal. Returns its end. (Not with sprintf, which takes longer than all the rest.)
inline char *appendNumber(char *end, uint32_t number) {
    char digits[kInt32Digits];
    char *first = digits + sizeof digits;
    do {
        *--first = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    do {
        *end++ = *first++;
    } while (first != digits + sizeof digits);
    return end;
}

/// Appends a number in decimal and the comma that ends its field. Returns their end.
inline char *appendField(char *end, uint32_t number) {
    end = appendNumber(end, number);
    *end++ = ',';
    return end;
}

inline char *appendSignedField(char *end, int32_t number) {
    const uint32_t bits = static_cast<uint32_t>(number);
    if (bits <= 9) {  // almost always
        *end++ = static_cast<char>('0' + bits);
        *end++ = ',';
        return end;
    }
    if (number >= 0) {
        return appendField(end, bits);
    }
    *end++ = '-';
    return appendField(end, 0U - bits);  // the smallest number has no positive counterpart
}

/// Four characters as they lie in memory, at any address.
using FourChars [[gnu::may_alias, gnu::aligned(1)]] = uint32_t;

/// Copies `length` characters, a multiple of four. False when some of them are control characters below 14,
/// as line ends are.
inline bool copyFours(char *to, const char *from, size_t length) {
    uint32_t borrows = 0;
    for (size_t i = 0; i < length; i += sizeof(FourChars)) {
        const uint32_t chars = *reinterpret_cast<const FourChars *>(from + i);
        // 14 less, only a character below 14 has a highest bit that it did not have before.
        borrows |= (chars - 0x0E0E0E0EU) & ~chars;
        *reinterpret_cast<FourChars *>(to + i) = chars;
    }
    return (borrows & 0x80808080U) == 0;
}

/// Copies an item's text, blanks in place of line ends, then the line feed and the NUL that close a line.
/// Returns the end, after the NUL. (Nearly every text holds no line end; copied in fours, it takes a fifth of
/// the instructions.)
inline char *appendText(char *end, const char *text) {
    const size_t length = boundedLength(text, kTextMax);
    const size_t inFours = length - length % sizeof(FourChars);
    for (size_t i = copyFours(end, text, inFours) ? inFours : 0; i < length; ++i) {
        // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): it believes that no NUL is found
        const bool isLineEnd = text[i] == '\n' || text[i] == '\r';
        end[i] = isLineEnd ? ' ' : text[i];
    }
    end[length] = '\n';
    end[length + 1] = '\0';
    return end + length + 2;
}

/// Appends the line of an item and a NUL. Returns the end, after the NUL. The first 198 bytes of the text are
/// kept, blanks in place of line ends.
inline char *appendLine(char *end, uint32_t time, int32_t level, int32_t slot, const char *text) {
    end = appendField(end, time);
    end = appendSignedField(end, level);
    end = appendSignedField(end, slot);
    return appendText(end, text);
}

/// Bytes of the longest line with its NUL.
constexpr size_t kLineSize = kItemLineMax + 1;

/// Whether a line is blank: its first character is a carriage return or a line feed. An empty text is
/// not blank.
inline bool isBlankLine(const char *line) { return line[0] == '\r' || line[0] == '\n'; }

/// The value of a digit; above 9 for any other character.
inline unsigned digitOf(char c) { return static_cast<unsigned char>(c) - unsigned{'0'}; }
inline bool isDigit(char c) { return digitOf(c) <= 9; }

/// Splits a line field by field, from its front. It goes over the line once and copies nothing: its results
/// point into the line.
class LineSplitter {
public:
    /// Reads at most `maxChars` characters of the line, and none after its NUL.
    LineSplitter(const char *line, size_t maxChars) : line_(line), maxChars_(maxChars) {}

    /// Takes the next field; empty when the line holds no more.
    std::string_view takeField() {
        const size_t begin = nextField();
        const size_t end = endOfField(begin);
        leaveField(end);
        return {line_ + begin, end - begin};
    }

    /// Takes the next field as the number that it begins with, as atol() returns it where long has 64 bits:
    /// leading white space is skipped, a sign is optional, a number beyond 64 bits becomes the nearest that
    /// fits, and a field without one gives 0. False when the line holds no more fields.
    bool takeNumber(int64_t *number) {
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

    /// The same as atoi() returns it: the nearest long, of which 32 bits are kept.
    bool takeInt(int32_t *number) {
        int64_t wide = 0;
        if (!takeNumber(&wide)) {
            return false;
        }
        *number = asInt(wide);
        return true;
    }

    /// What follows the comma after the last field taken; empty when the line ends there.
    std::string_view rest() const { return {restBegin(), boundedLength(restBegin(), maxChars_ - position_)}; }

    /// Where rest() begins.
    const char *restBegin() const { return line_ + position_; }

private:
    static int32_t asInt(int64_t wide) {
        if (wide != static_cast<long>(wide)) {
            wide = wide < 0 ? LONG_MIN : LONG_MAX;
        }
        return static_cast<int32_t>(wide);
    }

    static bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    /// A number with one more digit; UINT64_MAX when 64 bits may not hold it.
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

/// How far a line can be parsed.
enum class ParsedLine { Whole, NoTime, NoLevel, NoSlot };

/// parseLine() for a line as the store writes it: a time of plain digits, a level and a slot of one digit,
/// and the comma after each. Stores nothing and returns false for any other line.
inline bool parsePlainLine(const char *line, size_t maxChars, JORN_ITEM_INFO *item) {
    constexpr size_t kDigitsThatFit = 18;  // into 64 bits, of which a time keeps 32
    constexpr size_t kRest = sizeof ",0,0," - 1;
    uint32_t time = 0;
    size_t digits = 0;
    for (unsigned digit = digitOf(line[0]); digit <= 9; digit = digitOf(line[++digits])) {
        time = 10 * time + digit;
    }
    if (digits == 0 || digits > kDigitsThatFit || digits + kRest > maxChars) {
        return false;
    }
    const char *const rest = line + digits;
    if (rest[0] != ',' || !isDigit(rest[1]) || rest[2] != ',' || !isDigit(rest[3]) || rest[4] != ',') {
        return false;
    }
    *item = {time, static_cast<int32_t>(digitOf(rest[1])), static_cast<int32_t>(digitOf(rest[3])),
             rest + kRest};
    return true;
}

/// Takes the numbers of a line, reading at most `maxChars` characters of it and none after the slot's comma.
/// Fields are what strtok_r finds between commas (empty fields do not count), converted as atol and atoi do:
/// their leading number, or 0 when they have none; no range is checked. When a field is missing, those before
/// it are stored. A non-digit must follow those characters (the NUL will do): the time's digits are read to
/// their end.
inline ParsedLine parseLine(const char *line, size_t maxChars, JORN_ITEM_INFO *item) {
    if (parsePlainLine(line, maxChars, item)) {
        return ParsedLine::Whole;
    }
    LineSplitter splitter(line, maxChars);
    int64_t time = 0;
    if (!splitter.takeNumber(&time)) {
        return ParsedLine::NoTime;
    }
    item->time = static_cast<uint32_t>(time);
    if (!splitter.takeInt(&item->level)) {
        return ParsedLine::NoLevel;
    }
    if (!splitter.takeInt(&item->slot)) {
        return ParsedLine::NoSlot;
    }
    item->text = splitter.restBegin();
    return ParsedLine::Whole;
}

}  // namespace jorn

#endif
