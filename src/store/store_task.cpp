// SPDX-License-Identifier: Apache-2.0
#include "store/store_task.h"

#include <stdio.h>
#include <string.h>

#include "csvfile/file_analysis.h"
#include "csvfile/file_names.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"
#include "registry/message.h"
#include "registry/registry.h"
#include "store/index_file.h"

namespace {

// The task's state, one set for all objects. It is outside the task's function so that the destruction of an
// object can reach it. All but `fp` and `isClosing` are accessed only with the file mutex held, or while
// there is no store task.

/// One message, as received and then split. Never cleared between messages of one task.
char msgBuff[jorn::kMessageBufferSize];

/// The data file of object `pt` that is open for writing, or null. Whoever closes it first sets this to null:
/// the task's idle pass closes without the mutex, and a destruction may do so at the same moment.
FILE *fp;

/// The object that `open_id` designates, or null. Reset before the object is freed.
JORN_OBJ *pt;

/// Handle of `pt`; 0 means none.
int32_t open_id;

/// Whether a pass without messages is closing the file. Set before `fp` is taken and cleared after the file
/// is closed, so that a destruction that finds no open file knows whether the last lines are still being
/// written.
bool isClosing;

FILE *openFile() { return __atomic_load_n(&fp, __ATOMIC_ACQUIRE); }

/// Results of fclose are ignored on purpose: nobody waits for one, and the next file may do better.
void closeFile() {
    FILE *const file = __atomic_exchange_n(&fp, nullptr, __ATOMIC_SEQ_CST);
    if (file != nullptr) {
        fclose(file);
    }
}

/// What a pass without messages does. It takes no mutex.
void closeIdleFile() {
    __atomic_store_n(&isClosing, true, __ATOMIC_SEQ_CST);
    closeFile();
    __atomic_store_n(&isClosing, false, __ATOMIC_SEQ_CST);
}

/// What became of a message. Only a missing file ends the batch: the messages after it would be lost as well.
enum class Outcome { Stored, Dropped, NoFile };

/// In place of a ring position: no file could be opened.
constexpr int32_t kNone = -1;

int32_t itemCount(int32_t position) { return static_cast<int32_t>(pt->csv_info[position].itemCount); }

bool isFull(int32_t position) { return itemCount(position) >= jorn::kCsvItemMax; }

/// Opens the data file of a position. Returns whether it is open.
bool tryOpen(int32_t position, const char *mode) {
    const jorn::DataPath path(pt->dirName, position);
    FILE *const file = fopen(path.get(), mode);
    __atomic_store_n(&fp, file, __ATOMIC_RELEASE);
    return file != nullptr;
}

/// Opens the data file of a position from scratch. Returns whether it is open, with a message when it is not.
bool createFile(int32_t position) {
    if (tryOpen(position, "w")) {
        return true;
    }
    JORN_PRINT(jorn::kPrintError, "Create %ld.csv failed!", jorn::asLong(position));
    return false;
}

/// Clears the summary of a file that was started afresh. The check is defensive: nothing closes the file
/// while this task holds the mutex.
bool beginSummary(JORN_CSV_INFO *info) {
    *info = JORN_CSV_INFO{};
    if (openFile() == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "process error, fp=NULL!");
        return false;
    }
    return true;
}

/// Opens the file of a position to append to it, or from scratch when it holds no item or cannot be opened
/// for appending.
bool continueFile(int32_t position) {
    JORN_OBJ *const object = pt;
    if (itemCount(position) == 0) {
        return createFile(position);
    }
    return tryOpen(position, "a") || (createFile(position) && beginSummary(&object->csv_info[position]));
}

/// Leaves the full file and starts the next one of the ring. Returns its position, or kNone. When that file
/// cannot be opened, the ring positions stay unchanged, so that the next message tries again.
int32_t rotate(int32_t full) {
    closeFile();
    JORN_OBJ *const object = pt;
    const int32_t next = jorn::ringOf(*object).successor(full);
    if (!createFile(next)) {
        return kNone;
    }
    object->csv_latest = next;
    if (object->csv_oldest == next) {
        object->csv_oldest = jorn::ringOf(*object).successor(next);
    }
    // Ignored on purpose: the items are in their file whatever the index says, and the next rotation writes
    // it again. Until then a restart uses the former positions.
    jorn_UpdateCsvIndexFile(object, object->csv_oldest, object->csv_latest);
    return beginSummary(&object->csv_info[next]) ? next : kNone;
}

/// Chooses the position where the next line of `pt` is counted, and makes sure that a file is open for it:
/// the next one of the ring after a full one, the one that is open already, or the latest. kNone when no file
/// can be opened.
int32_t chooseFile() {
    const int32_t latest = jorn::ringOf(*pt).position(pt->csv_latest);
    if (isFull(latest)) {
        return rotate(latest);
    }
    const bool isOpen = openFile() != nullptr || continueFile(latest);
    return isOpen ? latest : kNone;
}

/// Appends a line to the file of `pt` and counts it.
Outcome storeLine(const char *line, size_t length) {
    const int32_t position = chooseFile();
    if (position == kNone) {
        return Outcome::NoFile;
    }
    // Ignored on purpose: a short write cannot be repaired here, and a line that does not parse is in the
    // file but not counted.
    fwrite(line, length, 1, openFile());
    jorn_UpdateCsvInfo(pt, position, line);
    if (isFull(position)) {
        closeFile();
    }
    return Outcome::Stored;
}

/// Makes `pt` the object of a handle; false with a message when there is none to write for.
bool selectObject(int32_t handle) {
    if (handle == open_id && pt != nullptr) {
        return true;
    }
    closeFile();
    pt = jorn::walkTo(handle);
    if (jorn::isInCreation(pt)) {
        // Its ring is not known yet, so the message was meant for a former object with that handle.
        pt = nullptr;
    }
    if (pt == nullptr) {
        JORN_PRINT(jorn::kPrintError, "handle_id = %ld, not found!", jorn::asLong(handle));
        open_id = 0;
        return false;
    }
    open_id = handle;
    return true;
}

/// Receives a message into msgBuff. Returns its length, or 0 after printing an error when it is refused.
size_t receiveMessage() {
    const int length = msgQReceive(logMsgCsvStore_ID, msgBuff, jorn::kMessageSize, WAIT_FOREVER);
    if (length < 1 || static_cast<size_t>(length) >= jorn::kMessageSize) {
        JORN_PRINT_TEXT(jorn::kPrintError, "msg receive eror!");
        return 0;
    }
    return static_cast<size_t>(length);
}

/// The life of an item in this task: received, separated from its handle, assigned to its object, and stored.
Outcome storeMessage() {
    const size_t received = receiveMessage();
    if (received == 0) {
        return Outcome::Dropped;
    }
    int32_t handle = 0;
    const char *const line = jorn::takeHandle(msgBuff, &handle);
    if (line == nullptr) {
        msgBuff[received] = '\0';
        JORN_PRINT(jorn::kPrintError, "msg handle_id eror: %s", msgBuff);
        return Outcome::Dropped;
    }
    const size_t length = strlen(line);
    if (length < 1 || length > jorn::kLineMax) {
        JORN_PRINT(jorn::kPrintError, "msg eror: %s", line);
        return Outcome::Dropped;
    }
    if (!selectObject(handle)) {
        return Outcome::Dropped;
    }
    return storeLine(line, length);
}

void storeBatch(int messages) {
    const jorn::MutexGuard lock(logSemCsvRW_ID);
    while (messages > 0 && storeMessage() != Outcome::NoFile) {
        --messages;
    }
}

}  // namespace

int32_t jorn_TskStoreLogCsv(void) {
    if (logSemCsvRW_ID == nullptr || logMsgCsvStore_ID == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Semaphore or MsgQueue is null!");
        return -1;
    }
    for (;;) {
        const int waiting = msgQNumMsgs(logMsgCsvStore_ID);
        if (waiting > 0) {
            storeBatch(waiting);
        } else {
            closeIdleFile();
        }
        taskDelay(jorn::kStoreTicks);
    }
}

namespace jorn {

void storeTaskReset() {
    closeFile();
    isClosing = false;
    pt = nullptr;
    open_id = 0;
    memset(msgBuff, 0, sizeof msgBuff);
}

void storeTaskLetGo(const JORN_OBJ *obj) {
    if (pt != obj) {
        return;
    }
    closeFile();
    pt = nullptr;
    open_id = 0;
}

bool isStoreTaskClosing() { return __atomic_load_n(&isClosing, __ATOMIC_SEQ_CST); }

}  // namespace jorn
