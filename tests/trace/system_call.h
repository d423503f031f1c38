// SPDX-License-Identifier: Apache-2.0
// A system call of a traced program, with what its arguments mean.
#ifndef JORN_TESTS_TRACE_SYSTEM_CALL_H
#define JORN_TESTS_TRACE_SYSTEM_CALL_H

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test {

enum class Moment { Entry, Exit };

struct SystemCall {
    size_t ordinal = 0;  ///< Of the run, counted from 0; the same at entry and exit.
    pid_t process = -1;
    pid_t thread = -1;
    Moment moment = Moment::Entry;
    long number = -1;
    std::string name;
    std::array<uint64_t, 6> arguments = {};
    int fd = -1;          ///< The descriptor that it acts on; at exit of open and the like, the new one.
    std::string path;     ///< Absolute: what is named first, or what the descriptor stands for.
    std::string newPath;  ///< Absolute: the second name of a rename or link; the name of a symbolic link.
    std::string bytes;    ///< What is written; for writev, all pieces together.
    int64_t offset = -1;  ///< Where a write to a regular file begins; with O_APPEND, the file's end.
    int64_t result = 0;   ///< At exit; a negative errno when the call failed.

    bool isEntry() const { return moment == Moment::Entry; }
    bool isExit() const { return moment == Moment::Exit; }
    bool is(std::string_view callName) const { return name == callName; }
    bool isOpen() const { return is("open") || is("openat") || is("creat"); }
    bool isWrite() const { return is("write") || is("pwrite64") || is("writev") || is("pwritev"); }
    bool isRename() const { return is("rename") || is("renameat") || is("renameat2"); }
    bool isUnlink() const { return is("unlink") || is("unlinkat") || is("rmdir"); }
    bool isSync() const { return is("fsync") || is("fdatasync"); }
    /// Whether it can change what a file holds, which names there are or whom they belong to: opening to
    /// write, writing, truncating, renaming, linking, removing, making directories, changing mode or owner.
    bool changesFiles() const;
    /// "openat /a/b = 3", for messages.
    std::string text() const;
};

/// Opening, writing, closing, truncating, syncing, locking, changing names, modes and owners.
std::vector<long> callsOfFiles();

/// Number of a call by its name; -1 if it cannot be decoded here.
long callNumber(std::string_view name);

/// Reads name, paths, bytes and offset out of the stopped thread. For unknown calls only the arguments are
/// read.
void decodeEntry(SystemCall *call);
/// What is only known once the call has been made: the path of a new descriptor.
void decodeExit(SystemCall *call);

}  // namespace test

#endif
