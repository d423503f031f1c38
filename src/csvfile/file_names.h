// SPDX-License-Identifier: Apache-2.0
// The names of the files in an object's directory, built and read back.
//
//   data file   directory "/" position ".csv"     position in plain decimal, 0 to csv_num - 1
//   index       directory "/index.csv"
//   backup      directory "/index.bak"            the former index, only while the index is being rewritten
#ifndef JORN_SRC_CSVFILE_FILE_NAMES_H
#define JORN_SRC_CSVFILE_FILE_NAMES_H

#include <stdint.h>

#include <string_view>

#include "module_limits.h"

namespace jorn {

constexpr char kDataFileEnding[] = ".csv";
constexpr char kIndexName[] = "index.csv";
constexpr char kBackupName[] = "index.bak";

/// The path of the data file at a ring position. Any position fits the buffer.
class DataPath {
public:
    DataPath(const char *dirName, int32_t position);
    const char *get() const { return path_; }

private:
    char path_[kDataPathSize];
};

/// The path of the index or of its backup.
class IndexPath {
public:
    IndexPath(const char *dirName, const char *fileName);
    const char *get() const { return path_; }

private:
    char path_[kIndexPathSize];
};

static_assert(kIndexPathSize >= (kDirNameSize - 1) + sizeof "/" - 1 + sizeof kIndexName,
              "index path must fit");
static_assert(sizeof kIndexName == sizeof kBackupName, "both paths have the same room");

/// The position of the data file with this name (without a directory); -1 for every other name, also for a
/// position that no ring has. (Not used by the module, which opens files by position. It is here so that code
/// that reads a directory parses names as they are built.)
inline int32_t dataFilePosition(std::string_view name) {
    constexpr size_t kEnding = sizeof kDataFileEnding - 1;
    if (name.size() <= kEnding || name.substr(name.size() - kEnding) != kDataFileEnding) {
        return -1;
    }
    name.remove_suffix(kEnding);
    if (name.front() == '0' && name.size() > 1) {
        return -1;
    }
    int32_t position = 0;
    for (const char digit : name) {
        if (digit < '0' || digit > '9') {
            return -1;
        }
        position = 10 * position + (digit - '0');
        if (position >= kCsvNumMax) {
            return -1;
        }
    }
    return position;
}

}  // namespace jorn

#endif
