// SPDX-License-Identifier: Apache-2.0
#include "query/counting.h"

#include <string.h>

#include "csvfile/data_file.h"
#include "csvfile/file_summary.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"
#include "query/file_locator.h"
#include "query/requirement_filter.h"
#include "registry/registry.h"

namespace {

/// A count in progress.
struct Tally {
    int32_t numInCsv[jorn::kCsvNumMax];  ///< Matches by ring position.
    int32_t total;

    /// Adds a file's count; false when the file holds no match or could not be counted.
    bool add(int32_t position, int32_t count) {
        if (count <= 0) {
            return false;
        }
        numInCsv[position] = count;
        total += count;
        return true;
    }
};

void countNewestEnd(JORN_OBJ *obj, const JORN_REQUIRE *req, int32_t position, Tally *tally) {
    const int32_t count = jorn_CountRequireNumInOneCsv(obj, position, req);
    if (tally->add(position, count)) {
        JORN_PRINT(jorn::kPrintLineFate, "Find %ld items in latest CSV file!", jorn::asLong(count));
    } else {
        JORN_PRINT_TEXT(jorn::kPrintLineFate, "No require item in latest CSV!");
    }
}

void countOldestEnd(JORN_OBJ *obj, const JORN_REQUIRE *req, const jorn::RingRange &files, Tally *tally) {
    if (files.latest <= files.oldest) {
        JORN_PRINT_TEXT(jorn::kPrintTrace, "Ignore oldest CSV!");
        return;
    }
    const int32_t count = jorn_CountRequireNumInOneCsv(obj, files.oldest, req);
    if (tally->add(files.oldest, count)) {
        JORN_PRINT(jorn::kPrintLineFate, "Find %ld items in oldest CSV file!", jorn::asLong(count));
    } else {
        JORN_PRINT_TEXT(jorn::kPrintLineFate, "No require item in oldest CSV!");
    }
}

void countMiddle(JORN_OBJ *obj, const JORN_REQUIRE *req, const jorn::RingRange &files, Tally *tally) {
    if (files.latest - 1 <= files.oldest) {
        JORN_PRINT_TEXT(jorn::kPrintTrace, "Ignore other CSV!");
        return;
    }
    for (int32_t i = files.latest - 1; i > files.oldest; --i) {
        const int32_t position = jorn::ringOf(*obj).position(i);
        const int32_t count = jorn_CountRequireNumFromArray(obj, position, req);
        if (tally->add(position, count)) {
            JORN_PRINT(jorn::kPrintLineFate, "Find %ld items in %ld.csv!", jorn::asLong(count),
                       jorn::asLong(position));
        } else {
            JORN_PRINT(jorn::kPrintLineFate, "No require item in %ld.csv!", jorn::asLong(position));
        }
    }
}

/// Stores the oldest and the newest position with matches.
void reportFileRange(const JORN_OBJ &obj, const jorn::RingRange &files, const Tally &tally,
                     int32_t *dstFileRange) {
    if (dstFileRange == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintCountNote, "Pointer to dstFileRange is null!");
        return;
    }
    dstFileRange[0] = -1;
    dstFileRange[1] = -1;
    if (tally.total <= 0) {
        JORN_PRINT_TEXT(jorn::kPrintInfo, "Total num is 0!");
        return;
    }
    for (int32_t i = files.latest; i >= files.oldest; --i) {
        const int32_t position = jorn::ringOf(obj).position(i);
        if (tally.numInCsv[position] > 0) {
            dstFileRange[0] = position;
            if (dstFileRange[1] < 0) {
                dstFileRange[1] = position;
            }
        }
    }
}

void reportCounts(const Tally &tally, int32_t *dstNumInCsv) {
    if (dstNumInCsv == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintCountNote, "Pointer to dstNumInCsv is null!");
        return;
    }
    memcpy(dstNumInCsv, tally.numInCsv, sizeof tally.numInCsv);
}

/// The levels that a requirement takes from a summary.
struct LevelSpan {
    int32_t first;
    int32_t last;
};

LevelSpan levelsOf(const JORN_OBJ &obj, const JORN_REQUIRE &req) {
    if (req.level < 0 || req.level >= obj.level_max) {
        return {0, jorn::kLevelDebug - 1};
    }
    return {req.levelMode <= 0 ? 0 : req.level, req.level};
}

}  // namespace

int32_t jorn_CountRequireNumInAllCsv(JORN_OBJ *obj, const JORN_REQUIRE *req, int32_t *dstFileRange,
                                     int32_t *dstNumInCsv) {
    if (obj == nullptr) {
        return -1;
    }
    int32_t range[2];
    if (jorn_FindCsvByTime(obj, req, range) < 0) {
        JORN_PRINT_TEXT(jorn::kPrintInfo, "Sorry! Can not find CSV file according to date!");
        return -1;
    }
    jorn::RingRange files = {range[0], range[1]};
    Tally tally = {};
    countNewestEnd(obj, req, files.latest, &tally);
    if (files.latest < files.oldest) {
        files.latest += obj->csv_num;
    }
    countOldestEnd(obj, req, files, &tally);
    countMiddle(obj, req, files, &tally);
    reportFileRange(*obj, files, tally, dstFileRange);
    reportCounts(tally, dstNumInCsv);
    return tally.total;
}

int32_t jorn_CountRequireNumInOneCsv(JORN_OBJ *obj, int32_t fileIdx, const JORN_REQUIRE *req) {
    if (obj == nullptr) {
        return -1;
    }
    jorn::LineReader reader(obj->dirName, fileIdx);
    if (!reader.isOpen()) {
        JORN_PRINT(jorn::kPrintError, "Open file error: %ld.csv!\n", jorn::asLong(fileIdx));
        return -1;
    }
    JORN_PRINT(jorn::kPrintTrace, "CountRequireNumIn %ld.Csv", jorn::asLong(fileIdx));
    int32_t count = 0;
    while (const char *line = reader.next()) {
        if (jorn_WhetherItemRequireOrNot(line, req) >= 0) {
            ++count;
        }
    }
    return count;
}

int32_t jorn_CountRequireNumFromArray(JORN_OBJ *obj, int32_t fileIdx, const JORN_REQUIRE *req) {
    if (obj == nullptr) {
        return -1;
    }
    const JORN_CSV_INFO &info = obj->csv_info[jorn::ringOf(*obj).position(fileIdx)];
    const LevelSpan levels = levelsOf(*obj, *req);
    const bool isAnySlot = req->slot < 0 || req->slot >= obj->slot_max;
    uint32_t sum = 0;
    for (int32_t level = levels.first; level <= levels.last; ++level) {
        const JORN_LEVEL_STAT &stat = info.levelStat[level];
        sum += isAnySlot ? stat.levelCount : stat.slotCount[req->slot];
    }
    return static_cast<int32_t>(sum);
}

int32_t JORN_CountRequireTotalNum(int32_t handle, JORN_REQUIRE require) {
    JORN_OBJ *const obj = jorn::findOrReport(handle);
    if (obj == nullptr) {
        return -1;
    }
    const jorn::MutexGuard lock(logSemCsvRW_ID);
    return jorn_CountRequireNumInAllCsv(obj, &require, nullptr, nullptr);
}
