// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include "diagnostics.h"
#include "module_limits.h"

namespace {

/// What is printed of a line that lacks a field.
const char *messageFor(jorn::ParsedLine missing) {
    switch (missing) {
        case jorn::ParsedLine::NoTime:
            return "Time info error!";
        case jorn::ParsedLine::NoLevel:
            return "Level info error!";
        default:
            return "Slot info error!";
    }
}

}  // namespace

int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item) {
    const jorn::ParsedLine parsed = jorn::parseLine(line, jorn::kParsedChars, item);
    if (parsed == jorn::ParsedLine::Whole) {
        return 0;
    }
    JORN_PRINT_TEXT(jorn::kPrintError, messageFor(parsed));
    return -1;
}

uint32_t jorn_TimeToDay(uint32_t seconds) { return seconds / jorn::kSecondsPerDay; }
