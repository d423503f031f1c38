// SPDX-License-Identifier: Apache-2.0
#include "system/temporary.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "system/directory_list.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr char kFilePrefix[] = ".jorn-";
constexpr char kDirectoryPrefix[] = ".jorn-repair-";
constexpr char kCharacters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr size_t kRandomLength = 6;

/// More than other processes can take by chance.
constexpr int kTries = 100;

std::string randomName(const char *prefix) {
    unsigned char bytes[kRandomLength] = {};
    // Without random bytes the name is merely likelier to be taken, which is detected.
    [[maybe_unused]] const ssize_t length = getrandom(bytes, sizeof bytes, 0);
    std::string name = prefix;
    for (const unsigned char byte : bytes) {
        name += kCharacters[byte % (sizeof kCharacters - 1)];
    }
    return name;
}

bool hasForm(const std::string &name, const std::string &prefix) {
    return name.size() == prefix.size() + kRandomLength && name.compare(0, prefix.size(), prefix) == 0 &&
           name.find_first_not_of(kCharacters, prefix.size()) == std::string::npos;
}

bool isStillNamed(int directory, const std::string &name, int file) {
    struct stat named;
    struct stat opened;
    return fstatat(directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && fstat(file, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

/// Whether a file just made under a name is still this process's own: before it was locked, another process
/// may have taken it for a leftover. Where the file system has no locks, nothing is ever taken for one.
bool isOurs(int directory, const std::string &name, int file) {
    const bool isLocked = flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
    return isLocked && isStillNamed(directory, name, file);
}

/// Opens and locks what bears a name if its process has ended, so that no other process claims it. Returns a
/// closed descriptor when it is in use, is not a temporary file or directory, or cannot be opened.
Descriptor claim(int directory, const std::string &name, int lock) {
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor file(openat(directory, name.c_str(), kFlags));
    struct stat status;
    if (!file.isOpen() || fstat(file.get(), &status) < 0) {
        return {};
    }
    const bool isItsKind = isTemporaryDirectoryName(name) ? S_ISDIR(status.st_mode) : S_ISREG(status.st_mode);
    const bool isFree = isItsKind && flock(file.get(), lock | LOCK_NB) == 0;
    return isFree && isStillNamed(directory, name, file.get()) ? std::move(file) : Descriptor();
}

/// Empty where they cannot be read.
std::vector<std::string> namesIn(int directory) {
    return listNames(directory).value_or(std::vector<std::string>());
}

/// Files only: a temporary directory holds nothing else, and only what was made there may be removed.
void removeWithFiles(int parent, const std::string &name, int directory) {
    for (const std::string &file : namesIn(directory)) {
        unlinkat(directory, file.c_str(), 0);
    }
    unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

/// Calls `make` with one name after another until it succeeds, or fails with an error other than EEXIST.
/// Returns the name; empty, with the reason in errno, when none was free.
std::string tryNames(const char *prefix, const std::function<bool(const std::string &)> &make) {
    for (int tries = 0; tries < kTries; ++tries) {
        std::string name = randomName(prefix);
        if (make(name)) {
            return name;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return "";
}

}  // namespace

TemporaryFile::TemporaryFile(int directory, std::string shown, Naming naming)
    : directory_(directory), shown_(std::move(shown)) {
    removeAbandoned(directory_);
    if (naming == Naming::AtOnce || !createNameless()) {
        createNamed();
    }
}

TemporaryFile::~TemporaryFile() {
    if (!name_.empty()) {
        unlinkat(directory_, name_.c_str(), 0);
    }
}

void TemporaryFile::fail(int error) const { throw systemFailure(shown_, error); }

/// False where the file system or the kernel does not support files without a name.
bool TemporaryFile::createNameless() {
    file_ = Descriptor(openat(directory_, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file_.isOpen()) {
        // Nobody else can have it open; the lock is for the temporary name that it may get.
        flock(file_.get(), LOCK_EX | LOCK_NB);
        return true;
    }
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
        fail(errno);
    }
    return false;
}

void TemporaryFile::createNamed() {
    name_ = tryNames(kFilePrefix, [this](const std::string &name) {
        file_ = Descriptor(openat(directory_, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!file_.isOpen() || isOurs(directory_, name, file_.get())) {
            return file_.isOpen();
        }
        unlinkat(directory_, name.c_str(), 0);
        errno = EEXIST;
        return false;
    });
    if (name_.empty()) {
        fail(errno);
    }
}

void TemporaryFile::sync() const {
    if (fsync(file_.get()) < 0) {
        fail(errno);
    }
}

/// The file is already locked, so it is never taken for a leftover.
void TemporaryFile::linkTemporaryName() {
    name_ = tryNames(kFilePrefix, [this](const std::string &name) { return link(name); });
    if (name_.empty()) {
        fail(errno);
    }
}

bool TemporaryFile::link(const std::string &name) const {
    const std::string own = descriptorName(file_.get());
    return linkat(AT_FDCWD, own.c_str(), directory_, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

void TemporaryFile::replace(const std::string &name) {
    if (name_.empty()) {
        linkTemporaryName();
    }
    if (renameat(directory_, name_.c_str(), directory_, name.c_str()) < 0) {
        fail(errno);
    }
    name_.clear();
}

bool TemporaryFile::takeFreeName(const std::string &name) {
    const bool hasIt = name_.empty() ? link(name) : moveToFreeName(name);
    if (!hasIt && errno != EEXIST) {
        fail(errno);
    }
    return hasIt;
}

/// With the reason in errno when it fails.
bool TemporaryFile::moveToFreeName(const std::string &name) {
    const char *const from = name_.c_str();
    const char *const to = name.c_str();
    int result = renameat2(directory_, from, directory_, to, RENAME_NOREPLACE);
    if (result < 0 && (errno == EINVAL || errno == ENOSYS)) {
        result = link(name) ? unlinkat(directory_, from, 0) : -1;
    }
    if (result < 0 && (errno == EPERM || errno == EOPNOTSUPP)) {
        // A file system without RENAME_NOREPLACE or links: a file that is made in between is lost.
        const bool isTaken = faccessat(directory_, to, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
        errno = EEXIST;
        result = isTaken ? -1 : renameat(directory_, from, directory_, to);
    }
    if (result == 0) {
        name_.clear();
    }
    return result == 0;
}

TemporaryDirectory::TemporaryDirectory(int parent, const std::string &shown) : parent_(parent) {
    removeAbandoned(parent_);
    name_ = tryNames(kDirectoryPrefix, [this](const std::string &name) { return create(name); });
    if (name_.empty()) {
        throw systemFailure(shown, errno);
    }
}

void TemporaryDirectory::rename(const std::string &name) {
    if (renameat(parent_, name_.c_str(), parent_, name.c_str()) < 0) {
        throw systemFailure(name, errno);
    }
    name_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    if (!isKept_ && !name_.empty()) {
        removeWithFiles(parent_, name_, directory_.get());
    }
}

bool TemporaryDirectory::create(const std::string &name) {
    if (mkdirat(parent_, name.c_str(), 0700) < 0) {
        return false;
    }
    directory_ = Descriptor(openat(parent_, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (directory_.isOpen() && isOurs(parent_, name, directory_.get())) {
        return true;
    }
    unlinkat(parent_, name.c_str(), AT_REMOVEDIR);
    errno = EEXIST;
    return false;
}

bool isTemporaryName(const std::string &name) {
    return hasForm(name, kFilePrefix) || isTemporaryDirectoryName(name);
}

bool isTemporaryDirectoryName(const std::string &name) { return hasForm(name, kDirectoryPrefix); }

std::vector<std::string> abandonedNames(int directory) {
    std::vector<std::string> names = namesIn(directory);
    const auto isOther = [directory](const std::string &name) {
        return !isTemporaryName(name) || !claim(directory, name, LOCK_SH).isOpen();
    };
    names.erase(std::remove_if(names.begin(), names.end(), isOther), names.end());
    return names;
}

void removeAbandoned(int directory) {
    for (const std::string &name : namesIn(directory)) {
        if (!isTemporaryName(name)) {
            continue;
        }
        const Descriptor claimed = claim(directory, name, LOCK_EX);
        if (claimed.isOpen() && isTemporaryDirectoryName(name)) {
            removeWithFiles(directory, name, claimed.get());
        } else if (claimed.isOpen()) {
            unlinkat(directory, name.c_str(), 0);
        }
    }
}

}  // namespace tool
