// SPDX-License-Identifier: Apache-2.0
#include "registry/submission.h"

#include <errno.h>
#include <stdio.h>
#include <time.h>

#include "bounded_length.h"
#include "diagnostics.h"
#include "platform.h"
#include "registry/registry.h"

namespace {

/// Writes a number in decimal; the end of it. (Not by sprintf, which takes longer than all the rest.)
char *appendNumber(char *position, uint32_t number) {
    char reversed[jorn::kInt32Digits];
    size_t count = 0;
    do {
        reversed[count++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    while (count > 0) {
        *position++ = reversed[--count];
    }
    return position;
}

/// Writes a number and the comma that ends its field; the end of both.
char *appendField(char *position, uint32_t number) {
    position = appendNumber(position, number);
    *position++ = ',';
    return position;
}

char *appendSignedField(char *position, int32_t number) {
    const uint32_t bits = static_cast<uint32_t>(number);
    if (number >= 0) {
        return appendField(position, bits);
    }
    *position++ = '-';
    return appendField(position, 0U - bits);  // the smallest number has no positive one
}

/// Copies an item's text, blanks in place of line ends, then the line feed and the NUL that close a message;
/// the end of all.
char *appendText(char *position, const char *text) {
    const size_t length = jorn::boundedLength(text, jorn::kTextMax);
    for (size_t i = 0; i < length; ++i) {
        const bool isLineEnd = text[i] == '\n' || text[i] == '\r';
        position[i] = isLineEnd ? ' ' : text[i];
    }
    position[length] = '\n';
    position[length + 1] = '\0';
    return position + length + 2;
}

/// Writes the message of an item; its size, the NUL included.
UINT formatMessage(char *message, int32_t handle, int32_t level, int32_t slot, const char *text) {
    char *position = appendSignedField(message, handle);
    position = appendField(position, static_cast<uint32_t>(time(nullptr)));
    position = appendSignedField(position, level);
    position = appendSignedField(position, slot);
    position = appendText(position, text);
    return static_cast<UINT>(position - message);
}

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
    // A full queue is no reason to fail what the item reports.
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
    const UINT size = formatMessage(message, handle_id, level, slot, text);
    return sendMessage(message, size);
}

int32_t jorn_AddLogInit(JORN_OBJ *obj) { return addFixedItem(obj, "Log start init!"); }

int32_t jorn_AddLogClear(JORN_OBJ *obj) { return addFixedItem(obj, "Log all cleared!"); }
