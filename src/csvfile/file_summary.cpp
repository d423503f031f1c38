// SPDX-License-Identifier: Apache-2.0
#include "csvfile/file_summary.h"

#include "csvfile/data_file.h"
#include "csvfile/item_parser.h"
#include "diagnostics.h"
#include "registry/registry.h"

namespace {

/// Counts an item by level and slot. What lies outside the tables, above or below, counts in none.
void countLevelAndSlot(const JORN_OBJ &obj, const JORN_ITEM_INFO &item, JORN_CSV_INFO *info) {
    if (item.level < 0 || item.level >= obj.level_max) {
        return;
    }
    JORN_LEVEL_STAT &stat = info->levelStat[item.level];
    ++stat.levelCount;
    if (item.slot >= 0 && item.slot < obj.slot_max) {
        ++stat.slotCount[item.slot];
    }
}

/// What every counted item changes, whichever way the smallest and largest times are kept.
void countItem(const JORN_OBJ &obj, const JORN_ITEM_INFO &item, JORN_CSV_INFO *info) {
    info->timeLast = item.time;
    ++info->itemCount;
    countLevelAndSlot(obj, item, info);
}

/// Reading a file: a smallest time of 0 is unset.
void foldReadItem(const JORN_OBJ &obj, const JORN_ITEM_INFO &item, JORN_CSV_INFO *info) {
    if (info->timeMin == 0 || item.time < info->timeMin) {
        info->timeMin = item.time;
    }
    if (info->timeMax < item.time) {
        info->timeMax = item.time;
    }
    countItem(obj, item, info);
}

/// Appending to a file: only an empty file has no smallest time.
void foldAppendedItem(const JORN_OBJ &obj, const JORN_ITEM_INFO &item, JORN_CSV_INFO *info) {
    const bool isFirst = info->itemCount == 0;
    if (isFirst || info->timeMax < item.time) {
        info->timeMax = item.time;
    }
    if (isFirst || info->timeMin > item.time) {
        info->timeMin = item.time;
    }
    countItem(obj, item, info);
}

}  // namespace

int32_t jorn_AnalyseOneCsvInfo(JORN_OBJ *obj, int32_t fileIdx, JORN_CSV_INFO *info) {
    if (obj == nullptr) {
        return -1;
    }
    jorn::LineReader reader(obj->dirName, fileIdx);
    if (!reader.isOpen()) {
        JORN_PRINT(jorn::kPrintError, "Open file error: %ld.csv!", jorn::asLong(fileIdx));
        return -1;
    }
    JORN_CSV_INFO summary = {};
    while (const char *line = reader.next()) {
        JORN_ITEM_INFO item;
        if (!jorn::isBlankLine(line) && jorn_AnalyseOneItemInfo(line, &item) == 0) {
            foldReadItem(*obj, item, &summary);
        }
    }
    *info = summary;
    return 0;
}

int32_t jorn_UpdateCsvInfo(JORN_OBJ *obj, int32_t fileIdx, const char *line) {
    if (obj == nullptr) {
        return -1;
    }
    if (fileIdx < 0 || fileIdx >= obj->csv_num) {
        JORN_PRINT(jorn::kPrintError, " Error: fileIdx = %ld!", jorn::asLong(fileIdx));
        return -1;
    }
    JORN_ITEM_INFO item;
    if (jorn_AnalyseOneItemInfo(line, &item) < 0) {
        JORN_PRINT_TEXT(jorn::kPrintError, " Error: update CSV info failed!");
        return -1;
    }
    foldAppendedItem(*obj, item, &obj->csv_info[fileIdx]);
    return 0;
}

int32_t jorn_UpdateMaxTime(uint32_t time) {
    // Changed under the file mutex only; its readers take no lock.
    if (__atomic_load_n(&jorn_max_csv_time, __ATOMIC_RELAXED) < time) {
        __atomic_store_n(&jorn_max_csv_time, time, __ATOMIC_RELAXED);
    }
    return 0;
}
