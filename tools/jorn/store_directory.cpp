// SPDX-License-Identifier: Apache-2.0
#include "store_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "csvfile/file_names.h"
#include "failure.h"

namespace tool {
namespace {

constexpr mode_t kDirectoryMode = 0750;

void makeIfMissing(const std::string &path) {
    if (mkdir(path.c_str(), kDirectoryMode) < 0 && errno != EEXIST) {
        throw systemFailure(path, errno);
    }
}

}  // namespace

StoreDirectory::StoreDirectory(const std::string &path, int flags)
    : path_(path), directory_(open(path.c_str(), flags | O_DIRECTORY | O_CLOEXEC)) {
    if (!directory_.isOpen()) {
        throw systemFailure(path, errno);
    }
    shortName_ = descriptorName(directory_.get());
    if (access(shortName_.c_str(), F_OK) < 0) {
        throw systemFailure(shortName_ + " (is /proc mounted?)", errno);
    }
}

StoreDirectory StoreDirectory::openForReading(const std::string &path) {
    return StoreDirectory(path, O_PATH);
}

StoreDirectory StoreDirectory::openForRecording(const std::string &path) {
    makeIfMissing(path);
    StoreDirectory directory(path, O_RDONLY);
    directory.lock("another jorn is recording into this directory");
    return directory;
}

StoreDirectory StoreDirectory::openForRepair(const std::string &path) {
    StoreDirectory directory(path, O_RDONLY);
    directory.lock("a jorn is recording into this directory or repairing it; end it first");
    return directory;
}

void StoreDirectory::lock(const char *whenTaken) const {
    if (flock(descriptor(), LOCK_EX | LOCK_NB) < 0) {
        throw errno == EWOULDBLOCK ? Failure(path_ + ": " + whenTaken) : systemFailure(path_, errno);
    }
}

std::string descriptorName(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

std::string dataFileName(int position) { return std::to_string(position) + jorn::kDataFileEnding; }

std::optional<int> dataFilePosition(const std::string &name) {
    const int32_t position = jorn::dataFilePosition(name);
    return position < 0 ? std::nullopt : std::optional<int>(position);
}

}  // namespace tool
