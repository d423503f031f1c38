// SPDX-License-Identifier: Apache-2.0
#include "csvfile/startup_analysis.h"

#include "csvfile/file_analysis.h"
#include "csvfile/file_names.h"
#include "csvfile/tidying_plan.h"
#include "diagnostics.h"
#include "guards.h"
#include "platform.h"
#include "store/index_file.h"

namespace {

bool dataFileExists(int32_t position, const void *dirName) {
    const jorn::DataPath path(static_cast<const char *>(dirName), position);
    const jorn::FileGuard file(path.get(), "r");
    return static_cast<bool>(file);
}

/// Carries out the plan upward from the position after the former latest one, so that the latest comes last.
/// The order is fixed: it decides what a rename does to a target that still exists.
void applyPlan(const char *dirName, const jorn::TidyingPlan &plan) {
    for (int32_t visit = 1; visit <= jorn::kSurveySize; ++visit) {
        const int32_t position = (plan.firstVisited + visit) % jorn::kSurveySize;
        const int32_t target = plan.moveTable[position];
        if (target == position) {
            continue;
        }
        const jorn::DataPath path(dirName, position);
        if (target == jorn::kSurplus) {
            rm(path.get());
        } else {
            jorn_RenameFile(path.get(), jorn::DataPath(dirName, target).get());
        }
    }
}

void loadIndex(JORN_OBJ *obj) {
    if (jorn_ReadCsvIndexFile(obj) < 0) {
        // If the new index cannot be written either, refused positions remain; the tidying copes with any.
        jorn_NewCsvIndexFile(obj);
        JORN_PRINT_TEXT(jorn::kPrintInfo, "Create a new csv-index file!");
    }
}

/// Summarises the file of one position. The walk starts at the newest file, so the first one with items gives
/// the object's final time.
void analysePosition(JORN_OBJ *obj, int32_t position) {
    JORN_CSV_INFO *const info = &obj->csv_info[position];
    if (jorn_AnalyseOneCsvInfo(obj, position, info) < 0 || info->itemCount == 0) {
        *info = JORN_CSV_INFO{};
        JORN_PRINT(jorn::kPrintError, "Error: analyse %ld.csv failed!", jorn::asLong(position));
        return;
    }
    if (obj->final_csv_time == 0) {
        obj->final_csv_time = info->timeLast;
        // The message shows 0, not the time: its text, as it is, is part of the module's interface.
        JORN_PRINT(jorn::kPrintInfo, "Info: %ld.csv final time is %lu!", jorn::asLong(position),
                   jorn::asUlong(0));
    }
    jorn_UpdateMaxTime(info->timeMax);
    JORN_PRINT(jorn::kPrintInfo, "Info: %ld.csv uptime is %lu!", jorn::asLong(position),
               jorn::asUlong(info->timeMax));
}

}  // namespace

int32_t jorn_PickUpCsvValidRange(JORN_OBJ *obj) {
    if (obj == nullptr) {
        return -1;
    }
    const jorn::RingBefore before = {obj->csv_oldest, obj->csv_latest, obj->csv_num};
    jorn::TidyingPlan plan;
    jorn::planTidying(before, dataFileExists, obj->dirName, &plan);
    obj->csv_latest = plan.latest;
    obj->csv_oldest = plan.oldest;

    applyPlan(obj->dirName, plan);
    if (plan.latest != before.latest || plan.oldest != before.oldest) {
        // A failed rewrite has printed its message; the positions in memory are right anyway.
        jorn_UpdateCsvIndexFile(obj, plan.oldest, plan.latest);
    }
    return 0;
}

int32_t jorn_InitAnalyseCSV(JORN_OBJ *obj) {
    if (obj == nullptr) {
        return -1;
    }
    loadIndex(obj);
    jorn_PickUpCsvValidRange(obj);
    const jorn::RingRange range = jorn::ringOf(*obj).range();
    for (int32_t i = range.latest; i >= range.oldest; --i) {
        analysePosition(obj, jorn::ringOf(*obj).position(i));
    }
    return 0;
}
