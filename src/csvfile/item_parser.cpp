// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include <limits.h>

#include "diagnostics.h"

bool jorn::LineSplitter::takeInt(int32_t *number) {
    int64_t wide = 0;
    if (!takeNumber(&wide)) {
        return false;
    }
    if (wide != static_cast<long>(wide)) {
        wide = wide < 0 ? LONG_MIN : LONG_MAX;
    }
    *number = static_cast<int32_t>(wide);
    return true;
}

int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item) {
    jorn::LineSplitter splitter(line, jorn::kParsedChars);
    int64_t time = 0;
    if (!splitter.takeNumber(&time)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Time info error!");
        return -1;
    }
    item->time = static_cast<uint32_t>(time);

    if (!splitter.takeInt(&item->level)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Level info error!");
        return -1;
    }
    if (!splitter.takeInt(&item->slot)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Slot info error!");
        return -1;
    }
    item->text = splitter.restBegin();
    return 0;
}

uint32_t jorn_TimeToDay(uint32_t seconds) { return seconds / jorn::kSecondsPerHour / jorn::kHoursPerDay; }
