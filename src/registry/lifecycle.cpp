// SPDX-License-Identifier: Apache-2.0
#include "registry/lifecycle.h"

#include <stdlib.h>
#include <string.h>

#include "csvfile/file_summary.h"
#include "csvfile/startup_analysis.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"
#include "registry/registry.h"
#include "registry/submission.h"
#include "store/store_task.h"

namespace {

bool directoryOpens(const char *name) {
    DIR *const directory = opendir(name);
    if (directory == nullptr) {
        return false;
    }
    closedir(directory);
    return true;
}

/// Whether an object of the list from `head` on uses the directory.
bool isUsed(const JORN_OBJ *head, const char *dirName) {
    for (const JORN_OBJ *obj = head; obj != nullptr; obj = obj->next) {
        if (strcmp(obj->dirName, dirName) == 0) {
            return true;
        }
    }
    return false;
}

/// Frees an object and its summaries, if it has them.
void freeObject(JORN_OBJ *obj) {
    if (obj->csv_info != nullptr) {
        free(obj->csv_info);
    }
    free(obj);
}

bool setDirectory(JORN_OBJ *obj, const char *dirName) {
    if (jorn_CopyDirectoryName(obj->dirName, dirName) < 0) {
        JORN_PRINT_TEXT(jorn::kPrintError, "DirName format error!");
        return false;
    }
    if (jorn_VerifyDirectoryName(obj->dirName) < 0) {
        JORN_PRINT_TEXT(jorn::kPrintError, "DirName invalid!");
        return false;
    }
    return true;
}

/// Reserves the files and their summaries. The files stay counted when the summaries cannot be allocated, as
/// after every later failure; the destruction of the last object corrects the count.
bool setFiles(JORN_OBJ *obj, int32_t csvNum) {
    if (csvNum < jorn::kCsvNumMin || csvNum > jorn::kCsvNumMax - jorn_csv_cnt) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Error csv file number!");
        return false;
    }
    obj->csv_num = csvNum;
    jorn_csv_cnt += csvNum;
    obj->csv_info = static_cast<JORN_CSV_INFO *>(calloc(static_cast<size_t>(csvNum), sizeof(JORN_CSV_INFO)));
    if (obj->csv_info == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Not enough memory for csv Info!");
        return false;
    }
    return true;
}

/// Starts what all objects share.
bool startService() {
    if (jorn_CreateMutex() < 0) {
        return false;
    }
    if (jorn_CreateMsgQ() < 0) {
        jorn_DeleteMutex();
        return false;
    }
    jorn::storeTaskReset();
    static char taskName[] = "tLogStore";
    // Not checked on purpose: without its task the store still answers queries over what is stored.
    logTask_ID = taskSpawn(taskName, jorn::kStorePriority, 0, jorn::kStoreStack,
                           reinterpret_cast<FUNCPTR>(jorn_TskStoreLogCsv), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    return true;
}

/// Stops what all objects share. Taking the mutex first waits for a batch that may be under way.
void stopService() {
    { const jorn::MutexGuard batchEnded(logSemCsvRW_ID); }
    jorn_DeleteMutex();
    jorn_DeleteMsgQ();
    taskDelete(logTask_ID);
}

/// Numbers an object, starts the service for the first one, and links it.
bool enterRegistry(JORN_OBJ *obj) {
    JORN_OBJ *const head = jorn_obj_ptr;
    obj->next = head;
    obj->handle_id = (head != nullptr ? head->handle_id : 0) + 1;
    if (head == nullptr && !startService()) {
        return false;
    }
    jorn::setObjectInCreation(obj);
    jorn::linkObject(obj);
    return true;
}

void analyseDirectory(JORN_OBJ *obj) {
    const jorn::MutexGuard lock(logSemCsvRW_ID);
    jorn_InitAnalyseCSV(obj);
    jorn::setObjectInCreation(nullptr);
}

/// The steps of a creation that can fail.
bool buildObject(JORN_OBJ *obj, const char *dirName, int32_t slotMax, int32_t csvNum) {
    if (!setDirectory(obj, dirName)) {
        return false;
    }
    obj->slot_max = slotMax;
    obj->level_max = jorn::kLevelMax;
    return setFiles(obj, csvNum) && enterRegistry(obj);
}

/// Subtracts an object's files from the total.
void uncountFiles(const JORN_OBJ *obj) {
    jorn_csv_cnt -= obj->csv_num;
    if (jorn_csv_cnt < 0) {
        JORN_PRINT_TEXT(jorn::kPrintError, "jorn_csv_cnt < 0, error!");
        jorn_csv_cnt = 0;
    }
}

/// Whether some other task is in a short operation that must end before an object is freed.
bool isInUse() { return jorn::isStoreTaskClosing() || jorn::isWalkUnderWay(); }

/// Waits until isInUse() is false: it is at once, unless a task was preempted in such an operation. A task of
/// higher priority continues by itself, one of the same priority after a yield, one of lower priority only
/// while this task sleeps. One that was suspended or deleted there never continues: what it may still read is
/// then not freed, and one message says what this task waits for.
void waitForOthers() {
    constexpr int kYields = 10000;
    constexpr int kTicksInSilence = 1000;
    for (int tries = 0; isInUse();) {
        if (tries == kYields + kTicksInSilence) {
            JORN_PRINT_TEXT(jorn::kPrintError,
                            "Destroy still waits for another task, suspended or deleted in a call?");
        }
        taskDelay(tries < kYields ? 0 : 1);
        if (tries <= kYields + kTicksInSilence) {
            ++tries;
        }
    }
}

/// Waits until nothing can use an unlinked object any more, neither the store task, which remembers the
/// object it served last, nor a walk that is at it, and until all its lines are on the medium.
void retireObject(const JORN_OBJ *obj) {
    {
        const jorn::MutexGuard lock(logSemCsvRW_ID);
        jorn::storeTaskLetGo(obj);
    }
    waitForOthers();
}

}  // namespace

int32_t jorn_CopyDirectoryName(char *dst, const char *src) {
    if (dst == nullptr || src == nullptr || src[0] != '/') {
        return -1;
    }
    size_t length = strlen(src);
    if (length < jorn::kDirNameMin || length >= jorn::kDirNameSize) {
        return -1;
    }
    memcpy(dst, src, length + 1);
    while (dst[length - 1] == '/') {
        dst[--length] = '\0';
        if (length <= 1) {
            return -1;
        }
    }
    return static_cast<int32_t>(length);
}

int32_t jorn_VerifyDirectoryName(const char *name) {
    const JORN_OBJ *const head = jorn_obj_ptr;
    if (name == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Direction is null!");
        return -1;
    }
    if (!directoryOpens(name) && jorn_MakeDirectory(name) == -1) {
        JORN_PRINT(jorn::kPrintError, "Create %s failed!", name);
        return -1;
    }
    return isUsed(head, name) ? -1 : 0;
}

int32_t jorn_CreateMutex(void) {
    logSemCsvRW_ID = semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE);
    if (logSemCsvRW_ID == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Sem CsvRW_ID create failed!\n");
        return -1;
    }
    return 0;
}

int32_t jorn_CreateMsgQ(void) {
    logMsgCsvStore_ID = msgQCreate(jorn::kQueueMessages, jorn::kMessageSize, MSG_Q_PRIORITY);
    if (logMsgCsvStore_ID == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "failed to creat logInfoQID!\n");
        return -1;
    }
    return 0;
}

void jorn_DeleteMutex(void) {
    if (logSemCsvRW_ID != nullptr) {
        semDelete(logSemCsvRW_ID);
    }
}

void jorn_DeleteMsgQ(void) {
    if (logMsgCsvStore_ID != nullptr) {
        msgQDelete(logMsgCsvStore_ID);
    }
}

int32_t JORN_Create(const char *dirName, int32_t slot_max, int32_t csv_num) {
    JORN_PRINT_TEXT(jorn::kPrintTrace, "jorn_Create!");
    if (slot_max < 1 || slot_max > jorn::kSlotMax) {
        JORN_PRINT(jorn::kPrintError, "slot_max=%ld, error!", jorn::asLong(slot_max));
        return -1;
    }
    JORN_OBJ *const obj = static_cast<JORN_OBJ *>(calloc(1, sizeof(JORN_OBJ)));
    if (obj == nullptr) {
        return -1;
    }
    if (!buildObject(obj, dirName, slot_max, csv_num)) {
        freeObject(obj);
        return -1;
    }
    analyseDirectory(obj);
    jorn_AddLogInit(obj);
    return obj->handle_id;
}

int32_t JORN_Destroy(int32_t handle_id) {
    JORN_OBJ *const obj = FindObj(handle_id);
    JORN_OBJ *const previous = FindObjLast(handle_id);
    if (obj == nullptr) {
        return -1;
    }
    uncountFiles(obj);
    jorn::unlinkObject(obj, previous);
    retireObject(obj);
    freeObject(obj);
    if (jorn_obj_ptr != nullptr) {
        return 0;
    }
    stopService();
    if (jorn_csv_cnt != 0) {
        JORN_PRINT_TEXT(jorn::kPrintError, "jorn_csv_cnt != 0, error!");
        jorn_csv_cnt = 0;
    }
    return 0;
}
