// SPDX-License-Identifier: Apache-2.0
#include "record/medium_sync.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "log/regular_file.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr char kFault[] = ": cannot be synced to the medium";

}  // namespace

void MediumSync::syncStart(int position) const {
    if (!isWanted_) {
        return;
    }
    syncFile(dataFileName(position));
    syncFile(kIndexName);
    syncDirectory(".");
    // The directory may be new, and so may its name.
    syncDirectory("..");
}

void MediumSync::syncItems(int position) const {
    if (isWanted_) {
        syncFile(dataFileName(position));
    }
}

void MediumSync::syncRotation(int former) const {
    if (!isWanted_) {
        return;
    }
    syncFile(dataFileName(former));
    syncFile(kIndexName);
    syncDirectory(".");
}

void MediumSync::syncFile(const std::string &name) const {
    const Descriptor file = openQuiet(directory_, name, O_NOFOLLOW);
    if (!file.isOpen() || fsync(file.get()) < 0) {
        throw systemFailure(directory_.pathOf(name) + kFault, errno);
    }
}

/// Syncs the whole file system instead where the directory may not be read, or where the file system cannot
/// sync a single directory.
void MediumSync::syncDirectory(const char *name) const {
    const Descriptor opened(openat(directory_.descriptor(), name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.isOpen() && fsync(opened.get()) == 0) {
        return;
    }
    const bool isRefused = !opened.isOpen() || errno == EINVAL || errno == EOPNOTSUPP;
    if (!isRefused || syncfs(directory_.descriptor()) < 0) {
        throw systemFailure(directory_.path() + kFault, errno);
    }
}

}  // namespace tool
