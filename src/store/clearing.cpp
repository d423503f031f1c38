// SPDX-License-Identifier: Apache-2.0
// Clearing of an object's logs: the ring's range moves on to the file after the current one; no file is
// deleted.
#include <stdio.h>
#include <string.h>

#include "csvfile/file_summary.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"
#include "registry/registry.h"
#include "registry/submission.h"
#include "store/index_file.h"

namespace {

int32_t rewriteIndex(JORN_OBJ *obj, int32_t position) {
    const jorn::MutexGuard lock(logSemCsvRW_ID);
    return jorn_UpdateCsvIndexFile(obj, position, position);
}

/// Done without the mutex, on purpose (docs/decisions/0006): a batch of the store task may run between the
/// index rewrite and this, and then works with the former positions.
void forgetItems(JORN_OBJ *obj, int32_t position) {
    obj->csv_latest = position;
    obj->csv_oldest = position;
    obj->index_version = jorn::kIndexVersion;
    memset(obj->csv_info, 0, static_cast<size_t>(obj->csv_num) * sizeof(JORN_CSV_INFO));
}

}  // namespace

int32_t JORN_ClearAllLog(int32_t handle_id, int32_t addClearLog) {
    JORN_OBJ *const obj = jorn::findOrReport(handle_id);
    if (obj == nullptr) {
        return -1;
    }
    const int32_t position = jorn::ringOf(*obj).successor(obj->csv_latest);
    if (rewriteIndex(obj, position) < 0) {
        return -1;
    }
    forgetItems(obj, position);
    if (addClearLog > 0) {
        jorn_AddLogClear(obj);
    }
    if (jorn::isPrinted(jorn::kPrintTrace)) {
        printf("Logs are all deleted!\r\n");
    }
    return 0;
}
