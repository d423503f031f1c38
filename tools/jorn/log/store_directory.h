// SPDX-License-Identifier: Apache-2.0
// An opened directory of a log object. The module knows it by the short name of its descriptor, so that
// the user's path may have any length and form.
#ifndef JORN_TOOLS_STORE_DIRECTORY_H
#define JORN_TOOLS_STORE_DIRECTORY_H

#include <optional>
#include <string>

#include "csvfile/file_names.h"
#include "system/descriptor.h"

namespace tool {

class StoreDirectory {
public:
    /// Opens a directory to read from. Throws Failure.
    static StoreDirectory openForReading(const std::string &path);

    enum class Making { LastLevel, AllLevels };

    /// Opens a directory to record into, making its last level when it is missing, or all levels, and keeps
    /// every other recorder out of it until this one is closed. It is the one that the path leads to while it
    /// is locked: where a repair put another in its place before the lock was had, that one is taken. What
    /// commands that were cut short left there goes. Throws Failure.
    static StoreDirectory openForRecording(const std::string &path, Making making);

    /// Opens a directory to repair or clear it, and keeps every recorder out of it. The same holds of it.
    /// Throws Failure.
    static StoreDirectory openForRepair(const std::string &path);

    /// "/proc/self/fd/N": at most 24 characters.
    const std::string &shortName() const { return shortName_; }

    /// The path as the user gave it, and that of a file in it, for messages.
    const std::string &path() const { return path_; }
    std::string pathOf(const std::string &fileName) const { return path_ + "/" + fileName; }

    /// Throws Failure when this user can make no file in the directory, which both rotation and the index
    /// need.
    void requireWritable() const;

    int descriptor() const { return directory_.get(); }

private:
    StoreDirectory(const std::string &path, int flags);
    template <class Open>
    static StoreDirectory openLocked(const std::string &path, const char *whenTaken, const Open &open);
    void lock(const char *whenTaken) const;
    bool isInPlace() const;

    std::string path_;
    Descriptor directory_;
    std::string shortName_;
};

/// "3.csv".
std::string dataFileName(int position);

/// The position of which a name is that of the data file; nothing for other names.
std::optional<int> dataFilePosition(const std::string &name);

/// The index, and what it was before the store began to write it anew.
inline constexpr const char *kIndexName = jorn::kIndexName;
inline constexpr const char *kIndexBackupName = jorn::kBackupName;

}  // namespace tool

#endif
