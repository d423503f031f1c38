// SPDX-License-Identifier: Apache-2.0
#include "repair/directory_rebuild.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "log/aside.h"
#include "log/directory_look.h"
#include "log/regular_file.h"
#include "repair/file_mending.h"
#include "system/failure.h"
#include "system/file_access.h"
#include "system/file_replacement.h"
#include "system/temporary.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

std::string realPath(const std::string &path) {
    const std::unique_ptr<char, decltype(&free)> resolved(realpath(path.c_str(), nullptr), &free);
    if (!resolved) {
        throw systemFailure(path, errno);
    }
    return resolved.get();
}

std::string parentOf(const std::string &path) {
    const std::string parent = fs::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

void sync(int fd, const std::string &path) {
    if (fsync(fd) < 0) {
        throw systemFailure(path, errno);
    }
}

void syncNamesIn(const std::string &path) {
    if (!syncDirectory(AT_FDCWD, path)) {
        throw systemFailure(path, errno);
    }
}

struct stat statusOf(int fd, const std::string &path) {
    struct stat status;
    if (fstat(fd, &status) < 0) {
        throw systemFailure(path, errno);
    }
    return status;
}

/// Owner, permissions and times.
void copyAttributes(int to, const struct stat &status, const std::string &path) {
    giveAccess(to, accessOf(status), path);
    const timespec times[2] = {status.st_atim, status.st_mtim};
    if (futimens(to, times) < 0) {
        throw systemFailure(path, errno);
    }
}

/// The directory that is being built, next to the future backup. It is removed again, with its files, unless
/// it is put in place, and no recorder can use it before the last step.
class Staging {
public:
    explicit Staging(const std::string &backup)
        : parentPath_(parentOf(backup)),
          parent_(open(parentPath_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
          directory_(parent_.get(), backup) {}

    std::string path() const { return parentPath_ + "/" + directory_.name(); }
    int descriptor() const { return directory_.descriptor(); }

    Descriptor create(const std::string &name) const {
        Descriptor file(openat(descriptor(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!file.isOpen()) {
            throw systemFailure(path() + "/" + name, errno);
        }
        return file;
    }

    /// Before it changes places with the log: under this name, neither it nor the former log is taken for a
    /// leftover.
    void complete(const std::string &name) { directory_.rename(name); }

    void placed() { directory_.keep(); }

private:
    std::string parentPath_;
    Descriptor parent_;
    TemporaryDirectory directory_;
};

class Rebuild {
public:
    Rebuild(const StoreDirectory &directory, const RepairPlan &plan, const RebuildOptions &options)
        : directory_(directory),
          plan_(plan),
          options_(options),
          real_(realPath(directory.path())),
          staging_(checkedBackup(options.backup, real_)) {}

    void run(const Diagnosis &before) {
        options_.afterStep();
        for (const std::string &name : namesIn(directory_)) {
            copyEntry(name);
            options_.afterStep();
        }
        if (!plan_.indexText.empty()) {
            writeIndex();
        }
        sync(staging_.descriptor(), staging_.path());
        verify(before);
        copyAttributes(staging_.descriptor(), statusOf(directory_.descriptor(), real_), staging_.path());
        staging_.complete(partialName(options_.backup));
        syncNamesIn(parentOf(options_.backup));
        options_.afterStep();
        changePlaces();
        carryAsides();
        for (const int position : plan_.mended) {
            listCutLines(position);
            options_.afterStep();
        }
        syncNamesIn(options_.backup);
    }

private:
    static std::string partialName(const std::string &backup) {
        return fs::path(backup).filename().string() + ".partial";
    }

    /// Throws Failure when the backup cannot be there.
    static const std::string &checkedBackup(const std::string &backup, const std::string &log) {
        const std::string parent = realPath(parentOf(backup)) + "/";
        if (parent.compare(0, log.size() + 1, log + "/") == 0) {
            throw Failure(backup + ": is inside the log's own directory; give another name with --backup",
                          kExitUsage);
        }
        for (const std::string &path : {backup, parent + partialName(backup)}) {
            struct stat status;
            if (lstat(path.c_str(), &status) == 0) {
                throw Failure(path + ": already exists; give another name with --backup");
            }
        }
        return backup;
    }

    void copyEntry(const std::string &name) const {
        const std::optional<std::string> target = targetOf(name);
        if (!target || name == kIndexName || name == kIndexBackupName || isTemporaryName(name) ||
            isAside(name)) {
            return;
        }
        // Only what was opened is looked at, whatever bears the name by now.
        const Descriptor from = openQuiet(directory_, name, O_NOFOLLOW);
        const mode_t mode = from.isOpen() ? statusOf(from.get(), directory_.pathOf(name)).st_mode : 0;
        if (S_ISREG(mode)) {
            copyFile(name, *target, from.get());
        } else if (S_ISDIR(mode) && isAsideName(name)) {
            return;
        } else if (!from.isOpen() && errno == ELOOP && !dataFilePosition(name)) {
            copyLink(name);
        } else if (from.isOpen() || errno == ELOOP || errno == ENXIO) {
            throw Failure(directory_.pathOf(name) + ": not a regular file; move it elsewhere first");
        } else {
            throw systemFailure(directory_.pathOf(name), errno);
        }
    }

    void copyLink(const std::string &name) const {
        std::string target(PATH_MAX, '\0');
        const ssize_t length =
            readlinkat(directory_.descriptor(), name.c_str(), target.data(), target.size() - 1);
        if (length < 0 || symlinkat(target.c_str(), staging_.descriptor(), name.c_str()) < 0) {
            throw systemFailure(directory_.pathOf(name), errno);
        }
    }

    bool isAside(const std::string &name) const {
        return isAsideName(name) && lookAtEntry(directory_, name).kind == Entry::Kind::Directory;
    }

    /// Rings that were put aside stay in the log's directory. If this is cut short, some are left in the
    /// backup.
    void carryAsides() const {
        for (const std::string &name : namesIn(directory_)) {
            if (isAside(name) &&
                renameat(directory_.descriptor(), name.c_str(), staging_.descriptor(), name.c_str()) < 0) {
                throw systemFailure(options_.backup + "/" + name, errno);
            }
        }
    }

    /// The name that a file gets; nothing when it is left out.
    std::optional<std::string> targetOf(const std::string &name) const {
        const std::optional<int> position = dataFilePosition(name);
        if (!position) {
            return name;
        }
        const std::optional<int> target = plan_.placement.targetOf(*position);
        return target ? std::make_optional(dataFileName(*target)) : std::nullopt;
    }

    void copyFile(const std::string &name, const std::string &target, int from) const {
        const std::optional<int> position = dataFilePosition(name);
        const Descriptor to = staging_.create(target);
        try {
            if (position && plan_.mended.count(*position) > 0) {
                copyMended(from, to.get());
            } else {
                copyPlain(from, to.get());
            }
        } catch (const std::system_error &error) {
            throw Failure(directory_.pathOf(name) + ": cannot be copied: " + error.code().message());
        }
        copyAttributes(to.get(), statusOf(from, directory_.pathOf(name)), staging_.path() + "/" + target);
        sync(to.get(), staging_.path() + "/" + target);
    }

    void writeIndex() const {
        const std::string path = staging_.path() + "/" + kIndexName;
        const Descriptor file = staging_.create(kIndexName);
        writeWhole(file.get(), plan_.indexText, path);
        giveAccess(file.get(), accessFor(directory_.descriptor(), kIndexName, directory_.pathOf(kIndexName)),
                   path);
        sync(file.get(), path);
    }

    /// Nothing replaces the log unless it holds every item of it, in view and in order.
    void verify(const Diagnosis &before) const {
        const StoreDirectory built = StoreDirectory::openForReading(staging_.path());
        const Diagnosis after = diagnose(built, {before.facts.ringSize, std::nullopt});
        const bool isCleared =
            before.order.source == RingOrder::Source::Cleared ||
            (after.order.source == RingOrder::Source::Cleared && !before.order.cleared.empty());
        const bool isSame = after.order.source == RingOrder::Source::Index || isCleared;
        if (!isSame || after.items() != before.items() || !countFindings(findingsOf(after)).isSound()) {
            throw Failure(directory_.path() + ": the repaired copy is not sound, so nothing was changed");
        }
    }

    /// Where two names cannot be exchanged in one step, the log is without a name for a moment.
    void changePlaces() {
        const std::string staging = staging_.path();
        if (renameat2(AT_FDCWD, staging.c_str(), AT_FDCWD, real_.c_str(), RENAME_EXCHANGE) == 0) {
            staging_.placed();
            options_.afterStep();
            rename(staging, options_.backup);
        } else if (errno == EINVAL || errno == ENOSYS) {
            rename(real_, options_.backup);
            staging_.placed();
            options_.afterStep();
            rename(staging, real_);
        } else if (errno == EXDEV) {
            throw Failure(options_.backup + ": is on another file system than " + directory_.path() +
                          "; give a name on the same one with --backup");
        } else {
            throw systemFailure(real_ + ": cannot be exchanged with " + staging, errno);
        }
        syncNamesIn(parentOf(options_.backup));
        syncNamesIn(parentOf(real_));
        options_.afterStep();
    }

    static void rename(const std::string &from, const std::string &to) {
        if (::rename(from.c_str(), to.c_str()) < 0) {
            throw systemFailure(from + ": cannot be renamed to " + to, errno);
        }
    }

    /// The descriptor of the directory as it was is now that of the backup. Lists of earlier repairs stay.
    void listCutLines(int position) const {
        const std::string stem = "torn-" + std::to_string(position);
        std::string name = stem + ".txt";
        const std::string path = options_.backup + "/" + name;
        const Descriptor from = openQuietly(directory_, dataFileName(position));
        TemporaryFile list(directory_.descriptor(), path);
        listCut(from.get(), list.descriptor());
        giveAccess(list.descriptor(), accessFor(directory_.descriptor(), dataFileName(position), path), path);
        list.sync();
        for (int number = 2; !list.takeFreeName(name); ++number) {
            name = stem + "-" + std::to_string(number) + ".txt";
        }
    }

    const StoreDirectory &directory_;
    const RepairPlan &plan_;
    const RebuildOptions &options_;
    const std::string real_;
    Staging staging_;
};

}  // namespace

std::string defaultBackupPath(const std::string &directory) {
    const time_t now = time(nullptr);
    tm utc = {};
    char text[sizeof ".bak-20261121T101500Z"];
    if (gmtime_r(&now, &utc) == nullptr || strftime(text, sizeof text, ".bak-%Y%m%dT%H%M%SZ", &utc) == 0) {
        throw Failure("the current time cannot be determined; give --backup");
    }
    return realPath(directory) + text;
}

void rebuildDirectory(const StoreDirectory &directory, const Diagnosis &diagnosis, const RepairPlan &plan,
                      const RebuildOptions &options) {
    Rebuild(directory, plan, options).run(diagnosis);
}

}  // namespace tool
