// SPDX-License-Identifier: Apache-2.0
#include "system/replaced_file.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>

#include "system/failure.h"
#include "system/file_replacement.h"

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

}  // namespace

ReplacedFile::ReplacedFile(const std::string &path, Existing existing, TemporaryFile::Naming naming)
    : path_(path), existing_(existing) {
    // A write beyond a file size limit must fail instead of ending the process.
    signal(SIGXFSZ, SIG_IGN);
    findTarget();
    directory_ = Descriptor(open(directoryOf(target_).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory_.isOpen()) {
        throw systemFailure(path_, errno);
    }
    file_.emplace(directory_.get(), path_, naming);
    if (fchmod(file_->descriptor(), mode_) < 0) {
        throw systemFailure(path_, errno);
    }
}

std::string ReplacedFile::temporaryPath() const {
    return directoryOf(target_) + "/" + file_->temporaryName();
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
        refuse(path_ + ": not a regular file; omit --to to write to standard output");
    }
    if (existing_ != Existing::Replaced) {
        refuseExisting();
    }
    target_ = fs::canonical(path_).string();
    mode_ = status.st_mode & kPermissions;
}

void ReplacedFile::refuseExisting() const {
    refuse(path_ + (existing_ == Existing::Kept ? ": already exists; --force replaces it"
                                                : ": already exists; give the name of a new file"));
}

bool ReplacedFile::commit() {
    const std::string name = fs::path(target_).filename().string();
    file_->sync();
    if (!file_->takeFreeName(name)) {
        if (existing_ != Existing::Replaced) {
            refuseExisting();
        }
        file_->replace(name);
    }
    return syncDirectory(directory_.get(), ".");
}

}  // namespace tool
