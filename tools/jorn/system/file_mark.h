// SPDX-License-Identifier: Apache-2.0
// Distinguishes one state of a file from another without reading its content.
#ifndef JORN_TOOLS_FILE_MARK_H
#define JORN_TOOLS_FILE_MARK_H

#include <stdint.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace tool {

struct FileMark {
    dev_t device = 0;
    ino_t inode = 0;
    int64_t size = 0;
    int64_t seconds = 0;  ///< Of the last change of its content.
    int64_t nanoseconds = 0;
};

inline bool operator==(const FileMark &a, const FileMark &b) {
    return a.device == b.device && a.inode == b.inode && a.size == b.size && a.seconds == b.seconds &&
           a.nanoseconds == b.nanoseconds;
}

/// Whether both are of the same file, whatever has changed in between.
inline bool isSameFile(const FileMark &a, const FileMark &b) {
    return a.device == b.device && a.inode == b.inode;
}

inline FileMark markOf(const struct stat &status) {
    FileMark mark;
    mark.device = status.st_dev;
    mark.inode = status.st_ino;
    mark.size = status.st_size;
    mark.seconds = status.st_mtim.tv_sec;
    mark.nanoseconds = status.st_mtim.tv_nsec;
    return mark;
}

/// Of an open file; all zeros when its status cannot be read.
inline FileMark markOf(int fd) {
    struct stat status;
    return fstat(fd, &status) == 0 ? markOf(status) : FileMark{};
}

}  // namespace tool

#endif
