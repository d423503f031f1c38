// SPDX-License-Identifier: Apache-2.0
// Guards that release what a scope acquired.
#ifndef JORN_SRC_GUARDS_H
#define JORN_SRC_GUARDS_H

#include <stdio.h>

#include "platform.h"

namespace jorn {

/// Holds a mutex semaphore for a scope. The result of semTake is ignored on purpose: with an unbounded wait
/// it fails only when the mutex has been deleted, that is, after the last object is gone: the store task may
/// then use the deleted queue once, and finds no object.
class MutexGuard {
public:
    [[nodiscard]] explicit MutexGuard(SEM_ID mutex) : mutex_(mutex) { semTake(mutex_, WAIT_FOREVER); }
    ~MutexGuard() { semGive(mutex_); }
    MutexGuard(const MutexGuard &) = delete;
    MutexGuard &operator=(const MutexGuard &) = delete;

private:
    SEM_ID mutex_;
};

/// Owns a stdio stream for a scope; tests true when the stream is open. The result of fclose is ignored
/// on purpose: for streams that are read it means nothing, and a failure to write the index is not reported.
class FileGuard {
public:
    [[nodiscard]] FileGuard(const char *path, const char *mode) : stream_(fopen(path, mode)) {}
    ~FileGuard() { close(); }
    FileGuard(const FileGuard &) = delete;
    FileGuard &operator=(const FileGuard &) = delete;

    explicit operator bool() const { return stream_ != nullptr; }
    FILE *get() const { return stream_; }

    /// Opens another file in place of this one.
    void reopen(const char *path, const char *mode) {
        close();
        stream_ = fopen(path, mode);
    }

    /// Closes before the scope ends.
    void close() {
        if (stream_ != nullptr) {
            fclose(stream_);
            stream_ = nullptr;
        }
    }

private:
    FILE *stream_;
};

}  // namespace jorn

#endif
