// SPDX-License-Identifier: Apache-2.0
#include "support/probe.h"

#include <dirent.h>
#include <msgQLib.h>
#include <posixPort.h>
#include <semLib.h>
#include <taskLib.h>
#include <usrFsLib.h>
#include <usrLib.h>
#include <yaffsfs.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform.h"
#include "registry/log_object.h"

namespace probe {
namespace {

bool beginsWith(const std::string &text, const std::string &start) {
    return text.compare(0, start.size(), start) == 0;
}

bool isPrefix(const std::string &piece) {
    return beginsWith(piece, "[") && piece.find("]line") != piece.npos;
}

std::string fileName(const char *path) {
    const std::string text(path);
    return text.substr(text.rfind('/') + 1);
}

constexpr int kObjectUnavailable = 0x3d0002;

}  // namespace

Probe &Probe::get() {
    static Probe probe;
    return probe;
}

void Probe::reset() {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    calls_.clear();
    pieces_.clear();
    failures_.clear();
    hooks_.clear();
    time_ = 1700000000;
}

void Probe::setTime(uint32_t seconds) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    time_ = seconds;
}

uint32_t Probe::now() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return time_;
}

void Probe::fail(const std::string &call, int count, int skip) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    failures_.push_back({call, skip, count});
}

void Probe::onCall(const std::string &call, Hook hook) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    hooks_.emplace_back(call, std::move(hook));
}

std::vector<std::string> Probe::calls() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return calls_;
}

std::vector<std::string> Probe::calls(const std::vector<std::string> &names) const {
    std::vector<std::string> chosen;
    for (const std::string &call : calls()) {
        for (const std::string &name : names) {
            if (beginsWith(call, name)) {
                chosen.push_back(call);
                break;
            }
        }
    }
    return chosen;
}

std::vector<std::string> Probe::pieces() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return pieces_;
}

std::vector<std::string> Probe::messages() const {
    const std::vector<std::string> all = pieces();
    std::vector<std::string> texts;
    for (size_t i = 0; i < all.size(); ++i) {
        const bool isMessage = isPrefix(all[i]) && i + 2 < all.size() && all[i + 2] == "\r\n";
        if (isMessage) {
            texts.push_back(all[i + 1]);
            i += 2;
        } else {
            texts.push_back(kBare + all[i]);
        }
    }
    return texts;
}

void Probe::clearLog() {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    calls_.clear();
    pieces_.clear();
}

int Probe::liveBlocks() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return static_cast<int>(blocks_.size());
}

void Probe::addPiece(const std::string &piece) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    pieces_.push_back(piece);
}

void Probe::addBlock(const void *block, const std::string &name) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    blocks_[block] = name;
}

std::string Probe::removeBlock(const void *block) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    const auto found = blocks_.find(block);
    if (found == blocks_.end()) {
        return block == nullptr ? "null" : "unknown";
    }
    std::string name = found->second;
    blocks_.erase(found);
    return name;
}

bool Probe::consumeFailure(const std::string &call) {
    for (Failure &failure : failures_) {
        if (!beginsWith(call, failure.call) || failure.count == 0) {
            continue;
        }
        if (failure.skip > 0) {
            --failure.skip;
            continue;
        }
        --failure.count;
        return true;
    }
    return false;
}

/// Logs a call and runs its hooks; false when the call has to fail.
bool Probe::enter(const std::string &call) {
    std::vector<Hook> due;
    bool fails = false;
    {
        const std::lock_guard<std::recursive_mutex> lock(lock_);
        calls_.push_back(call);
        for (const auto &[start, hook] : hooks_) {
            if (beginsWith(call, start)) {
                due.push_back(hook);
            }
        }
        fails = consumeFailure(call);
    }
    for (const Hook &hook : due) {
        hook(call);
    }
    return !fails;
}

}  // namespace probe

namespace {

bool enter(const std::string &call) { return probe::Probe::get().enter(call); }

STATUS refuse() {
    errno = probe::kObjectUnavailable;
    return ERROR;
}

}  // namespace

extern "C" {

FILE *probe_fopen(const char *path, const char *mode) {
    if (!enter("fopen " + probe::fileName(path) + " " + mode)) {
        errno = EACCES;
        return nullptr;
    }
    return fopen(path, mode);
}

int probe_fclose(FILE *stream) {
    const bool passes = enter("fclose");
    const int result = fclose(stream);
    return passes ? result : EOF;
}

char *probe_fgets(char *buffer, int size, FILE *stream) {
    return enter("fgets " + std::to_string(size)) ? fgets(buffer, size, stream) : nullptr;
}

size_t probe_fwrite(const void *data, size_t size, size_t count, FILE *stream) {
    if (!enter("fwrite " + std::to_string(size) + "x" + std::to_string(count))) {
        return 0;
    }
    return fwrite(data, size, count, stream);
}

int probe_fscanf(FILE *stream, const char *format, ...) __attribute__((format(scanf, 2, 3)));

int probe_fscanf(FILE *stream, const char *format, ...) {
    if (!enter("fscanf")) {
        return EOF;
    }
    va_list arguments;
    va_start(arguments, format);
    const int converted = vfscanf(stream, format, arguments);
    va_end(arguments);
    return converted;
}

int probe_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));

int probe_printf(const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    probe::Probe::get().addPiece(text);
    return length;
}

time_t probe_time(time_t *out) {
    enter("time");
    const time_t now = static_cast<time_t>(probe::Probe::get().now());
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

char *probe_ctime(const time_t *time) { return enter("ctime") ? ctime(time) : nullptr; }

void *probe_calloc(size_t count, size_t size) {
    const std::string name = size == sizeof(JORN_OBJ) ? "object" : "info[" + std::to_string(count) + "]";
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
    return enter("opendir " + probe::fileName(name)) ? opendir(name) : nullptr;
}

int probe_closedir(DIR *directory) {
    enter("closedir");
    return closedir(directory);
}

int probe_jorn_MakeDirectory(const char *name) {
    return enter("jorn_MakeDirectory " + probe::fileName(name)) ? jorn_MakeDirectory(name) : ERROR;
}

STATUS probe_rm(const char *path) { return enter("rm " + probe::fileName(path)) ? rm(path) : ERROR; }

int probe_yaffs_rename(const char *from, const char *to) {
    return enter("yaffs_rename " + probe::fileName(from) + " " + probe::fileName(to)) ? yaffs_rename(from, to)
                                                                                      : -1;
}

SEM_ID probe_semMCreate(int options) {
    return enter("semMCreate " + std::to_string(options)) ? semMCreate(options) : nullptr;
}

STATUS probe_semTake(SEM_ID semaphore, int timeout) {
    return enter("semTake " + std::to_string(timeout)) ? semTake(semaphore, timeout) : refuse();
}

STATUS probe_semGive(SEM_ID semaphore) { return enter("semGive") ? semGive(semaphore) : refuse(); }

STATUS probe_semDelete(SEM_ID semaphore) { return enter("semDelete") ? semDelete(semaphore) : refuse(); }

MSG_Q_ID probe_msgQCreate(int messages, int length, int options) {
    const std::string call = "msgQCreate " + std::to_string(messages) + " " + std::to_string(length) + " " +
                             std::to_string(options);
    return enter(call) ? msgQCreate(messages, length, options) : nullptr;
}

STATUS probe_msgQSend(MSG_Q_ID queue, char *buffer, UINT length, int timeout, int priority) {
    const std::string call = "msgQSend " + std::to_string(length) + " " + std::to_string(timeout) + " " +
                             std::to_string(priority) + " " + std::string(buffer);
    return enter(call) ? msgQSend(queue, buffer, length, timeout, priority) : refuse();
}

int probe_msgQReceive(MSG_Q_ID queue, char *buffer, UINT size, int timeout) {
    const std::string call = "msgQReceive " + std::to_string(size) + " " + std::to_string(timeout);
    return enter(call) ? msgQReceive(queue, buffer, size, timeout) : refuse();
}

int probe_msgQNumMsgs(MSG_Q_ID queue) { return enter("msgQNumMsgs") ? msgQNumMsgs(queue) : refuse(); }

STATUS probe_msgQDelete(MSG_Q_ID queue) { return enter("msgQDelete") ? msgQDelete(queue) : refuse(); }

TASK_ID probe_taskSpawn(char *name, int priority, int options, int stack, FUNCPTR entry, _Vx_usr_arg_t a1,
                        _Vx_usr_arg_t a2, _Vx_usr_arg_t a3, _Vx_usr_arg_t a4, _Vx_usr_arg_t a5,
                        _Vx_usr_arg_t a6, _Vx_usr_arg_t a7, _Vx_usr_arg_t a8, _Vx_usr_arg_t a9,
                        _Vx_usr_arg_t a10) {
    const std::string call = "taskSpawn " + std::string(name) + " " + std::to_string(priority) + " " +
                             std::to_string(options) + " " + std::to_string(stack);
    if (!enter(call)) {
        return ERROR;
    }
    const TASK_ID task =
        taskSpawn(name, priority, options, stack, entry, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10);
    posixPortSettle();  // so that a test knows when the task's first pass has been: before anything else
    return task;
}

STATUS probe_taskDelete(TASK_ID task) { return enter("taskDelete") ? taskDelete(task) : refuse(); }

STATUS probe_taskDelay(int ticks) {
    enter("taskDelay " + std::to_string(ticks));
    return taskDelay(ticks);
}

void probe_printErrno(int error) {
    char text[32];
    snprintf(text, sizeof text, "errno 0x%X\r\n", static_cast<unsigned>(error));
    enter("printErrno " + std::to_string(error));
    probe::Probe::get().addPiece(text);
    errno = 0;  // as a real one might change it
}

// The names that the C library's headers give some calls.
int probe_isoc99_fscanf(FILE *stream, const char *format, ...) __attribute__((alias("probe_fscanf")));
FILE *probe_fopen64(const char *path, const char *mode) __attribute__((alias("probe_fopen")));
time_t probe_time64(time_t *out) __attribute__((alias("probe_time")));
char *probe_ctime64(const time_t *time) __attribute__((alias("probe_ctime")));
}
