// SPDX-License-Identifier: Apache-2.0
#include "registry/registry.h"

#include "diagnostics.h"

JORN_OBJ *jorn_obj_ptr = nullptr;
int32_t jorn_csv_cnt = 0;
uint32_t jorn_max_csv_time = 0;
SEM_ID logSemCsvRW_ID = nullptr;
MSG_Q_ID logMsgCsvStore_ID = nullptr;
TASK_ID logTask_ID = 0;

namespace jorn {
namespace {

/// Walks under way. Sequentially consistent with the list's links: either a walk sees an object already
/// unlinked, or the destruction that unlinked it sees the walk.
int32_t walksUnderWay = 0;

const JORN_OBJ *objectInCreation = nullptr;

/// Counts a walk while it lasts.
class WalkGuard {
public:
    [[nodiscard]] WalkGuard() { __atomic_add_fetch(&walksUnderWay, 1, __ATOMIC_SEQ_CST); }
    ~WalkGuard() { __atomic_sub_fetch(&walksUnderWay, 1, __ATOMIC_SEQ_CST); }
    WalkGuard(const WalkGuard &) = delete;
    WalkGuard &operator=(const WalkGuard &) = delete;
};

JORN_OBJ *follow(JORN_OBJ *const *link) { return __atomic_load_n(link, __ATOMIC_SEQ_CST); }

void setLink(JORN_OBJ **link, JORN_OBJ *obj) { __atomic_store_n(link, obj, __ATOMIC_SEQ_CST); }

}  // namespace

void linkObject(JORN_OBJ *obj) { setLink(&jorn_obj_ptr, obj); }

void unlinkObject(const JORN_OBJ *obj, JORN_OBJ *previous) {
    setLink(previous != nullptr ? &previous->next : &jorn_obj_ptr, obj->next);
}

bool isWalkUnderWay() { return __atomic_load_n(&walksUnderWay, __ATOMIC_SEQ_CST) != 0; }

void setObjectInCreation(const JORN_OBJ *obj) { __atomic_store_n(&objectInCreation, obj, __ATOMIC_SEQ_CST); }

bool isInCreation(const JORN_OBJ *obj) {
    return obj != nullptr && __atomic_load_n(&objectInCreation, __ATOMIC_SEQ_CST) == obj;
}

JORN_OBJ *walkTo(int32_t handle_id) {
    JORN_OBJ *obj = follow(&jorn_obj_ptr);
    while (obj != nullptr && obj->handle_id != handle_id) {
        obj = follow(&obj->next);
    }
    return obj;
}

JORN_OBJ *findOrReport(int32_t handle_id) {
    JORN_OBJ *const obj = FindObj(handle_id);
    if (obj == nullptr) {
        JORN_PRINT(kPrintError, "hanld_id = %ld, not found!", asLong(handle_id));
    }
    return obj;
}

}  // namespace jorn

JORN_OBJ *FindObj(int32_t handle_id) {
    const jorn::WalkGuard walk;
    return jorn::walkTo(handle_id);
}

JORN_OBJ *FindObjLast(int32_t handle_id) {
    JORN_OBJ *previous = jorn_obj_ptr;
    while (previous != nullptr && previous->next != nullptr && previous->next->handle_id != handle_id) {
        previous = previous->next;
    }
    return previous != nullptr && previous->next != nullptr ? previous : nullptr;
}

int32_t JORN_GetMaxCsvTime(uint32_t *csvTime) {
    if (csvTime == nullptr) {
        return -1;
    }
    *csvTime = __atomic_load_n(&jorn_max_csv_time, __ATOMIC_RELAXED);
    return 0;
}

int32_t JORN_GetFinalCsvTime(int32_t handle_id, uint32_t *csvTime) {
    if (csvTime == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "time pointer null!");
        return -1;
    }
    const JORN_OBJ *const obj = jorn::findOrReport(handle_id);
    if (obj == nullptr) {
        return -1;
    }
    *csvTime = obj->final_csv_time;
    return 0;
}

void jorn_SetDebugPrintLevel(int32_t level) { __atomic_store_n(&DBGPRT_LVL, level, __ATOMIC_RELAXED); }
