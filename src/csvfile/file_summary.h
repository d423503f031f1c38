// SPDX-License-Identifier: Apache-2.0
// The in-memory summary of one data file, which lets queries skip files and count without reading, and how an
// item is counted in it.
#ifndef JORN_SRC_CSVFILE_FILE_SUMMARY_H
#define JORN_SRC_CSVFILE_FILE_SUMMARY_H

#include <stdint.h>

#include "csvfile/line.h"
#include "module_limits.h"

/// Items of one level.
typedef struct {
    uint32_t levelCount;                 ///< Items of the level, slots outside the object's included.
    uint32_t slotCount[jorn::kSlotMax];  ///< Items of the level by slot.
} JORN_LEVEL_STAT;

/// Summary of one data file; all zeros when the file is missing or holds no item. Guarded by the file
/// mutex. Only lines that parse are counted.
typedef struct jorn_csv_info {
    uint32_t itemCount;  ///< Lines that parsed.
    uint32_t timeMin;    ///< Smallest item time, seconds.
    uint32_t timeMax;    ///< Largest item time, seconds.
    uint32_t timeLast;   ///< Time of the last item in the file, seconds.
    uint32_t reserved;   ///< Always 0.
    JORN_LEVEL_STAT levelStat[jorn::kLevelMax];
} JORN_CSV_INFO;

static_assert(sizeof(JORN_CSV_INFO) == 41 * sizeof(uint32_t), "41 words without gaps");

namespace jorn {

/// How many levels and slots an object has: at most those of a summary.
struct ItemLimits {
    int32_t levels;
    int32_t slots;
};

/// Counts an item by level and slot. A level outside the limits, above or below, counts nowhere; a slot
/// outside them counts in no slot.
inline void countLevelAndSlot(const JORN_ITEM_INFO &item, ItemLimits limits, JORN_CSV_INFO *info) {
    if (item.level < 0 || item.level >= limits.levels) {
        return;
    }
    JORN_LEVEL_STAT &stat = info->levelStat[item.level];
    ++stat.levelCount;
    if (item.slot >= 0 && item.slot < limits.slots) {
        ++stat.slotCount[item.slot];
    }
}

/// What every counted item changes, however the smallest and largest times are kept.
inline void countItem(const JORN_ITEM_INFO &item, ItemLimits limits, JORN_CSV_INFO *info) {
    info->timeLast = item.time;
    ++info->itemCount;
    countLevelAndSlot(item, limits, info);
}

/// Folds the next item of a file that is read: a smallest time of 0 is unset. (In the header, as every line
/// that is read passes through it.)
inline void foldReadItem(const JORN_ITEM_INFO &item, ItemLimits limits, JORN_CSV_INFO *info) {
    if (info->timeMin == 0 || item.time < info->timeMin) {
        info->timeMin = item.time;
    }
    if (info->timeMax < item.time) {
        info->timeMax = item.time;
    }
    countItem(item, limits, info);
}

/// Folds an item that is appended to a file: only an empty file has no smallest time.
inline void foldAppendedItem(const JORN_ITEM_INFO &item, ItemLimits limits, JORN_CSV_INFO *info) {
    const bool isFirst = info->itemCount == 0;
    if (isFirst || info->timeMax < item.time) {
        info->timeMax = item.time;
    }
    if (isFirst || info->timeMin > item.time) {
        info->timeMin = item.time;
    }
    countItem(item, limits, info);
}

}  // namespace jorn

#endif
