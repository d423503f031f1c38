// SPDX-License-Identifier: Apache-2.0
#include "record/log_mode.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <charconv>

#include "health/ring_memory.h"
#include "module_limits.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr mode_t kAllBits = 07777;
constexpr mode_t kPermissions = 0777;
constexpr mode_t kFilePermissions = 0666;
constexpr mode_t kOwnersRights = 0700;

/// Leaves the other bits of the mode as they are.
void changeMode(int fd, mode_t permissions, const std::string &shown) {
    struct stat status;
    if (fstat(fd, &status) < 0) {
        throw systemFailure(shown, errno);
    }
    const mode_t former = status.st_mode & kAllBits;
    const mode_t mode = (former & ~kPermissions) | permissions;
    // By name, since fchmod() fails on a descriptor opened with O_PATH.
    if (mode != former && chmod(descriptorName(fd).c_str(), mode) < 0) {
        throw systemFailure(shown + ": its mode cannot be changed", errno);
    }
}

void changeFileMode(const StoreDirectory &directory, const std::string &name, mode_t mode) {
    const Descriptor file(openat(directory.descriptor(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status;
    if (file.isOpen() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)) {
        changeMode(file.get(), mode & kFilePermissions, directory.pathOf(name));
    }
}

}  // namespace

mode_t parseLogMode(const std::string &text) {
    const bool isOctal = text.find_first_not_of("01234567") == std::string::npos;
    const bool isThreeDigits = text.size() == 3 || (text.size() == 4 && text.front() == '0');
    unsigned mode = 0;
    std::from_chars(text.data(), text.data() + text.size(), mode, 8);
    if (!isOctal || !isThreeDigits || (mode & kOwnersRights) != kOwnersRights) {
        refuse("--mode: '" + text + "' is not an octal mode from 0700 to 0777");
    }
    return mode;
}

void applyLogMode(const StoreDirectory &directory, mode_t mode) {
    umask(kPermissions & ~mode);
    changeMode(directory.descriptor(), mode, directory.path());
    for (int position = 0; position < jorn::kCsvNumMax; ++position) {
        changeFileMode(directory, dataFileName(position), mode);
    }
    changeFileMode(directory, kIndexName, mode);
    changeFileMode(directory, kIndexBackupName, mode);
    changeFileMode(directory, kRingMemoryName, mode);
}

}  // namespace tool
