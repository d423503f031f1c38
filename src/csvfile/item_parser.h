// SPDX-License-Identifier: Apache-2.0
// Parsing of one data file line into its numbers. The layout of a line is described in data_file.h.
#ifndef JORN_SRC_CSVFILE_ITEM_PARSER_H
#define JORN_SRC_CSVFILE_ITEM_PARSER_H

#include <stdint.h>

#include "linkage.h"
#include "module_limits.h"

/// The numbers of one line. A plain value of the caller's.
typedef struct {
    uint32_t time;     ///< Seconds since 1970-01-01 UTC.
    int32_t level;     ///< As the line gives it; any value.
    int32_t slot;      ///< As the line gives it; any value.
    const char *text;  ///< Points into the parser's own copy: not to be used after the call.
} JORN_ITEM_INFO;

/// Splits `line` into `item`. Fields are what strtok_r finds between commas (empty fields do not
/// count), converted as the leading number they hold, 0 when they hold none; no range is tested. Only
/// the first 255 characters are looked at. Returns 0; -1 with a message when a field is missing, the
/// fields before it being stored already. Reentrant.
JORN_INTERNAL int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item);

/// Day number of a time: whole days since 1970-01-01 UTC, 0 to 49710.
JORN_INTERNAL uint32_t jorn_TimeToDay(uint32_t seconds);

namespace jorn {

/// Splits a copy of a line at its commas, so that the caller's line stays as it is.
class LineSplitter {
public:
    /// Takes at most `maxChars` characters of the line, itself at most kLineMax.
    LineSplitter(const char *line, size_t maxChars);

    /// The next field, or null when the line holds no more.
    char *nextField();

    /// What follows the comma behind the last field taken; empty when the line ends there.
    const char *rest() const;

private:
    char copy_[kLineBufferSize];
    char *start_;  ///< What strtok_r is given: the copy for the first field, null for the others.
    char *save_;   ///< strtok_r's own position.
};

/// The leading number of a time field, 0 when it holds none. Wide enough for every 32-bit time also
/// where long has 32 bits and atol would stop at 2147483647.
int64_t fieldToTime(const char *field);

}  // namespace jorn

#endif
