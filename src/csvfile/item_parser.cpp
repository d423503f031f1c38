// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include "diagnostics.h"
#include "module_limits.h"

int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item) {
    switch (jorn::parseLine(line, jorn::kParsedChars, item)) {
        case jorn::ParsedLine::NoTime:
            JORN_PRINT_TEXT(jorn::kPrintError, "Time info error!");
            return -1;
        case jorn::ParsedLine::NoLevel:
            JORN_PRINT_TEXT(jorn::kPrintError, "Level info error!");
            return -1;
        case jorn::ParsedLine::NoSlot:
            JORN_PRINT_TEXT(jorn::kPrintError, "Slot info error!");
            return -1;
        case jorn::ParsedLine::Whole:
            break;
    }
    return 0;
}

uint32_t jorn_TimeToDay(uint32_t seconds) { return seconds / jorn::kSecondsPerDay; }
