// SPDX-License-Identifier: Apache-2.0
#include "trace/system_call.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace test {
namespace {

/// Where a call's arguments are; -1 for those it does not have.
struct Shape {
    long number;
    const char *name;
    int fd;             ///< Descriptor that the call acts on.
    int directory;      ///< Descriptor that the first path is relative to.
    int path;           ///< First path.
    int newDirectory;   ///< The same for the second path.
    int newPath;        ///< Second path.
    int data;           ///< Bytes that are written, or the vector of their pieces; their count follows.
    int offset;         ///< Position, for a write that states one.
    bool changesFiles;  ///< For opening, its flags decide.
};

constexpr Shape kShapes[] = {
#ifdef SYS_open
    {SYS_open, "open", -1, -1, 0, -1, -1, -1, -1, false},
    {SYS_creat, "creat", -1, -1, 0, -1, -1, -1, -1, true},
    {SYS_rename, "rename", -1, -1, 0, -1, 1, -1, -1, true},
    {SYS_unlink, "unlink", -1, -1, 0, -1, -1, -1, -1, true},
    {SYS_rmdir, "rmdir", -1, -1, 0, -1, -1, -1, -1, true},
    {SYS_link, "link", -1, -1, 0, -1, 1, -1, -1, true},
    {SYS_symlink, "symlink", -1, -1, -1, -1, 1, -1, -1, true},
    {SYS_mkdir, "mkdir", -1, -1, 0, -1, -1, -1, -1, true},
    {SYS_chmod, "chmod", -1, -1, 0, -1, -1, -1, -1, true},
    {SYS_chown, "chown", -1, -1, 0, -1, -1, -1, -1, true},
#endif
#ifdef SYS_renameat
    {SYS_renameat, "renameat", -1, 0, 1, 2, 3, -1, -1, true},
#endif
    {SYS_openat, "openat", -1, 0, 1, -1, -1, -1, -1, false},
    {SYS_write, "write", 0, -1, -1, -1, -1, 1, -1, true},
    {SYS_writev, "writev", 0, -1, -1, -1, -1, 1, -1, true},
    {SYS_pwrite64, "pwrite64", 0, -1, -1, -1, -1, 1, 3, true},
    {SYS_pwritev, "pwritev", 0, -1, -1, -1, -1, 1, 3, true},
    {SYS_copy_file_range, "copy_file_range", 2, -1, -1, -1, -1, -1, -1, true},
    {SYS_close, "close", 0, -1, -1, -1, -1, -1, -1, false},
    {SYS_ftruncate, "ftruncate", 0, -1, -1, -1, -1, -1, -1, true},
    {SYS_truncate, "truncate", -1, -1, 0, -1, -1, -1, -1, true},
    {SYS_fallocate, "fallocate", 0, -1, -1, -1, -1, -1, -1, true},
    {SYS_fsync, "fsync", 0, -1, -1, -1, -1, -1, -1, false},
    {SYS_fdatasync, "fdatasync", 0, -1, -1, -1, -1, -1, -1, false},
    {SYS_flock, "flock", 0, -1, -1, -1, -1, -1, -1, false},
    {SYS_renameat2, "renameat2", -1, 0, 1, 2, 3, -1, -1, true},
    {SYS_unlinkat, "unlinkat", -1, 0, 1, -1, -1, -1, -1, true},
    {SYS_linkat, "linkat", -1, 0, 1, 2, 3, -1, -1, true},
    {SYS_symlinkat, "symlinkat", -1, -1, -1, 1, 2, -1, -1, true},
    {SYS_mkdirat, "mkdirat", -1, 0, 1, -1, -1, -1, -1, true},
    {SYS_fchmod, "fchmod", 0, -1, -1, -1, -1, -1, -1, true},
    {SYS_fchmodat, "fchmodat", -1, 0, 1, -1, -1, -1, -1, true},
    {SYS_fchown, "fchown", 0, -1, -1, -1, -1, -1, -1, true},
    {SYS_fchownat, "fchownat", -1, 0, 1, -1, -1, -1, -1, true},
    {SYS_utimensat, "utimensat", -1, 0, 1, -1, -1, -1, -1, true},
};

const Shape *shapeOf(long number) {
    const auto *const found = std::find_if(std::begin(kShapes), std::end(kShapes),
                                           [number](const Shape &shape) { return shape.number == number; });
    return found == std::end(kShapes) ? nullptr : found;
}

uint64_t argument(const SystemCall &call, int index) { return call.arguments[static_cast<size_t>(index)]; }

/// Fewer bytes than requested where the memory ends.
std::string readMemory(pid_t thread, uint64_t address, size_t length) {
    std::string bytes(length, '\0');
    const iovec here = {bytes.data(), length};
    const iovec there = {reinterpret_cast<void *>(static_cast<uintptr_t>(address)), length};
    const ssize_t taken = process_vm_readv(thread, &here, 1, &there, 1, 0);
    bytes.resize(taken < 0 ? 0 : static_cast<size_t>(taken));
    return bytes;
}

/// In pieces that end with a page, since the page after the end of a text need not exist.
std::string readText(pid_t thread, uint64_t address) {
    constexpr uint64_t kPage = 4096;
    std::string text;
    while (text.size() < PATH_MAX) {
        const uint64_t start = address + text.size();
        const std::string piece = readMemory(thread, start, kPage - start % kPage);
        const size_t end = piece.find('\0');
        text += piece.substr(0, end);
        if (end != std::string::npos || piece.empty()) {
            break;
        }
    }
    return text;
}

std::string linkTarget(const std::string &path) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return {target, length < 0 ? 0 : static_cast<size_t>(length)};
}

std::string ofProcess(pid_t thread, const std::string &name) {
    return "/proc/" + std::to_string(thread) + "/" + name;
}

std::string descriptorPath(pid_t thread, int fd) {
    return linkTarget(ofProcess(thread, "fd/" + std::to_string(fd)));
}

/// The store names its files through the descriptor of their directory: "/proc/self/fd/4/0.csv".
std::string withoutDescriptor(pid_t thread, const std::string &path) {
    static const std::string kPrefix = "/proc/self/fd/";
    if (path.compare(0, kPrefix.size(), kPrefix) != 0) {
        return path;
    }
    const size_t end = std::min(path.find('/', kPrefix.size()), path.size());
    const std::string target =
        linkTarget(ofProcess(thread, "fd/" + path.substr(kPrefix.size(), end - kPrefix.size())));
    return target.empty() ? path : target + path.substr(end);
}

std::string resolve(const SystemCall &call, int directory, int path) {
    const std::string text = withoutDescriptor(call.thread, readText(call.thread, argument(call, path)));
    if (!text.empty() && text.front() == '/') {
        return std::filesystem::path(text).lexically_normal().string();
    }
    const int start = directory < 0 ? AT_FDCWD : static_cast<int>(argument(call, directory));
    const std::string base =
        start == AT_FDCWD ? linkTarget(ofProcess(call.thread, "cwd")) : descriptorPath(call.thread, start);
    return text.empty() ? base : std::filesystem::path(base + "/" + text).lexically_normal().string();
}

std::string gather(const SystemCall &call, const Shape &shape) {
    const uint64_t address = argument(call, shape.data);
    const auto count = static_cast<size_t>(argument(call, shape.data + 1));
    if (shape.number != SYS_writev && shape.number != SYS_pwritev) {
        return readMemory(call.thread, address, count);
    }
    const std::string vector = readMemory(call.thread, address, count * sizeof(iovec));
    std::string bytes;
    for (size_t at = 0; at + sizeof(iovec) <= vector.size(); at += sizeof(iovec)) {
        iovec piece = {};
        memcpy(&piece, vector.data() + at, sizeof piece);
        bytes += readMemory(call.thread, reinterpret_cast<uintptr_t>(piece.iov_base), piece.iov_len);
    }
    return bytes;
}

int64_t positionOf(pid_t thread, int fd) {
    struct stat status = {};
    if (stat(ofProcess(thread, "fd/" + std::to_string(fd)).c_str(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return -1;
    }
    std::ifstream info(ofProcess(thread, "fdinfo/" + std::to_string(fd)));
    std::string word;
    int64_t position = -1;
    unsigned flags = 0;
    info >> word >> position >> word >> std::oct >> flags;
    return (flags & O_APPEND) != 0 ? status.st_size : position;
}

bool opensToWrite(const SystemCall &call) {
    const uint64_t flags = argument(call, call.is("openat") ? 2 : 1);
    return (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0;
}

}  // namespace

bool SystemCall::changesFiles() const {
    const Shape *const shape = shapeOf(number);
    if (shape == nullptr) {
        return false;
    }
    return is("open") || is("openat") ? opensToWrite(*this) : shape->changesFiles;
}

std::string SystemCall::text() const {
    std::string line = name.empty() ? "call " + std::to_string(number) : name;
    line += path.empty() ? "" : " " + path;
    line += newPath.empty() ? "" : " -> " + newPath;
    if (!bytes.empty()) {
        line += " " + std::to_string(bytes.size()) + " bytes at " + std::to_string(offset);
    }
    return isExit() ? line + " = " + std::to_string(result) : line;
}

std::vector<long> callsOfFiles() {
    std::vector<long> numbers;
    std::transform(std::begin(kShapes), std::end(kShapes), std::back_inserter(numbers),
                   [](const Shape &shape) { return shape.number; });
    return numbers;
}

long callNumber(std::string_view name) {
    const auto *const found = std::find_if(std::begin(kShapes), std::end(kShapes),
                                           [name](const Shape &shape) { return shape.name == name; });
    return found == std::end(kShapes) ? -1 : found->number;
}

void decodeEntry(SystemCall *call) {
    const Shape *const shape = shapeOf(call->number);
    if (shape == nullptr) {
        return;
    }
    call->name = shape->name;
    if (shape->path >= 0) {
        call->path = resolve(*call, shape->directory, shape->path);
    }
    if (shape->newPath >= 0) {
        call->newPath = resolve(*call, shape->newDirectory, shape->newPath);
    }
    if (shape->fd >= 0) {
        call->fd = static_cast<int>(argument(*call, shape->fd));
        call->path = descriptorPath(call->thread, call->fd);
    }
    if (shape->data >= 0) {
        call->bytes = gather(*call, *shape);
        call->offset = shape->offset >= 0 ? static_cast<int64_t>(argument(*call, shape->offset))
                                          : positionOf(call->thread, call->fd);
    }
}

void decodeExit(SystemCall *call) {
    if (call->isOpen() && call->result >= 0) {
        call->fd = static_cast<int>(call->result);
    }
}

}  // namespace test
