// SPDX-License-Identifier: Apache-2.0
// An open directory of a log object. The module knows it by the short name of its descriptor, so that the
// user's path may have any length and form.
#ifndef JORN_TOOLS_STORE_DIRECTORY_H
#define JORN_TOOLS_STORE_DIRECTORY_H

#include <optional>
#include <string>

#include "csvfile/file_names.h"
#include "system/descriptor.h"

namespace tool {

class StoreDirectory {
public:
    /// Opens a directory for reading. Throws Failure.
    static StoreDirectory openForReading(const std::string &path);

    enum class Making { LastLevel, AllLevels };

    /// Opens a directory for recording, creating its last level if missing, or all levels, and keeps all
    /// other recorders out until it is closed. It is the directory that the path leads to once the lock is
    /// held: if a repair replaced the directory before that, the replacement is opened. Removes leftovers of
    /// commands that were cut short. Throws Failure.
    static StoreDirectory openForRecording(const std::string &path, Making making);

    /// Opens a directory to repair or clear it, and keeps all recorders out of it, with the same guarantee
    /// about the path. Throws Failure.
    static StoreDirectory openForRepair(const std::string &path);

    /// "/proc/self/fd/N": at most 24 characters.
    const std::string &shortName() const { return shortName_; }

    /// The path as the user gave it, and that of a file in it, for messages.
    const std::string &path() const { return path_; }
    std::string pathOf(const std::string &fileName) const { return path_ + "/" + fileName; }

    /// Throws Failure when this user cannot create files in the directory, as rotation and the index require.
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

/// The position whose data file has this name; nothing for other names.
std::optional<int> dataFilePosition(const std::string &name);

/// The index, and its previous content while the store rewrites it.
inline constexpr const char *kIndexName = jorn::kIndexName;
inline constexpr const char *kIndexBackupName = jorn::kBackupName;

}  // namespace tool

#endif
