// SPDX-License-Identifier: Apache-2.0
// The in-memory summary of one data file, which lets queries skip files and count without reading.
#ifndef JORN_SRC_CSVFILE_FILE_SUMMARY_H
#define JORN_SRC_CSVFILE_FILE_SUMMARY_H

#include <stdint.h>

#include "linkage.h"
#include "module_limits.h"
#include "registry/log_object.h"

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

/// Reads the data file at a ring position (not range-checked) and fills `info`. Returns 0; -1 when
/// `obj` is null or the file cannot be opened, `info` then untouched. Lines that do not parse are left
/// out. A smallest time of 0 counts as not yet set.
JORN_INTERNAL int32_t jorn_AnalyseOneCsvInfo(JORN_OBJ *obj, int32_t fileIdx, JORN_CSV_INFO *info);

/// Counts one line, just appended to the file at a ring position, in the object's summary. Returns 0;
/// -1 when `obj` is null, the position is outside the ring or the line does not parse, the summary
/// then unchanged. Here a smallest time of 0 is a time like any other.
JORN_INTERNAL int32_t jorn_UpdateCsvInfo(JORN_OBJ *obj, int32_t fileIdx, const char *line);

/// Raises the module's largest time found at start-up. Returns 0.
JORN_INTERNAL int32_t jorn_UpdateMaxTime(uint32_t time);

#endif
