// SPDX-License-Identifier: Apache-2.0
// The text of the index, built, scanned and judged.
//
//   text   "version:1" LF  oldest "," latest LF       both signed decimal ring positions
//
// The store scans leniently: blanks count nothing, a second number may be missing, what follows is not looked
// at. A checker judges whether the text is whole: one that lacks its end may be a longer number cut short.
#ifndef JORN_SRC_STORE_INDEX_TEXT_H
#define JORN_SRC_STORE_INDEX_TEXT_H

#include <stdint.h>
#include <stdio.h>

#include "module_limits.h"

namespace jorn {

/// Room for the text of any two positions, with its NUL.
constexpr size_t kIndexTextSize = 256;

/// Writes the text of an index, of the only version, into a buffer of that size; its length.
inline int buildIndexText(char *text, int32_t oldest, int32_t latest) {
    return sprintf(text, "version:%d\n%ld,%ld\n", static_cast<int>(kIndexVersion), static_cast<long>(oldest),
                   static_cast<long>(latest));
}

/// Outcomes of a scan that are no number of positions.
constexpr int32_t kWrongVersion = -2;
constexpr int32_t kWrongPositions = -1;

/// Numbers are scanned as wide as the format is, which differs between machines. One that does not fit is
/// seen as what it is, far outside any ring, on each of them.
inline int32_t saturated(int64_t number) {
    if (number > INT32_MAX) {
        return INT32_MAX;
    }
    return number < INT32_MIN ? INT32_MIN : static_cast<int32_t>(number);
}

/// Scans the first line; whether it names the only version.
inline bool scanVersion(FILE *index, int32_t *version) {
    long number = *version;
    const int converted = fscanf(index, "version:%ld\n", &number);
    *version = saturated(number);
    return converted > 0 && *version == kIndexVersion;
}

/// Scans an open index into numbers that hold something already: what is not there stays, and what is refused
/// is stored all the same. Numbers beyond 32 bits become the nearest that fits, so that each machine refuses
/// them. Returns how many positions were read (1 or 2); kWrongVersion when the version is missing or another,
/// the positions then not looked at; kWrongPositions when there is none or one is 90 or above.
inline int32_t scanIndexText(FILE *index, int32_t *version, int32_t *oldest, int32_t *latest) {
    if (!scanVersion(index, version)) {
        return kWrongVersion;
    }
    long first = *oldest;
    long second = *latest;
    const int converted = fscanf(index, "%ld,%ld", &first, &second);
    *oldest = saturated(first);
    *latest = saturated(second);
    const bool isRefused = converted <= 0 || *oldest >= kCsvNumMax || *latest >= kCsvNumMax;
    return isRefused ? kWrongPositions : converted;
}

/// A text that begins as an index is built.
struct WholeIndexText {
    int32_t oldest;
    int32_t latest;
    int32_t length;  ///< With the line end, which may be of two bytes.
};

/// Judges the text of an index: true when it begins with "version:", the only version, and two numbers of at
/// most eight characters, a comma right after the first and a line end right after the second. White space
/// before a number counts nothing, as for the store, so that a line end may be of two bytes, and a blank may
/// stand for the one after the version. (Not used by the module, which takes what it can get.)
inline bool judgeIndexText(const char *text, WholeIndexText *whole) {
    int version = 0;
    int oldest = 0;
    int latest = 0;
    char lineEnd = 0;
    int length = 0;
    const int converted =
        sscanf(text, "version:%8d %8d,%8d%c%n", &version, &oldest, &latest, &lineEnd, &length);
    if (converted != 4 || version != kIndexVersion || (lineEnd != '\n' && lineEnd != '\r')) {
        return false;
    }
    const bool isTwoBytes = lineEnd == '\r' && text[length] == '\n';
    *whole = {oldest, latest, length + (isTwoBytes ? 1 : 0)};
    return true;
}

}  // namespace jorn

#endif
