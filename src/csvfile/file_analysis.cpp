// SPDX-License-Identifier: Apache-2.0
#include "csvfile/file_analysis.h"

#include "csvfile/data_file.h"
#include "csvfile/item_parser.h"
#include "diagnostics.h"
#include "registry/registry.h"

namespace {

jorn::ItemLimits limitsOf(const JORN_OBJ &obj) { return {obj.level_max, obj.slot_max}; }

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
            jorn::foldReadItem(item, limitsOf(*obj), &summary);
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
    jorn::foldAppendedItem(item, limitsOf(*obj), &obj->csv_info[fileIdx]);
    return 0;
}

int32_t jorn_UpdateMaxTime(uint32_t time) {
    // Changed under the file mutex only; its readers take no lock.
    if (__atomic_load_n(&jorn_max_csv_time, __ATOMIC_RELAXED) < time) {
        __atomic_store_n(&jorn_max_csv_time, time, __ATOMIC_RELAXED);
    }
    return 0;
}
