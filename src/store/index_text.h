// SPDX-License-Identifier: Apache-2.0
// The text of the index, built, scanned and judged.
//
//   text   "version:1" LF  oldest "," latest LF       both signed decimal ring positions
//
// The store scans leniently: white space does not count, a second number may be missing, what follows is not
// read. A checker judges whether the text is whole: without its line end, the last number may have been cut
// short.
#ifndef JORN_SRC_STORE_INDEX_TEXT_H
#define JORN_SRC_STORE_INDEX_TEXT_H

#include <stdint.h>
#include <stdio.h>

#include "module_limits.h"

namespace jorn {

/// Room for the text of any two positions, with its NUL.
constexpr size_t kIndexTextSize = 256;

/// Writes the text of an index, of the only version, into a buffer of kIndexTextSize bytes. Returns its
/// length.
inline int buildIndexText(char *text, int32_t oldest, int32_t latest) {
    return sprintf(text, "version:%d\n%ld,%ld\n", static_cast<int>(kIndexVersion), static_cast<long>(oldest),
                   static_cast<long>(latest));
}

/// Results of a scan other than a number of positions.
constexpr int32_t kWrongVersion = -2;
constexpr int32_t kWrongPositions = -1;

/// Numbers are scanned as long, whose width differs between machines. One that does not fit 32 bits becomes
/// the nearest that does, so that it is far outside any ring on all of them.
inline int32_t saturated(int64_t number) {
    if (number > INT32_MAX) {
        return INT32_MAX;
    }
    return number < INT32_MIN ? INT32_MIN : static_cast<int32_t>(number);
}

/// Scans the first line. Returns whether it names the only version.
inline bool scanVersion(FILE *index, int32_t *version) {
    long number = *version;
    const int converted = fscanf(index, "version:%ld\n", &number);
    *version = saturated(number);
    return converted > 0 && *version == kIndexVersion;
}

/// Scans an open index into numbers that already have values: one that is missing keeps its value, and one
/// that is refused is stored all the same. Numbers beyond 32 bits become the nearest that fits, so that all
/// machines treat them alike. Returns how many positions were read (1 or 2); kWrongVersion when the version
/// is missing or a different one, the positions then not scanned; kWrongPositions when there is none or one
/// is 90 or above.
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

/// The whole index that a text begins with.
struct WholeIndexText {
    int32_t oldest;
    int32_t latest;
    int32_t length;  ///< With the line end, which may be two bytes.
};

/// Judges the text of an index: true when it begins with "version:", the only version, and two numbers of at
/// most eight characters, a comma right after the first and a line end right after the second. White space
/// before a number does not count, as for the store: so a line end may be two bytes, and a blank may take the
/// place of the one after the version. (Not used by the module, which takes what it can get.)
inline bool judgeIndexText(const char *text, WholeIndexText *whole) {
    int version{};
    int oldest{};
    int latest{};
    char lineEnd{};
    int length{};
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
