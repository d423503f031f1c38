// SPDX-License-Identifier: Apache-2.0
// The data file as it is read back: line by line, oldest item first. Its lines are described in line.h, its
// name in file_names.h.
//
//   file   { line }     no header
//
// A file that was damaged or edited may hold anything: readers take pieces of at most 256 characters, each as
// a line of its own.
#ifndef JORN_SRC_CSVFILE_DATA_FILE_H
#define JORN_SRC_CSVFILE_DATA_FILE_H

#include <stdint.h>
#include <stdio.h>

#include "csvfile/file_names.h"
#include "guards.h"
#include "module_limits.h"

namespace jorn {

/// Reads a data file line by line, or piece by piece where lines are too long.
class LineReader {
public:
    LineReader(const char *dirName, int32_t position)
        : file_(DataPath(dirName, position).get(), "r"), line_{} {}

    bool isOpen() const { return static_cast<bool>(file_); }

    /// The next line with its line feed, good until the next call; null at the end of the file and on a read
    /// error.
    const char *next() { return fgets(line_, sizeof line_, file_.get()); }

private:
    FileGuard file_;
    char line_[kLineBufferSize];
};

}  // namespace jorn

#endif
