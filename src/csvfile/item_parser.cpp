// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include <limits.h>

#include <algorithm>

#include "diagnostics.h"

namespace {

/// What atoi() makes of a number: the nearest long, of which 32 bits are kept.
int32_t levelOrSlot(int64_t number) {
    return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(number, LONG_MIN), LONG_MAX));
}

}  // namespace

int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item) {
    jorn::LineSplitter splitter(line, jorn::kParsedChars);
    int64_t number = 0;
    if (!splitter.takeNumber(&number)) {
        JORN_PRINT(jorn::kPrintError, "Time info error!");
        return -1;
    }
    item->time = static_cast<uint32_t>(number);

    if (!splitter.takeNumber(&number)) {
        JORN_PRINT(jorn::kPrintError, "Level info error!");
        return -1;
    }
    item->level = levelOrSlot(number);

    if (!splitter.takeNumber(&number)) {
        JORN_PRINT(jorn::kPrintError, "Slot info error!");
        return -1;
    }
    item->slot = levelOrSlot(number);

    item->text = splitter.restBegin();
    return 0;
}

uint32_t jorn_TimeToDay(uint32_t seconds) { return seconds / jorn::kSecondsPerHour / jorn::kHoursPerDay; }
