// SPDX-License-Identifier: Apache-2.0
#include "replayed_medium.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace test {
namespace {

namespace fs = std::filesystem;

uint64_t flagsOf(const SystemCall &call) {
    return call.is("creat") ? O_CREAT | O_TRUNC | O_WRONLY : call.arguments[call.is("openat") ? 2 : 1];
}

std::string trimmed(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

}  // namespace

ReplayedMedium::ReplayedMedium(std::string root, Names names)
    : root_(std::move(root)), names_(names), top_(load(root_)) {}

ReplayedMedium::NodePointer ReplayedMedium::load(const std::string &path) {
    auto node = std::make_shared<Node>();
    node->isDirectory = fs::is_directory(path);
    if (node->isDirectory) {
        for (const auto &entry : fs::directory_iterator(path)) {
            node->entries[entry.path().filename()] = load(entry.path());
        }
        node->entriesOnMedium = node->entries;
    } else {
        std::ifstream file(path, std::ios::binary);
        node->content = {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        node->contentOnMedium = node->content;
    }
    return node;
}

void ReplayedMedium::writeTo(const std::string &target) const { write(*top_, target); }

void ReplayedMedium::write(const Node &directory, const std::string &target) {
    fs::create_directories(target);
    for (const auto &[name, node] : directory.entriesOnMedium) {
        if (node->isDirectory) {
            write(*node, target + "/" + name);
        } else {
            std::ofstream(target + "/" + name, std::ios::binary) << node->contentOnMedium;
        }
    }
}

bool ReplayedMedium::isBelow(const std::string &path) const {
    return path == root_ || path.compare(0, root_.size() + 1, root_ + "/") == 0;
}

ReplayedMedium::NodePointer ReplayedMedium::find(const std::string &path) const {
    NodePointer node = isBelow(path) ? top_ : nullptr;
    for (const fs::path &name : fs::path(isBelow(path) ? path.substr(root_.size()) : "").relative_path()) {
        const auto entry = node == nullptr ? decltype(node->entries.end())() : node->entries.find(name);
        if (node == nullptr || entry == node->entries.end()) {
            return nullptr;
        }
        node = entry->second;
    }
    return node;
}

ReplayedMedium::NodePointer ReplayedMedium::parentOf(const std::string &path) const {
    return find(fs::path(path).parent_path());
}

ReplayedMedium::NodePointer ReplayedMedium::opened(int fd) const {
    const auto found = open_.find(fd);
    return found == open_.end() ? nullptr : found->second;
}

void ReplayedMedium::apply(const SystemCall &call) {
    const std::string path = trimmed(call.path);
    if (!call.isExit() || call.result < 0) {
        return;
    }
    if (call.isOpen()) {
        open(call);
    } else if (call.is("close")) {
        open_.erase(call.fd);
    } else if (call.is("mkdir") || call.is("mkdirat")) {
        create(path, true);
    } else if (call.isRename()) {
        move(path, trimmed(call.newPath));
    } else if (call.isUnlink()) {
        remove(path);
    } else if (call.is("link") || call.is("linkat")) {
        link(call);
    } else if (call.isWrite()) {
        overwrite(call);
    } else if (call.is("ftruncate") && opened(call.fd) != nullptr) {
        opened(call.fd)->content.resize(static_cast<size_t>(call.arguments[1]));
    } else if (call.isSync() && opened(call.fd) != nullptr) {
        sync(opened(call.fd).get());
    } else if (call.changesFiles() && isBelow(path)) {
        const bool isOfMode = call.name.find("chmod") != std::string::npos ||
                              call.name.find("chown") != std::string::npos || call.is("utimensat");
        EXPECT_TRUE(isOfMode) << "the replay does not know " << call.text();
    }
}

void ReplayedMedium::open(const SystemCall &call) {
    const std::string path = trimmed(call.path);
    const uint64_t flags = flagsOf(call);
    open_.erase(call.fd);
    if (!isBelow(path)) {
        return;
    }
    if ((flags & O_TMPFILE) == O_TMPFILE) {
        nameless_ = std::make_shared<Node>();
        open_[call.fd] = nameless_;
        return;
    }
    if ((flags & O_CREAT) != 0 && find(path) == nullptr) {
        create(path, false);
    }
    const NodePointer node = find(path);
    if (node != nullptr && (flags & O_TRUNC) != 0) {
        node->content.clear();
    }
    open_[call.fd] = node;
}

void ReplayedMedium::create(const std::string &path, bool isDirectory) {
    if (isBelow(path)) {
        auto node = std::make_shared<Node>();
        node->isDirectory = isDirectory;
        const NodePointer parent = parentOf(path);
        parent->entries[fs::path(path).filename()] = node;
        changed(parent.get());
    }
}

void ReplayedMedium::move(const std::string &from, const std::string &to) {
    const NodePointer node = find(from);
    if (node != nullptr) {
        parentOf(from)->entries.erase(fs::path(from).filename());
        parentOf(to)->entries[fs::path(to).filename()] = node;
        changed(parentOf(from).get());
        changed(parentOf(to).get());
    }
}

void ReplayedMedium::remove(const std::string &path) {
    if (find(path) != nullptr) {
        parentOf(path)->entries.erase(fs::path(path).filename());
        changed(parentOf(path).get());
    }
}

/// An unnamed file's first path is not in the tree; the file is the last unnamed one that was made.
void ReplayedMedium::link(const SystemCall &call) {
    const std::string to = trimmed(call.newPath);
    const NodePointer named = find(trimmed(call.path));
    const NodePointer node = named != nullptr ? named : nameless_;
    if (node != nullptr && isBelow(to)) {
        parentOf(to)->entries[fs::path(to).filename()] = node;
        changed(parentOf(to).get());
    }
}

void ReplayedMedium::overwrite(const SystemCall &call) {
    const NodePointer node = opened(call.fd);
    if (node == nullptr) {
        return;
    }
    const auto offset = static_cast<size_t>(call.offset);
    const auto length = static_cast<size_t>(call.result);
    node->content.resize(std::max(node->content.size(), offset + length));
    node->content.replace(offset, length, call.bytes, 0, length);
}

void ReplayedMedium::sync(Node *node) {
    node->contentOnMedium = node->content;
    node->entriesOnMedium = node->entries;
    ++version_;
}

void ReplayedMedium::changed(Node *directory) {
    if (names_ == Names::AtOnce) {
        directory->entriesOnMedium = directory->entries;
        ++version_;
    }
}

}  // namespace test
