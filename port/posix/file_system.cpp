// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <limits.h>
#include <posixPort.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>
#include <usrFsLib.h>
#include <yaffsfs.h>

#include <array>

namespace {

constexpr mode_t kDirectoryMode = 0750;

/// A path below the mount point of the file system.
class MountedPath {
public:
    explicit MountedPath(const char *path)
        : length_(snprintf(text_.data(), text_.size(), "/yaffs%s", path)) {}

    const char *get() const { return text_.data(); }
    bool fits() const { return length_ >= 0 && static_cast<size_t>(length_) < text_.size(); }

    bool exists() const {
        struct stat entry;
        return fits() && lstat(get(), &entry) == 0;
    }

private:
    std::array<char, PATH_MAX> text_;
    int length_;
};

int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {

STATUS rm(const char *fileName) {
    if (fileName == nullptr) {
        return fail(EINVAL);
    }
    return unlink(fileName) == 0 ? OK : ERROR;
}

int yaffs_rename(const char *oldPath, const char *newPath) {
    if (oldPath == nullptr || newPath == nullptr) {
        return fail(EINVAL);
    }
    const int errorBefore = errno;
    const MountedPath mountedOld(oldPath);
    if (!mountedOld.exists()) {
        errno = errorBefore;  // a miss below the mount point is no error of this call
        return rename(oldPath, newPath);
    }
    const MountedPath mountedNew(newPath);
    return mountedNew.fits() ? rename(mountedOld.get(), mountedNew.get()) : fail(ENAMETOOLONG);
}

int jorn_MakeDirectory(const char *name) {
    return name != nullptr ? mkdir(name, kDirectoryMode) : fail(EINVAL);
}

}  // extern "C"
