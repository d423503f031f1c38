// SPDX-License-Identifier: Apache-2.0
#include "system/file_access.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "system/failure.h"

namespace tool {
namespace {

constexpr mode_t kAllBits = 07777;
constexpr mode_t kPermissions = 0777;
constexpr mode_t kPermissionsOfFile = 0666;
constexpr auto kSameOwner = static_cast<uid_t>(-1);

/// An owner that this user may not set, or that a user namespace does not know.
bool isRefused(int error) { return error == EPERM || error == EINVAL; }

/// False with the reason in errno.
bool giveOwner(int file, const FileAccess &access) {
    if (fchown(file, access.owner, access.group) == 0) {
        return true;
    }
    return isRefused(errno) && (fchown(file, kSameOwner, access.group) == 0 || isRefused(errno));
}

FileAccess ownedAs(const struct stat &status, mode_t mode) {
    FileAccess access;
    access.owner = status.st_uid;
    access.group = status.st_gid;
    access.mode = mode;
    return access;
}

}  // namespace

FileAccess accessOf(const struct stat &status) {
    return ownedAs(status, status.st_mode & (S_ISDIR(status.st_mode) ? kAllBits : kPermissions));
}

FileAccess accessFor(int directory, const std::string &name, const std::string &shown) {
    struct stat status;
    if (fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode)) {
        return accessOf(status);
    }
    if (fstat(directory, &status) < 0) {
        throw systemFailure(shown, errno);
    }
    return ownedAs(status, status.st_mode & kPermissionsOfFile);
}

void giveAccess(int file, const FileAccess &access, const std::string &shown) {
    // The owner first: changing it clears mode bits.
    if (!giveOwner(file, access) || fchmod(file, access.mode) < 0) {
        throw systemFailure(shown, errno);
    }
}

}  // namespace tool
