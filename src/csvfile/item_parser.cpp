// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "diagnostics.h"

namespace jorn {

LineSplitter::LineSplitter(const char *line, size_t maxChars) : start_(copy_), save_(nullptr) {
    const size_t length = std::min({strlen(line), maxChars, sizeof copy_ - 1});
    memcpy(copy_, line, length);
    copy_[length] = '\0';
}

char *LineSplitter::nextField() {
    char *const field = strtok_r(start_, ",", &save_);
    start_ = nullptr;
    return field;
}

// Some C libraries leave no position behind the last field, where others point to the end of the line.
const char *LineSplitter::rest() const { return save_ != nullptr ? save_ : ""; }

int64_t fieldToTime(const char *field) {
    if constexpr (sizeof(long) >= sizeof(int64_t)) {
        return atol(field);
    } else {
        return atoll(field);
    }
}

}  // namespace jorn

int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item) {
    jorn::LineSplitter splitter(line, jorn::kParseCopySize - 1);

    const char *field = splitter.nextField();
    if (field == nullptr) {
        JORN_PRINT(jorn::kPrintError, "Time info error!");
        return -1;
    }
    item->time = static_cast<uint32_t>(jorn::fieldToTime(field));

    field = splitter.nextField();
    if (field == nullptr) {
        JORN_PRINT(jorn::kPrintError, "Level info error!");
        return -1;
    }
    item->level = atoi(field);

    field = splitter.nextField();
    if (field == nullptr) {
        JORN_PRINT(jorn::kPrintError, "Slot info error!");
        return -1;
    }
    item->slot = atoi(field);

    item->text = splitter.rest();
    return 0;
}

uint32_t jorn_TimeToDay(uint32_t seconds) { return seconds / jorn::kSecondsPerHour / jorn::kHoursPerDay; }
