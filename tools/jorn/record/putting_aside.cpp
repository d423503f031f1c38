// SPDX-License-Identifier: Apache-2.0
#include "record/putting_aside.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "health/index_mending.h"
#include "log/aside.h"
#include "log/directory_look.h"
#include "module_limits.h"
#include "system/directory_list.h"
#include "system/failure.h"
#include "system/file_replacement.h"

namespace tool {
namespace {

bool isTaken(const StoreDirectory &directory, const std::string &name) {
    return faccessat(directory.descriptor(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Makes a directory with the owner and permissions of the log's own. Returns false when the name is taken.
bool makeLike(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    if (fstat(directory.descriptor(), &status) < 0) {
        throw systemFailure(directory.path(), errno);
    }
    if (mkdirat(directory.descriptor(), name.c_str(), 0700) < 0) {
        if (errno == EEXIST) {
            return false;
        }
        throw systemFailure(directory.pathOf(name), errno);
    }
    const Descriptor made(
        openat(directory.descriptor(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!made.isOpen()) {
        throw systemFailure(directory.pathOf(name), errno);
    }
    giveAccess(made.get(), {status.st_uid, status.st_gid, status.st_mode & 0777}, directory.pathOf(name));
    return true;
}

/// Returns the name of the directory that is to be filled.
std::string begin(const StoreDirectory &directory, time_t now) {
    for (int number = 1;; ++number) {
        const std::string name = asideName(now, number);
        std::string unfinished = unfinishedAsideName(name);
        if (!isTaken(directory, name) && makeLike(directory, unfinished)) {
            syncNames(directory.descriptor());
            return unfinished;
        }
    }
}

/// Ordered so that no cut leaves the rest with an index that the store would use: the backup goes first, as
/// it may be whole where the index is not.
std::vector<std::string> namesOfRing() {
    std::vector<std::string> names = {kIndexBackupName, kIndexName};
    for (int position = 0; position < jorn::kCsvNumMax; ++position) {
        names.push_back(dataFileName(position));
    }
    return names;
}

/// Moves a file to another directory and never overwrites one there. Returns 0 or an error number; EEXIST
/// where the name is taken.
int moveFile(int from, const std::string &name, int to) {
    int result = renameat2(from, name.c_str(), to, name.c_str(), RENAME_NOREPLACE);
    if (result < 0 && (errno == EINVAL || errno == ENOSYS)) {
        // The file system does not support RENAME_NOREPLACE.
        const bool isThere = faccessat(to, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
        errno = EEXIST;
        result = isThere ? -1 : renameat(from, name.c_str(), to, name.c_str());
    }
    return result < 0 ? errno : 0;
}

Descriptor openAside(const StoreDirectory &directory, const std::string &name) {
    Descriptor aside(
        openat(directory.descriptor(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!aside.isOpen()) {
        throw systemFailure(directory.pathOf(name), errno);
    }
    return aside;
}

void moveRing(const StoreDirectory &directory, const std::string &unfinished) {
    const Descriptor target = openAside(directory, unfinished);
    for (const std::string &name : namesOfRing()) {
        if (!lookAtEntry(directory, name).isPresent()) {
            continue;
        }
        // A file of that name in the target was put aside before: fail rather than overwrite it.
        if (const int error = moveFile(directory.descriptor(), name, target.get())) {
            throw systemFailure(directory.pathOf(unfinished) + "/" + name, error);
        }
    }
    syncNames(target.get());
    syncNames(directory.descriptor());
}

/// Undoes a move that a cut ended before it reached the index, so that at most the backup has moved. Returns
/// false where more has moved, or something else is in the way.
bool takeBack(const StoreDirectory &directory, const std::string &unfinished) {
    const Descriptor aside = openAside(directory, unfinished);
    const auto names = listNames(aside.get());
    if (!names) {
        throw systemFailure(directory.pathOf(unfinished), errno);
    }
    const bool isBackup = *names == std::vector<std::string>{kIndexBackupName};
    if (!names->empty() && !isBackup) {
        return false;
    }
    if (isBackup && moveFile(aside.get(), kIndexBackupName, directory.descriptor()) != 0) {
        return false;
    }
    syncNames(directory.descriptor());
    if (unlinkat(directory.descriptor(), unfinished.c_str(), AT_REMOVEDIR) < 0) {
        throw systemFailure(directory.pathOf(unfinished), errno);
    }
    return true;
}

/// Returns the directory's final name.
std::string finish(const StoreDirectory &directory, const std::string &unfinished) {
    const std::string first = finishedAsideName(unfinished);
    std::string name = first;
    for (int number = 2; isTaken(directory, name); ++number) {
        name = first + "-" + std::to_string(number);
    }
    const int fd = directory.descriptor();
    if (renameat(fd, unfinished.c_str(), fd, name.c_str()) < 0) {
        throw systemFailure(directory.pathOf(unfinished), errno);
    }
    syncNames(fd);
    return name;
}

}  // namespace

std::string putAside(const StoreDirectory &directory, time_t now) {
    const std::string unfinished = begin(directory, now);
    moveRing(directory, unfinished);
    return finish(directory, unfinished);
}

std::optional<std::string> finishPuttingAside(const StoreDirectory &directory) {
    std::optional<std::string> finished;
    for (const std::string &name : namesIn(directory)) {
        if (!isUnfinishedAsideName(name) || lookAtEntry(directory, name).kind != Entry::Kind::Directory) {
            continue;
        }
        if (takeBack(directory, name)) {
            continue;
        }
        if (isIndexLost(directory)) {
            moveRing(directory, name);
        }
        finished = finish(directory, name);
    }
    return finished;
}

}  // namespace tool
