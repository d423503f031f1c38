// SPDX-License-Identifier: Apache-2.0
#include "fuzz/memory_platform.h"

#include <dirent.h>
#include <posixPort.h>
#include <sys/types.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "fuzz/finding.h"
#include "jorn.h"
#include "registry/registry.h"

namespace fuzz {
namespace {

/// A stream's own position in the bytes of a file.
struct OpenFile {
    MemoryPlatform::Bytes bytes;
    size_t position;
};

ssize_t readBytes(void *cookie, char *buffer, size_t size) {
    auto *const file = static_cast<OpenFile *>(cookie);
    const size_t count = std::min(size, file->bytes->size() - file->position);
    std::copy_n(file->bytes->data() + file->position, count, buffer);
    file->position += count;
    return static_cast<ssize_t>(count);
}

ssize_t appendBytes(void *cookie, const char *buffer, size_t size) {
    static_cast<OpenFile *>(cookie)->bytes->append(buffer, size);
    return static_cast<ssize_t>(size);
}

int closeFile(void *cookie) {
    delete static_cast<OpenFile *>(cookie);
    return 0;
}

bool isPrefix(const std::string &print) {
    return print.rfind("[src/", 0) == 0 && print.find("]line") != print.npos;
}

}  // namespace

MemoryPlatform &MemoryPlatform::get() {
    static MemoryPlatform platform;
    return platform;
}

void MemoryPlatform::reset() {
    static const bool isPrepared = [] {
        setenv("TZ", "UTC0", 1);
        tzset();
        sysClkDisable();
        return true;
    }();
    static_cast<void>(isPrepared);
    paths_.clear();
    prints_.clear();
}

void MemoryPlatform::put(const std::string &directory, const test::NamedFiles &files) {
    const std::string start = directory + "/";
    for (const auto &[name, bytes] : files) {
        paths_[start + name] = std::make_shared<std::string>(bytes);
    }
}

test::NamedFiles MemoryPlatform::filesIn(const std::string &directory) const {
    const std::string start = directory + "/";
    test::NamedFiles files;
    for (const auto &[path, bytes] : paths_) {
        if (path.rfind(start, 0) == 0) {
            files[path.substr(start.size())] = *bytes;
        }
    }
    return files;
}

std::vector<std::string> MemoryPlatform::takeMessages() {
    std::vector<std::string> messages;
    for (size_t i = 0; i + 2 < prints_.size(); ++i) {
        if (isPrefix(prints_[i]) && prints_[i + 2] == "\r\n") {
            messages.push_back(prints_[i + 1]);
            i += 2;
        }
    }
    prints_.clear();
    return messages;
}

void passOfStoreTask() {
    posixPortSettle();  // ticks count from the moment the task waits for them
    for (int i = 0; i < JORN_STORE_TICKS; ++i) {
        tickAnnounce();
    }
    posixPortSettle();
}

void destroyAll() {
    while (jorn_obj_ptr != nullptr) {
        expectNumber("destruction", JORN_Destroy(jorn_obj_ptr->handle_id), 0);
    }
    jorn_max_csv_time = 0;
}

}  // namespace fuzz

extern "C" {

FILE *memory_fopen(const char *path, const char *mode) {
    auto &paths = fuzz::MemoryPlatform::get().paths();
    auto file = paths.find(path);
    if (mode[0] == 'r' && file == paths.end()) {
        return nullptr;
    }
    if (file == paths.end()) {
        file = paths.emplace(path, std::make_shared<std::string>()).first;
    }
    if (mode[0] == 'w') {
        file->second->clear();
    }
    cookie_io_functions_t calls = {};
    calls.read = fuzz::readBytes;
    calls.write = fuzz::appendBytes;
    calls.close = fuzz::closeFile;
    return fopencookie(new fuzz::OpenFile{file->second, 0}, mode, calls);
}

int memory_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));

int memory_printf(const char *format, ...) {
    std::array<char, 2048> text;
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    fuzz::MemoryPlatform::get().addPrint(text.data());
    return length;
}

time_t memory_time(time_t *out) {
    if (out != nullptr) {
        *out = fuzz::kNow;
    }
    return fuzz::kNow;
}

/// Every directory exists.
DIR *memory_opendir(const char *) { return reinterpret_cast<DIR *>(&fuzz::MemoryPlatform::get()); }

int memory_closedir(DIR *) { return 0; }

STATUS memory_rm(const char *path) {
    return fuzz::MemoryPlatform::get().paths().erase(path) == 1 ? OK : ERROR;
}

int memory_yaffs_rename(const char *from, const char *to) {
    auto &paths = fuzz::MemoryPlatform::get().paths();
    auto file = paths.extract(from);
    if (file.empty()) {
        return -1;
    }
    paths[to] = file.mapped();
    return 0;
}

TASK_ID memory_taskSpawn(char *name, int priority, int options, int stack, FUNCPTR entry, _Vx_usr_arg_t a1,
                         _Vx_usr_arg_t a2, _Vx_usr_arg_t a3, _Vx_usr_arg_t a4, _Vx_usr_arg_t a5,
                         _Vx_usr_arg_t a6, _Vx_usr_arg_t a7, _Vx_usr_arg_t a8, _Vx_usr_arg_t a9,
                         _Vx_usr_arg_t a10) {
    const TASK_ID task =
        taskSpawn(name, priority, options, stack, entry, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10);
    posixPortSettle();  // so that the task's first pass comes before anything else
    return task;
}

// The names that the C library's headers give some calls on 32-bit hosts.
FILE *memory_fopen64(const char *path, const char *mode) __attribute__((alias("memory_fopen")));
time_t memory_time64(time_t *out) __attribute__((alias("memory_time")));
}
