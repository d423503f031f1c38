// SPDX-License-Identifier: Apache-2.0
#include "system/replaced_file.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "system/failure.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPermissions = 0777;

mode_t permissionsOfNewFile() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

std::string directoryOf(const std::string &path) { return fs::path(path).parent_path().string(); }

Failure existsFailure(const std::string &path) {
    return Failure(path + ": there is such a file already; --force replaces it", kExitUsage);
}

void syncDirectory(const std::string &path) {
    const Descriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen()) {
        // Not every file system can; the content is on the medium already.
        [[maybe_unused]] const int result = fsync(directory.get());
    }
}

}  // namespace

ReplacedFile::ReplacedFile(const std::string &path, bool mayReplace) : path_(path), mayReplace_(mayReplace) {
    // A limit of file sizes is met where it is written.
    signal(SIGXFSZ, SIG_IGN);
    findTarget();
    create();
}

ReplacedFile::~ReplacedFile() {
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
}

void ReplacedFile::findTarget() {
    struct stat status;
    if (stat(path_.c_str(), &status) < 0) {
        if (errno != ENOENT) {
            throw systemFailure(path_, errno);
        }
        target_ = fs::absolute(path_).string();
        mode_ = permissionsOfNewFile();
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        refuse(path_ + ": not a regular file; leave --to out to write to standard output");
    }
    if (!mayReplace_) {
        throw existsFailure(path_);
    }
    target_ = fs::canonical(path_).string();
    mode_ = status.st_mode & kPermissions;
}

void ReplacedFile::create() {
    std::string name = directoryOf(target_) + "/.jorn-XXXXXX";
    file_ = Descriptor(mkostemp(name.data(), O_CLOEXEC));
    if (!file_.isOpen()) {
        throw systemFailure(path_, errno);
    }
    temporary_ = name;
    if (fchmod(file_.get(), mode_) < 0) {
        throw systemFailure(path_, errno);
    }
}

void ReplacedFile::commit() {
    if (fsync(file_.get()) < 0) {
        throw systemFailure(path_, errno);
    }
    giveName();
    temporary_.clear();
    syncDirectory(directoryOf(target_));
}

void ReplacedFile::giveName() {
    const unsigned flags = mayReplace_ ? 0 : RENAME_NOREPLACE;
    int result = renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, target_.c_str(), flags);
    if (result < 0 && (errno == EINVAL || errno == ENOSYS)) {
        // A file system that cannot refuse by itself.
        if (!mayReplace_ && access(target_.c_str(), F_OK) == 0) {
            throw existsFailure(path_);
        }
        result = rename(temporary_.c_str(), target_.c_str());
    }
    if (result < 0) {
        throw errno == EEXIST ? existsFailure(path_) : systemFailure(path_, errno);
    }
}

}  // namespace tool
