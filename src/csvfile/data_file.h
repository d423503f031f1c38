// SPDX-License-Identifier: Apache-2.0
// The data file: its name, its lines, and how they are read back.
//
//   file name   directory "/" position ".csv"     position in plain decimal, 0 to csv_num - 1
//   file        { line }                          oldest item first, no header
//   line        time "," level "," slot "," text LF
//   time        unsigned decimal seconds since 1970-01-01 UTC
//   level       signed decimal, below 4
//   slot        signed decimal, below the object's slot_max
//   text        0 to 198 bytes, any but CR, LF and NUL; commas belong to the text
//
// A line as the store task writes it has at most 234 characters. Files may hold anything else after
// damage or foreign hands: readers take pieces of at most 256 characters, each as a line of its own.
#ifndef JORN_SRC_CSVFILE_DATA_FILE_H
#define JORN_SRC_CSVFILE_DATA_FILE_H

#include <stdint.h>
#include <stdio.h>

#include "guards.h"
#include "module_limits.h"

namespace jorn {

/// The path of the data file at a ring position. Any position fits the buffer.
class DataPath {
public:
    DataPath(const char *dirName, int32_t position);
    const char *get() const { return path_; }

private:
    char path_[kDataPathSize];
};

/// Whether a line is blank: its first character is a carriage return or a line feed. An empty text is
/// not blank.
inline bool isBlankLine(const char *line) { return line[0] == '\r' || line[0] == '\n'; }

/// Reads a data file line by line, or piece by piece where lines are too long.
class LineReader {
public:
    LineReader(const char *dirName, int32_t position)
        : file_(DataPath(dirName, position).get(), "r"), line_{} {}

    bool isOpen() const { return static_cast<bool>(file_); }

    /// The next line with its line feed, good until the next call; null at the end of the file and at
    /// a reading error.
    const char *next() { return fgets(line_, sizeof line_, file_.get()); }

private:
    FileGuard file_;
    char line_[kLineBufferSize];
};

}  // namespace jorn

#endif
