// SPDX-License-Identifier: Apache-2.0
#include "log/entry.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "system/failure.h"

namespace tool {
namespace {

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
    return entry;
}

}  // namespace

std::string Entry::flaw() const {
    switch (kind) {
        case Kind::Link:
            return "is a link, which the store would write through";
        case Kind::Directory:
            return "is a directory, where the store wants a file";
        case Kind::Other:
            return "is neither a file nor a directory";
        case Kind::Missing:
        case Kind::File:
            break;
    }
    return "";
}

bool operator==(const Entry &a, const Entry &b) { return a.kind == b.kind && a.mark == b.mark; }

FilePresence presenceOf(const DataFileEntries &files) {
    FilePresence presence{};
    std::transform(files.begin(), files.end(), presence.begin(),
                   [](const Entry &entry) { return !(entry.mark == FileMark{}); });
    return presence;
}

Entry lookAtEntry(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    if (fstatat(directory.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) {
        if (errno == ENOENT) {
            return {};
        }
        throw systemFailure(directory.pathOf(name), errno);
    }
    return entryOf(status);
}

Entry lookThroughLinks(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    if (fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0) {
        return entryOf(status);
    }
    Entry entry;
    entry.kind = errno == ELOOP ? Entry::Kind::Link : Entry::Kind::Missing;
    return entry;
}

}  // namespace tool
