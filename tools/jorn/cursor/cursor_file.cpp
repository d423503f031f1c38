// SPDX-License-Identifier: Apache-2.0
#include "cursor/cursor_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <filesystem>
#include <utility>

#include "cursor/cursor_text.h"
#include "system/failure.h"
#include "system/file_bytes.h"
#include "system/file_mark.h"
#include "system/file_replacement.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

Descriptor openForReading(int directory, const std::string &name) {
    constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return Descriptor(openat(directory, name.c_str(), kFlags));
}

std::string textOf(int file, const std::string &path) {
    struct stat status;
    if (fstat(file, &status) < 0) {
        throw systemFailure(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        refuse(path + ": not a regular file");
    }
    std::string text(static_cast<size_t>(status.st_size), '\0');
    int error = 0;
    text.resize(readAt(file, 0, text.data(), text.size(), &error));
    if (error != 0) {
        throw systemFailure(path, error);
    }
    return text;
}

}  // namespace

CursorSet::CursorSet(const std::vector<LogCursor> &cursors) {
    for (const LogCursor &cursor : cursors) {
        keep(cursor);
    }
}

LogCursor CursorSet::of(const std::string &device, const std::string &log) const {
    const auto found = places_.find({device, log});
    if (found != places_.end()) {
        return cursors_[found->second];
    }
    LogCursor cursor;
    cursor.device = device;
    cursor.log = log;
    return cursor;
}

void CursorSet::keep(const LogCursor &cursor) {
    const auto [place, isNew] = places_.emplace(std::pair(cursor.device, cursor.log), cursors_.size());
    if (isNew) {
        cursors_.push_back(cursor);
    } else {
        cursors_[place->second] = cursor;
    }
}

CursorSet readCursors(const std::string &path) {
    const Descriptor file = openForReading(AT_FDCWD, path);
    if (!file.isOpen() && errno == ENOENT) {
        return {};
    }
    if (!file.isOpen()) {
        throw systemFailure(path, errno);
    }
    return CursorSet(parseCursors(textOf(file.get(), path), path));
}

CursorFile::CursorFile(const std::string &path) : path_(path) {
    std::error_code ignored;
    const fs::path target = fs::exists(path, ignored) ? fs::canonical(path, ignored) : fs::absolute(path);
    name_ = target.filename().string();
    directory_ = Descriptor(::open(target.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory_.isOpen()) {
        throw systemFailure(path_, errno);
    }
    open();
}

/// Another process may replace the file between each two steps, or make it.
void CursorFile::open() {
    constexpr int kTries = 100;
    for (int tries = 0; tries < kTries; ++tries) {
        locked_ = openForReading(directory_.get(), name_);
        if (!locked_.isOpen() && errno != ENOENT) {
            throw systemFailure(path_, errno);
        }
        if (!locked_.isOpen()) {
            auto fresh = std::make_unique<TemporaryFile>(directory_.get(), path_);
            writeWhole(fresh->descriptor(), cursorText({}), path_);
            fresh->sync();
            lock(fresh->descriptor());
            if (fresh->takeFreeName(name_)) {
                syncNames(directory_.get());
                file_ = std::move(fresh);
                return;
            }
            refuseLink();
        } else if (lockNamed()) {
            cursors_ = CursorSet(parseCursors(textOf(locked_.get(), path_), path_));
            return;
        }
    }
    throw Failure(path_ + ": another process keeps replacing it");
}

/// A link that leads nowhere takes the name, but there is nothing to be opened.
void CursorFile::refuseLink() const {
    struct stat named;
    if (fstatat(directory_.get(), name_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(named.st_mode)) {
        throw Failure(path_ + ": is a symbolic link to a file that does not exist");
    }
}

/// False when the file has been replaced meanwhile.
bool CursorFile::lockNamed() {
    lock(locked_.get());
    return isHeld();
}

void CursorFile::lock(int file) const {
    if (flock(file, LOCK_EX | LOCK_NB) < 0) {
        throw errno == EWOULDBLOCK ? Failure(path_ + ": another jorn is using this cursor file")
                                   : systemFailure(path_, errno);
    }
}

bool CursorFile::isHeld() const {
    const FileMark held = markOf(file_ ? file_->descriptor() : locked_.get());
    struct stat named;
    return fstatat(directory_.get(), name_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           isSameFile(markOf(named), held);
}

void CursorFile::keep(const LogCursor &cursor) {
    isChanged_ = true;
    cursors_.keep(cursor);
}

void CursorFile::write() {
    if (!isHeld()) {
        throw Failure(path_ + ": has been moved, removed or replaced; nothing more is sent");
    }
    auto fresh = std::make_unique<TemporaryFile>(directory_.get(), path_);
    giveAccess(fresh->descriptor(), accessFor(directory_.get(), name_, path_), path_);
    writeWhole(fresh->descriptor(), cursorText(cursors_.all()), path_);
    fresh->sync();
    lock(fresh->descriptor());
    fresh->replace(name_);
    // Whatever fails from here on, the name stands for the new file, so that one must stay locked.
    file_ = std::move(fresh);
    if (!syncDirectory(directory_.get(), ".")) {
        throw systemFailure(path_, errno);
    }
    isChanged_ = false;
}

}  // namespace tool
