// SPDX-License-Identifier: Apache-2.0
// An opened directory of a log object. The module knows it by the short name of its descriptor, so that
// the user's path may have any length and form.
#ifndef JORN_TOOLS_STORE_DIRECTORY_H
#define JORN_TOOLS_STORE_DIRECTORY_H

#include <optional>
#include <string>

#include "csvfile/file_names.h"
#include "descriptor.h"

namespace tool {

class StoreDirectory {
public:
    /// Opens a directory to read from. Throws Failure.
    static StoreDirectory openForReading(const std::string &path);

    /// Opens a directory to record into, making its last level when it is missing, and keeps every other
    /// recorder out of it until this one is closed. Throws Failure.
    static StoreDirectory openForRecording(const std::string &path);

    /// Opens a directory to repair or clear it, and keeps every recorder out of it. Throws Failure.
    static StoreDirectory openForRepair(const std::string &path);

    /// "/proc/self/fd/N": at most 24 characters.
    const std::string &shortName() const { return shortName_; }

    /// The path as the user gave it, and that of a file in it, for messages.
    const std::string &path() const { return path_; }
    std::string pathOf(const std::string &fileName) const { return path_ + "/" + fileName; }

    int descriptor() const { return directory_.get(); }

private:
    StoreDirectory(const std::string &path, int flags);
    void lock(const char *whenTaken) const;

    std::string path_;
    Descriptor directory_;
    std::string shortName_;
};

/// The name by which this process reaches what a descriptor stands for.
std::string descriptorName(int fd);

/// "3.csv".
std::string dataFileName(int position);

/// The position of which a name is that of the data file; nothing for other names.
std::optional<int> dataFilePosition(const std::string &name);

/// The index, and what it was before the store began to write it anew.
inline constexpr const char *kIndexName = jorn::kIndexName;
inline constexpr const char *kIndexBackupName = jorn::kBackupName;

}  // namespace tool

#endif
