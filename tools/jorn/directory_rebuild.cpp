// SPDX-License-Identifier: Apache-2.0
#include "directory_rebuild.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "failure.h"
#include "file_mending.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPermissions = 07777;

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

void syncDirectory(const std::string &path) {
    const Descriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) {
        throw systemFailure(path, errno);
    }
    sync(directory.get(), path);
}

struct stat statusOf(int fd, const std::string &path) {
    struct stat status;
    if (fstat(fd, &status) < 0) {
        throw systemFailure(path, errno);
    }
    return status;
}

/// Owner, permissions and times. Another owner can be given by the superuser only, and the copy is as good
/// without.
void copyAttributes(int to, const struct stat &status, const std::string &path) {
    const int owned = fchown(to, status.st_uid, status.st_gid);
    const timespec times[2] = {status.st_atim, status.st_mtim};
    if ((owned < 0 && errno != EPERM) || fchmod(to, status.st_mode & kPermissions) < 0 ||
        futimens(to, times) < 0) {
        throw systemFailure(path, errno);
    }
}

/// The directory that is being built. Goes away again, with what is in it, unless it was put in place.
class Staging {
public:
    explicit Staging(std::string path) : path_(std::move(path)) {
        if (mkdir(path_.c_str(), 0700) < 0) {
            throw systemFailure(path_, errno);
        }
        directory_ = Descriptor(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        // No recorder gets in between the change of places and the last step.
        if (!directory_.isOpen() || flock(directory_.get(), LOCK_EX | LOCK_NB) < 0) {
            throw systemFailure(path_, errno);
        }
    }

    ~Staging() {
        if (!isPlaced_) {
            std::error_code ignored;
            fs::remove_all(path_, ignored);
        }
    }

    Staging(const Staging &) = delete;
    Staging &operator=(const Staging &) = delete;

    const std::string &path() const { return path_; }
    int descriptor() const { return directory_.get(); }
    void placed() { isPlaced_ = true; }

    Descriptor create(const std::string &name) const {
        Descriptor file(openat(descriptor(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!file.isOpen()) {
            throw systemFailure(path_ + "/" + name, errno);
        }
        return file;
    }

private:
    std::string path_;
    Descriptor directory_;
    bool isPlaced_ = false;
};

class Rebuild {
public:
    Rebuild(const StoreDirectory &directory, const RepairPlan &plan, const RebuildOptions &options)
        : directory_(directory),
          plan_(plan),
          options_(options),
          real_(realPath(directory.path())),
          staging_(stagingPath(options.backup, real_)) {}

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
        syncDirectory(parentOf(staging_.path()));
        options_.afterStep();
        changePlaces();
        for (const int position : plan_.mended) {
            listCutLines(position);
            options_.afterStep();
        }
        syncDirectory(options_.backup);
    }

private:
    static std::string stagingPath(const std::string &backup, const std::string &log) {
        const std::string parent = realPath(parentOf(backup)) + "/";
        if (parent.compare(0, log.size() + 1, log + "/") == 0) {
            throw Failure(backup + ": lies in the log's own directory; give another name with --backup",
                          kExitUsage);
        }
        struct stat status;
        if (lstat(backup.c_str(), &status) == 0) {
            throw Failure(backup + ": exists already; give another name with --backup");
        }
        return backup + ".partial";
    }

    void copyEntry(const std::string &name) const {
        const std::optional<std::string> target = targetOf(name);
        if (!target || name == kIndexName || name == kIndexBackupName) {
            return;
        }
        struct stat status;
        if (fstatat(directory_.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) {
            throw systemFailure(directory_.pathOf(name), errno);
        }
        if (S_ISREG(status.st_mode)) {
            copyFile(name, *target, status);
        } else if (S_ISLNK(status.st_mode)) {
            fs::copy_symlink(fs::path(real_) / name, fs::path(staging_.path()) / *target);
        } else {
            throw Failure(directory_.pathOf(name) + ": is no file; move it elsewhere first");
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

    void copyFile(const std::string &name, const std::string &target, const struct stat &status) const {
        const std::optional<int> position = dataFilePosition(name);
        const Descriptor from = openQuietly(directory_, name);
        const Descriptor to = staging_.create(target);
        try {
            if (position && plan_.mended.count(*position) > 0) {
                copyMended(from.get(), to.get());
            } else {
                copyPlain(from.get(), to.get());
            }
        } catch (const std::system_error &error) {
            throw Failure(directory_.pathOf(name) + ": cannot be copied: " + error.code().message());
        }
        copyAttributes(to.get(), status, staging_.path() + "/" + target);
        sync(to.get(), staging_.path() + "/" + target);
    }

    void writeIndex() const {
        const std::string path = staging_.path() + "/" + kIndexName;
        const Descriptor file = staging_.create(kIndexName);
        const std::string &text = plan_.indexText;
        if (write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw systemFailure(path, errno);
        }
        if (fchmod(file.get(), 0644) < 0) {
            throw systemFailure(path, errno);
        }
        sync(file.get(), path);
    }

    /// Nothing takes the place of the log that does not hold every item of it, in view and in order.
    void verify(const Diagnosis &before) const {
        const StoreDirectory built = StoreDirectory::openForReading(staging_.path());
        const Diagnosis after = diagnose(built, {before.facts.ringSize, std::nullopt});
        const bool isSame = after.order.source == RingOrder::Source::Index ||
                            before.order.source == RingOrder::Source::Cleared;
        if (!isSame || after.items() != before.items() || !countFindings(findingsOf(after)).isSound()) {
            throw Failure(directory_.path() + ": the repaired copy is not sound, so nothing was changed");
        }
    }

    /// Where two names cannot change places at one stroke, the log is without a name for a moment.
    void changePlaces() {
        if (renameat2(AT_FDCWD, staging_.path().c_str(), AT_FDCWD, real_.c_str(), RENAME_EXCHANGE) == 0) {
            staging_.placed();
            options_.afterStep();
            rename(staging_.path(), options_.backup);
        } else if (errno == EINVAL || errno == ENOSYS) {
            rename(real_, options_.backup);
            staging_.placed();
            options_.afterStep();
            rename(staging_.path(), real_);
        } else if (errno == EXDEV) {
            throw Failure(options_.backup + ": lies on another file system than " + directory_.path() +
                          "; give a name on the same one with --backup");
        } else {
            throw systemFailure(real_ + " cannot change places with " + staging_.path(), errno);
        }
        syncDirectory(parentOf(options_.backup));
        syncDirectory(parentOf(real_));
        options_.afterStep();
    }

    static void rename(const std::string &from, const std::string &to) {
        if (::rename(from.c_str(), to.c_str()) < 0) {
            throw systemFailure(from + " to " + to, errno);
        }
    }

    /// The descriptor of the directory as it was is that of the backup now.
    void listCutLines(int position) const {
        const std::string name = "torn-" + std::to_string(position) + ".txt";
        const std::string path = options_.backup + "/" + name;
        const Descriptor from = openQuietly(directory_, dataFileName(position));
        const Descriptor to(
            openat(directory_.descriptor(), name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (!to.isOpen()) {
            throw systemFailure(path, errno);
        }
        listCut(from.get(), to.get());
        sync(to.get(), path);
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
        throw Failure("the time cannot be told; give --backup");
    }
    return realPath(directory) + text;
}

void rebuildDirectory(const StoreDirectory &directory, const Diagnosis &diagnosis, const RepairPlan &plan,
                      const RebuildOptions &options) {
    Rebuild(directory, plan, options).run(diagnosis);
}

}  // namespace tool
