// SPDX-License-Identifier: Apache-2.0
// The logs in a tree of directories.
#ifndef JORN_TOOLS_LOG_TREE_H
#define JORN_TOOLS_LOG_TREE_H

#include <sys/types.h>

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "log/store_directory.h"
#include "system/failure.h"

namespace tool {

/// How many levels of directories below the first one are looked at.
inline constexpr int kMostTreeLevels = 16;

class LogTree {
public:
    /// Called with what keeps a directory from being looked at.
    using Trouble = std::function<void(const Failure &)>;

    explicit LogTree(Trouble trouble) : trouble_(std::move(trouble)) {}

    /// Adds the logs in a directory and below it, itself included, unless they are known already by another
    /// path. Below the directory it follows no link, and passes over directories whose names begin with a
    /// dot. Returns whether there was any, known or not.
    bool add(const std::string &path);

    /// Their paths, each beginning with one that was given, sorted.
    const std::set<std::string> &paths() const { return paths_; }

private:
    bool addBelow(const StoreDirectory &directory, int levelsLeft);
    bool addNamed(const StoreDirectory &directory, const std::string &name, int levelsLeft);

    const Trouble trouble_;
    std::set<std::pair<dev_t, ino_t>> logs_;
    std::set<std::string> paths_;
};

}  // namespace tool

#endif
