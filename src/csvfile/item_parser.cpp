// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include <limits.h>

#include "diagnostics.h"

namespace {

/// Takes the next field as atoi() reads it: as the nearest long, of which 32 bits are kept.
bool takeInt(jorn::LineSplitter *splitter, int32_t *number) {
    int64_t wide = 0;
    if (!splitter->takeNumber(&wide)) {
        return false;
    }
    if (wide != static_cast<long>(wide)) {
        wide = wide < 0 ? LONG_MIN : LONG_MAX;
    }
    *number = static_cast<int32_t>(wide);
    return true;
}

}  // namespace

int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item) {
    jorn::LineSplitter splitter(line, jorn::kParsedChars);
    int64_t time = 0;
    if (!splitter.takeNumber(&time)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Time info error!");
        return -1;
    }
    item->time = static_cast<uint32_t>(time);

    if (!takeInt(&splitter, &item->level)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Level info error!");
        return -1;
    }
    if (!takeInt(&splitter, &item->slot)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Slot info error!");
        return -1;
    }
    item->text = splitter.restBegin();
    return 0;
}

uint32_t jorn_TimeToDay(uint32_t seconds) { return seconds / jorn::kSecondsPerHour / jorn::kHoursPerDay; }
