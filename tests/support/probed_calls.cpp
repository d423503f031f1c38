// SPDX-License-Identifier: Apache-2.0
// The module's calls as they reach the probe: each is logged, and passed on or made to fail.
#include <dirent.h>
#include <msgQLib.h>
#include <posixPort.h>
#include <semLib.h>
#include <stdio_ext.h>
#include <taskLib.h>
#include <usrFsLib.h>
#include <usrLib.h>
#include <yaffsfs.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "platform.h"
#include "registry/log_object.h"
#include "support/probe.h"

namespace {

using probe::Way;

constexpr int kObjectUnavailable = 0x3d0002;

std::string fileName(const char *path) {
    const std::string text(path);
    return text.substr(text.rfind('/') + 1);
}

bool enter(const std::string &call) { return probe::Probe::get().enter(call); }

std::optional<Way> fault(const std::string &call) { return probe::Probe::get().fault(call); }

STATUS refuse() {
    errno = kObjectUnavailable;
    return ERROR;
}

/// Counts what a call has opened or created, if it has.
template <class Id>
Id counted(const std::string &kind, Id id) {
    if (id != Id{}) {
        probe::Probe::get().take(kind);
    }
    return id;
}

/// Counts what a call has deleted, if it has.
STATUS countedBack(const std::string &kind, STATUS status) {
    if (status == OK) {
        probe::Probe::get().giveBack(kind);
    }
    return status;
}

/// The result of a call on an id, which may do its work and still fail.
template <class Call>
STATUS onId(const std::string &name, Call call) {
    const auto way = fault(name);
    if (way != Way::kPlain) {
        const STATUS status = call();
        if (!way) {
            return status;
        }
    }
    return refuse();
}

int errnoOf(Way way) {
    switch (way) {
        case Way::kNoSpace:
            return ENOSPC;
        case Way::kNoEntry:
            return ENOENT;
        default:
            return EACCES;
    }
}

/// Bytes of a failing fwrite that get through.
size_t bytesThrough(Way way, size_t bytes) {
    switch (way) {
        case Way::kOneByte:
            return std::min<size_t>(bytes, 1);
        case Way::kHalf:
            return bytes / 2;
        case Way::kAllButOne:
            return bytes - 1;
        default:
            return 0;
    }
}

/// Whether the medium has room for the file to be opened; a truncated file gives its bytes back.
bool isRoomToOpen(const char *path, const char *mode) {
    if (*mode == 'r') {
        return true;
    }
    if (!std::filesystem::exists(path)) {
        return probe::Probe::get().hasRoom();
    }
    if (*mode == 'w') {
        probe::Probe::get().giveRoom(path);
    }
    return true;
}

}  // namespace

extern "C" {

FILE *probe_fopen(const char *path, const char *mode) {
    if (const auto way = fault("fopen " + fileName(path) + " " + mode)) {
        errno = errnoOf(*way);
        return nullptr;
    }
    if (!isRoomToOpen(path, mode)) {
        errno = ENOSPC;
        return nullptr;
    }
    return counted("stream", fopen(path, mode));
}

int probe_fclose(FILE *stream) {
    const auto way = fault("fclose");
    if (way == Way::kDropped) {
        __fpurge(stream);
    }
    const int result = fclose(stream);
    probe::Probe::get().giveBack("stream");
    return way ? EOF : result;
}

char *probe_fgets(char *buffer, int size, FILE *stream) {
    return enter("fgets " + std::to_string(size)) ? fgets(buffer, size, stream) : nullptr;
}

size_t probe_fwrite(const void *data, size_t size, size_t count, FILE *stream) {
    const auto way = fault("fwrite " + std::to_string(size) + "x" + std::to_string(count));
    const size_t wanted = way ? bytesThrough(*way, size * count) : size * count;
    const size_t taken = probe::Probe::get().takeRoom(wanted);
    return fwrite(data, 1, taken, stream) / size;
}

int probe_fscanf(FILE *stream, const char *format, ...) __attribute__((format(scanf, 2, 3)));

int probe_fscanf(FILE *stream, const char *format, ...) {
    const auto way = fault("fscanf");
    if (way && way != Way::kShort) {
        return way == Way::kNoMatch ? 0 : EOF;
    }
    const std::string whole(format);
    const std::string asked = way ? whole.substr(0, whole.rfind('%')) : whole;
    va_list arguments;
    va_start(arguments, format);
    const int converted = vfscanf(stream, asked.c_str(), arguments);
    va_end(arguments);
    return converted;
}

int probe_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));

int probe_printf(const char *format, ...) {
    if (probe::Probe::get().isPrintFailing()) {
        errno = EIO;
        return -1;
    }
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    probe::Probe::get().addPiece(text);
    return length;
}

time_t probe_time(time_t *out) {
    const auto way = fault("time");
    time_t now = static_cast<time_t>(probe::Probe::get().now());
    if (way) {
        now = way == Way::kBack ? now - 3600 : -1;
    }
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

char *probe_ctime(const time_t *time) { return enter("ctime") ? ctime(time) : nullptr; }

void *probe_calloc(size_t count, size_t size) {
    const std::string name =
        count == 1 && size == sizeof(JORN_OBJ) ? "object" : "info[" + std::to_string(count) + "]";
    if (!enter("calloc " + name)) {
        return nullptr;
    }
    void *const block = calloc(count, size);
    probe::Probe::get().addBlock(block, name);
    return block;
}

void probe_free(void *block) {
    enter("free " + probe::Probe::get().removeBlock(block));
    free(block);
}

DIR *probe_opendir(const char *name) {
    return enter("opendir " + fileName(name)) ? counted("directory", opendir(name)) : nullptr;
}

int probe_closedir(DIR *directory) {
    const bool passes = enter("closedir");
    const int result = closedir(directory);
    probe::Probe::get().giveBack("directory");
    return passes ? result : -1;
}

int probe_jorn_MakeDirectory(const char *name) {
    return enter("jorn_MakeDirectory " + fileName(name)) ? jorn_MakeDirectory(name) : ERROR;
}

STATUS probe_rm(const char *path) {
    if (!enter("rm " + fileName(path))) {
        return ERROR;
    }
    probe::Probe::get().giveRoom(path);
    return rm(path);
}

int probe_yaffs_rename(const char *from, const char *to) {
    if (!enter("yaffs_rename " + fileName(from) + " " + fileName(to))) {
        return -1;
    }
    if (std::filesystem::exists(from)) {
        probe::Probe::get().giveRoom(to);
    }
    return yaffs_rename(from, to);
}

SEM_ID probe_semMCreate(int options) {
    return enter("semMCreate " + std::to_string(options)) ? counted("mutex", semMCreate(options)) : nullptr;
}

STATUS probe_semTake(SEM_ID semaphore, int timeout) {
    return enter("semTake " + std::to_string(timeout)) ? semTake(semaphore, timeout) : refuse();
}

STATUS probe_semGive(SEM_ID semaphore) {
    return onId("semGive", [=] { return semGive(semaphore); });
}

STATUS probe_semDelete(SEM_ID semaphore) {
    return onId("semDelete", [=] { return countedBack("mutex", semDelete(semaphore)); });
}

MSG_Q_ID probe_msgQCreate(int messages, int length, int options) {
    const std::string call = "msgQCreate " + std::to_string(messages) + " " + std::to_string(length) + " " +
                             std::to_string(options);
    return enter(call) ? counted("queue", msgQCreate(messages, length, options)) : nullptr;
}

STATUS probe_msgQSend(MSG_Q_ID queue, char *buffer, UINT length, int timeout, int priority) {
    const std::string call = "msgQSend " + std::to_string(length) + " " + std::to_string(timeout) + " " +
                             std::to_string(priority) + " " + std::string(buffer);
    return enter(call) ? msgQSend(queue, buffer, length, timeout, priority) : refuse();
}

int probe_msgQReceive(MSG_Q_ID queue, char *buffer, UINT size, int timeout) {
    const std::string call = "msgQReceive " + std::to_string(size) + " " + std::to_string(timeout);
    const auto way = fault(call);
    if (way == Way::kPlain) {
        return refuse();
    }
    const int length = msgQReceive(queue, buffer, size, timeout);
    if (!way) {
        return length;
    }
    if (way == Way::kCut && length > probe::kCutLength) {
        buffer[probe::kCutLength] = '\0';
        return probe::kCutLength;
    }
    return way == Way::kTooLong ? static_cast<int>(size) : 0;
}

int probe_msgQNumMsgs(MSG_Q_ID queue) { return enter("msgQNumMsgs") ? msgQNumMsgs(queue) : refuse(); }

STATUS probe_msgQDelete(MSG_Q_ID queue) {
    return onId("msgQDelete", [=] { return countedBack("queue", msgQDelete(queue)); });
}

TASK_ID probe_taskSpawn(char *name, int priority, int options, int stack, FUNCPTR entry, _Vx_usr_arg_t a1,
                        _Vx_usr_arg_t a2, _Vx_usr_arg_t a3, _Vx_usr_arg_t a4, _Vx_usr_arg_t a5,
                        _Vx_usr_arg_t a6, _Vx_usr_arg_t a7, _Vx_usr_arg_t a8, _Vx_usr_arg_t a9,
                        _Vx_usr_arg_t a10) {
    std::string call = "taskSpawn " + std::string(name) + " " + std::to_string(priority) + " " +
                       std::to_string(options) + " " + std::to_string(stack);
    for (const _Vx_usr_arg_t argument : {a1, a2, a3, a4, a5, a6, a7, a8, a9, a10}) {
        call += argument != 0 ? " " + std::to_string(argument) : "";
    }
    if (!enter(call)) {
        return ERROR;
    }
    const TASK_ID task =
        taskSpawn(name, priority, options, stack, entry, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10);
    if (task != ERROR) {
        probe::Probe::get().take("task");
    }
    posixPortSettle();  // so that a test knows when the task makes its first pass: before anything else
    return task;
}

STATUS probe_taskDelete(TASK_ID task) {
    return onId("taskDelete", [=] { return countedBack("task", taskDelete(task)); });
}

STATUS probe_taskDelay(int ticks) {
    return enter("taskDelay " + std::to_string(ticks)) ? taskDelay(ticks) : refuse();
}

void probe_printErrno(int error) {
    char text[32];
    snprintf(text, sizeof text, "errno 0x%X\r\n", static_cast<unsigned>(error));
    enter("printErrno " + std::to_string(error));
    probe::Probe::get().addPiece(text);
    errno = 0;  // as the real call might change it
}

// The names that the C library's headers give some calls.
int probe_isoc99_fscanf(FILE *stream, const char *format, ...) __attribute__((alias("probe_fscanf")));
FILE *probe_fopen64(const char *path, const char *mode) __attribute__((alias("probe_fopen")));
time_t probe_time64(time_t *out) __attribute__((alias("probe_time")));
char *probe_ctime64(const time_t *time) __attribute__((alias("probe_ctime")));
}
