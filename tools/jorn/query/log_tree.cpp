// SPDX-License-Identifier: Apache-2.0
#include "query/log_tree.h"

#include <errno.h>

#include <filesystem>

#include "log/entry.h"
#include "query/near_logs.h"
#include "system/directory_list.h"
#include "system/file_mark.h"

namespace tool {

bool LogTree::add(const std::string &path) {
    try {
        return addBelow(StoreDirectory::openForReading(path), kMostTreeLevels);
    } catch (const Failure &failure) {
        trouble_(failure);
        return true;
    }
}

bool LogTree::addBelow(const StoreDirectory &directory, int levelsLeft) {
    const auto names = listNames(directory.descriptor());
    if (!names) {
        throw systemFailure(directory.path(), errno);
    }
    bool hasLog = isLog(directory);
    const FileMark mark = markOf(directory.descriptor());
    if (hasLog && logs_.insert({mark.device, mark.inode}).second) {
        paths_.insert(directory.path());
    }
    for (const std::string &name : *names) {
        if (name.front() != '.' && addNamed(directory, name, levelsLeft)) {
            hasLog = true;
        }
    }
    return hasLog;
}

bool LogTree::addNamed(const StoreDirectory &directory, const std::string &name, int levelsLeft) {
    if (lookAtName(directory, name).itself.kind != Entry::Kind::Directory) {
        return false;
    }
    const std::string path = (std::filesystem::path(directory.path()) / name).string();
    if (levelsLeft == 0) {
        trouble_(Failure(path + ": lies too deep and is left out; name it, or a directory nearer to it"));
        return true;
    }
    try {
        return addBelow(StoreDirectory::openForReading(path), levelsLeft - 1);
    } catch (const Failure &failure) {
        trouble_(failure);
        return true;
    }
}

}  // namespace tool
