// SPDX-License-Identifier: Apache-2.0
#include "registry/submission.h"

#include <errno.h>
#include <time.h>

#include "diagnostics.h"
#include "platform.h"
#include "registry/message.h"
#include "registry/registry.h"

namespace {

int32_t sendMessage(char *message, UINT size) {
    if (msgQSend(logMsgCsvStore_ID, message, size, NO_WAIT, MSG_PRI_NORMAL) == OK) {
        return 0;
    }
    const int error = errno;  // printErrno may change it
    printErrno(error);
    JORN_PRINT(jorn::kPrintError, "Msg send error = 0x%X, %s", static_cast<unsigned>(error), message);
    return -1;
}

/// Submits one of the module's own items, which pass every check.
int32_t addFixedItem(const JORN_OBJ *obj, const char *text) {
    if (obj == nullptr) {
        return -1;
    }
    // A full queue is no reason for the operation that the item reports to fail.
    JORN_AddOneLog(obj->handle_id, jorn::kLevelDebug, 0, text);
    return 0;
}

}  // namespace

int32_t JORN_AddOneLog(int32_t handle_id, int32_t level, int32_t slot, const char *text) {
    const JORN_OBJ *const obj = jorn::findOrReport(handle_id);
    if (obj == nullptr) {
        return -1;
    }
    if (level >= obj->level_max || slot >= obj->slot_max) {
        JORN_PRINT(jorn::kPrintError, "level=%ld, slot=%ld, exceed range!", jorn::asLong(level),
                   jorn::asLong(slot));
        return -1;
    }
    if (text == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "text pointer null!");
        return -1;
    }
    char message[jorn::kMessageSize];
    const uint32_t now = static_cast<uint32_t>(time(nullptr));
    const size_t size = jorn::buildMessage(message, handle_id, now, level, slot, text);
    return sendMessage(message, static_cast<UINT>(size));
}

int32_t jorn_AddLogInit(JORN_OBJ *obj) { return addFixedItem(obj, jorn::kStartText); }

int32_t jorn_AddLogClear(JORN_OBJ *obj) { return addFixedItem(obj, jorn::kClearedText); }
