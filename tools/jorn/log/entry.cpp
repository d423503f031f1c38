// SPDX-License-Identifier: Apache-2.0
#include "log/entry.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "system/failure.h"

namespace tool {
namespace {

constexpr uint64_t kBlock = 512;  ///< Unit of st_blocks, whatever the file system's own.

Entry::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return Entry::Kind::File;
    }
    if (S_ISLNK(mode)) {
        return Entry::Kind::Link;
    }
    return S_ISDIR(mode) ? Entry::Kind::Directory : Entry::Kind::Other;
}

Entry entryOf(const struct stat &status) {
    Entry entry;
    entry.kind = kindOf(status.st_mode);
    entry.mark = markOf(status);
    entry.names = status.st_nlink;
    entry.allocated = static_cast<uint64_t>(status.st_blocks) * kBlock;
    return entry;
}

Entry missingFor(int error) {
    Entry entry;
    entry.error = error == ENOENT ? 0 : error;
    return entry;
}

Entry targetOf(const StoreDirectory &directory, const std::string &link) {
    struct stat status;
    if (fstatat(directory.descriptor(), link.c_str(), &status, 0) == 0) {
        return entryOf(status);
    }
    Entry entry = missingFor(errno);
    entry.kind = errno == ELOOP ? Entry::Kind::Link : Entry::Kind::Missing;
    return entry;
}

}  // namespace

std::string Entry::flaw() const {
    switch (kind) {
        case Kind::Link:
            return "is a link, which the store would write through";
        case Kind::Directory:
            return "is a directory, where the store needs a file";
        case Kind::Other:
            return "is neither a file nor a directory";
        case Kind::Missing:
        case Kind::File:
            break;
    }
    return "";
}

bool operator==(const Entry &a, const Entry &b) { return a.kind == b.kind && a.mark == b.mark; }

FilePresence presenceOf(const DataFileEntries &files, Sight sight) {
    FilePresence presence{};
    std::transform(files.begin(), files.end(), presence.begin(),
                   [sight](const NamedEntry &file) { return !((file.*sight).mark == FileMark{}); });
    return presence;
}

NamedEntry lookAtName(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    if (fstatat(directory.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) {
        const Entry missing = missingFor(errno);
        return {missing, missing};
    }
    const Entry itself = entryOf(status);
    return {itself, itself.kind == Entry::Kind::Link ? targetOf(directory, name) : itself};
}

Entry lookAtEntry(const StoreDirectory &directory, const std::string &name) {
    Entry entry = lookAtName(directory, name).itself;
    if (entry.error != 0) {
        throw systemFailure(directory.pathOf(name), entry.error);
    }
    return entry;
}

Entry lookAtOpened(const Descriptor &file) {
    struct stat status;
    return fstat(file.get(), &status) == 0 ? entryOf(status) : Entry{};
}

}  // namespace tool
