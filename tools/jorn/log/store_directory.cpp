// SPDX-License-Identifier: Apache-2.0
#include "log/store_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "module_limits.h"
#include "system/closed_directory.h"
#include "system/failure.h"
#include "system/file_mark.h"
#include "system/temporary.h"

namespace tool {
namespace {

constexpr mode_t kDirectoryMode = 0750;

/// As mkdir -p makes them. What fails here shows when the last level is made.
void makeParents(const std::string &path) {
    const size_t end = path.find_last_not_of('/');
    for (size_t slash = path.find('/', 1); slash < end; slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0777);
    }
}

void makeIfMissing(const std::string &path, StoreDirectory::Making making) {
    if (making == StoreDirectory::Making::AllLevels) {
        makeParents(path);
    }
    if (mkdir(path.c_str(), kDirectoryMode) < 0 && errno != EEXIST) {
        throw makeFailure(path, errno);
    }
}

}  // namespace

StoreDirectory::StoreDirectory(const std::string &path, int flags)
    : path_(path), directory_(open(path.c_str(), flags | O_DIRECTORY | O_CLOEXEC)) {
    if (!directory_.isOpen()) {
        throw openFailure(path, errno);
    }
    shortName_ = descriptorName(directory_.get());
    if (access(shortName_.c_str(), F_OK) < 0) {
        throw systemFailure(shortName_ + " (is /proc mounted?)", errno);
    }
}

StoreDirectory StoreDirectory::openForReading(const std::string &path) {
    return StoreDirectory(path, O_PATH);
}

StoreDirectory StoreDirectory::openForRecording(const std::string &path, Making making) {
    StoreDirectory directory = openLocked(path, "another jorn is recording into this directory", [&] {
        makeIfMissing(path, making);
        return StoreDirectory(path, O_RDONLY);
    });
    removeAbandoned(directory.descriptor());
    return directory;
}

StoreDirectory StoreDirectory::openForRepair(const std::string &path) {
    return openLocked(path, "another jorn is recording into this directory or repairing it; stop it first",
                      [&path] { return StoreDirectory(path, O_RDONLY); });
}

/// If a repair put another directory in place between the opening and the lock, it has finished, and what was
/// locked is its backup. Once the right directory is locked, no repair can replace it.
template <class Open>
StoreDirectory StoreDirectory::openLocked(const std::string &path, const char *whenTaken, const Open &open) {
    constexpr int kTries = 20;
    for (int tries = 1; tries <= kTries; ++tries) {
        StoreDirectory directory = open();
        directory.lock(whenTaken);
        if (directory.isInPlace()) {
            return directory;
        }
    }
    throw Failure(path + ": led to another directory after each of " + std::to_string(kTries) +
                  " attempts to lock it");
}

void StoreDirectory::requireWritable() const {
    if (faccessat(descriptor(), ".", W_OK | X_OK, AT_EACCESS) < 0) {
        throw systemFailure(path_ + ": files cannot be written in this directory", errno);
    }
}

void StoreDirectory::lock(const char *whenTaken) const {
    if (flock(descriptor(), LOCK_EX | LOCK_NB) < 0) {
        throw errno == EWOULDBLOCK ? Failure(path_ + ": " + whenTaken) : systemFailure(path_, errno);
    }
}

/// Whether the path still leads to the directory that was opened.
bool StoreDirectory::isInPlace() const {
    struct stat opened;
    struct stat named;
    return fstat(descriptor(), &opened) == 0 && stat(path_.c_str(), &named) == 0 &&
           isSameFile(markOf(opened), markOf(named));
}

std::string dataFileName(int position) { return std::to_string(position) + jorn::kDataFileEnding; }

std::optional<int> dataFilePosition(const std::string &name) {
    const int32_t position = jorn::dataFilePosition(name);
    return position < 0 ? std::nullopt : std::optional<int>(position);
}

}  // namespace tool
