// SPDX-License-Identifier: Apache-2.0
#include "registry/submission.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "diagnostics.h"
#include "platform.h"
#include "registry/registry.h"

namespace {

/// Copies at most kTextMax bytes of an item's text, blanks in place of line ends, then the line feed
/// and the NUL that close a message.
void appendText(char *position, const char *text) {
    size_t length = strlen(text);
    if (length > jorn::kTextMax) {
        length = jorn::kTextMax;
    }
    for (size_t i = 0; i < length; ++i) {
        const bool isLineEnd = text[i] == '\n' || text[i] == '\r';
        *position++ = isLineEnd ? ' ' : text[i];
    }
    *position++ = '\n';
    *position = '\0';
}

void formatMessage(char *message, int32_t handle, int32_t level, int32_t slot, const char *text) {
    char *position = message;
    position += sprintf(position, "%ld%s", jorn::asLong(handle), ",");
    position += sprintf(position, "%lu%s", jorn::asUlong(static_cast<uint32_t>(time(nullptr))), ",");
    position += sprintf(position, "%ld%s", jorn::asLong(level), ",");
    position += sprintf(position, "%ld%s", jorn::asLong(slot), ",");
    appendText(position, text);
}

int32_t sendMessage(char *message) {
    const UINT size = static_cast<UINT>(strlen(message) + 1);
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
    // A full queue is no reason to fail what the item reports.
    JORN_AddOneLog(obj->handle_id, jorn::kLevelDebug, 0, text);
    return 0;
}

}  // namespace

int32_t JORN_AddOneLog(int32_t handle_id, int32_t level, int32_t slot, const char *text) {
    const JORN_OBJ *const obj = FindObj(handle_id);
    if (obj == nullptr) {
        JORN_PRINT(jorn::kPrintError, "hanld_id = %ld, not found!", jorn::asLong(handle_id));
        return -1;
    }
    if (level >= obj->level_max || slot >= obj->slot_max) {
        JORN_PRINT(jorn::kPrintError, "level=%ld, slot=%ld, exceed range!", jorn::asLong(level),
                   jorn::asLong(slot));
        return -1;
    }
    if (text == nullptr) {
        JORN_PRINT(jorn::kPrintError, "text pointer null!");
        return -1;
    }
    char message[jorn::kMessageSize];
    formatMessage(message, handle_id, level, slot, text);
    return sendMessage(message);
}

int32_t jorn_AddLogInit(JORN_OBJ *obj) { return addFixedItem(obj, "Log start init!"); }

int32_t jorn_AddLogClear(JORN_OBJ *obj) { return addFixedItem(obj, "Log all cleared!"); }
