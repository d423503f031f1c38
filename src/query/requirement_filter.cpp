// SPDX-License-Identifier: Apache-2.0
#include "query/requirement_filter.h"

#include "csvfile/item_parser.h"
#include "diagnostics.h"
#include "module_limits.h"

namespace {

bool isDayWanted(uint32_t time, const JORN_REQUIRE &require) {
    const int32_t day = static_cast<int32_t>(jorn_TimeToDay(time));
    if (require.dayDwLimit >= 0 && require.dayDwLimit > day) {
        JORN_PRINT_TEXT(jorn::kPrintLineFate, "Not require because of dayDwLimit!");
        return false;
    }
    if (require.dayUpLimit >= 0 && require.dayUpLimit < day) {
        JORN_PRINT_TEXT(jorn::kPrintLineFate, "Not require because of dayUpLimit!");
        return false;
    }
    return true;
}

bool isLevelWanted(int32_t level, const JORN_REQUIRE &require) {
    if (require.level < 0) {
        if (level >= jorn::kLevelDebug) {
            JORN_PRINT(jorn::kPrintLineFate, "Not require because level=%ld, >=debug-level!",
                       jorn::asLong(level));
            return false;
        }
        return true;
    }
    // Each rule prints from its own line, so that the message's prefix tells them apart.
    if (require.levelMode > 0) {
        if (level != require.level) {
            JORN_PRINT_TEXT(jorn::kPrintLineFate, "Not require because of level!");
            return false;
        }
        return true;
    }
    if (level > require.level) {
        JORN_PRINT_TEXT(jorn::kPrintLineFate, "Not require because of level!");
        return false;
    }
    return true;
}

bool isSlotWanted(int32_t slot, const JORN_REQUIRE &require) {
    if (require.slot >= 0 && slot != require.slot) {
        JORN_PRINT_TEXT(jorn::kPrintLineFate, "Not require because of slot!");
        return false;
    }
    return true;
}

}  // namespace

int32_t jorn_WhetherItemRequireOrNot(const char *line, const JORN_REQUIRE *require) {
    if (jorn::isBlankLine(line)) {
        return -1;
    }
    JORN_ITEM_INFO item;
    const int32_t parsed = jorn_AnalyseOneItemInfo(line, &item);
    if (parsed < 0) {
        JORN_PRINT(jorn::kPrintError, "Error: item info analyse failed: %s", line);
        return parsed;
    }
    const bool isWanted = isDayWanted(item.time, *require) && isLevelWanted(item.level, *require) &&
                          isSlotWanted(item.slot, *require);
    return isWanted ? 0 : -1;
}
