// SPDX-License-Identifier: Apache-2.0
// A directory as a power cut may leave it: what a traced program did to it is replayed in memory, where only
// what was synced is on the medium.
#ifndef JORN_TESTS_SYSTEM_REPLAYED_MEDIUM_H
#define JORN_TESTS_SYSTEM_REPLAYED_MEDIUM_H

#include <map>
#include <memory>
#include <string>

#include "trace/system_call.h"

namespace test {

/// When changes of names reach the medium. Contents are there only once their file has been synced.
enum class Names {
    WhenSynced,  ///< Once their directory has been synced: as little as the calls promise.
    AtOnce  ///< With the call, before the contents: what a file system may do that keeps a journal of names.
};

class ReplayedMedium {
public:
    /// What is below `root` is on the medium as it is.
    ReplayedMedium(std::string root, Names names);

    /// Applies a call that has returned.
    void apply(const SystemCall &call);

    /// Makes directories and files below `target` as a cut would leave them now.
    void writeTo(const std::string &target) const;

    /// Grows with each change of what a cut would leave.
    int version() const { return version_; }

private:
    struct Node {
        bool isDirectory = false;
        std::string content;
        std::string contentOnMedium;
        std::map<std::string, std::shared_ptr<Node>> entries;
        std::map<std::string, std::shared_ptr<Node>> entriesOnMedium;
    };
    using NodePointer = std::shared_ptr<Node>;

    static NodePointer load(const std::string &path);
    static void write(const Node &directory, const std::string &target);
    bool isBelow(const std::string &path) const;
    NodePointer find(const std::string &path) const;
    NodePointer parentOf(const std::string &path) const;
    NodePointer opened(int fd) const;
    void open(const SystemCall &call);
    void create(const std::string &path, bool isDirectory);
    void move(const std::string &from, const std::string &to);
    void remove(const std::string &path);
    void link(const SystemCall &call);
    void overwrite(const SystemCall &call);
    void sync(Node *node);
    void changed(Node *directory);

    const std::string root_;
    const Names names_;
    NodePointer top_;
    std::map<int, NodePointer> open_;
    NodePointer nameless_;  ///< The last file that was made without a name.
    int version_ = 0;
};

}  // namespace test

#endif
