// SPDX-License-Identifier: Apache-2.0
// What a log's directory holds at one moment, in enough detail to see whether anything has changed by the
// next look.
//
// A look records, but judges nothing: for each name it holds the entry itself and what it leads to. Checks
// and repairs use the former and trust no link; readers of items follow links, as the store does, see
// ring_look.h.
#ifndef JORN_TOOLS_DIRECTORY_LOOK_H
#define JORN_TOOLS_DIRECTORY_LOOK_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "log/entry.h"
#include "log/ring_positions.h"
#include "log/store_directory.h"
#include "system/descriptor.h"
#include "system/failure.h"

namespace tool {

/// index.csv or index.bak, with as much of its text as an index can have.
struct IndexEntry {
    Entry entry;   ///< The entry of that name,
    Entry target;  ///< and what the name leads to.
    std::string text;
    std::optional<IndexPositions>
        scanned;                        ///< What the store reads, leniently; nothing where it can use none.
    std::optional<Failure> unreadable;  ///< Why it could not be opened or read.

    /// The file that was read. The store writes the index as a new file each time. While this one is open,
    /// the system gives its inode number to no other, so that even two rewrites within one tick of the file
    /// system's clock are noticed.
    std::shared_ptr<const Descriptor> opened;

    /// For callers that trust no link: the positions when the text is whole; a text that lacks its end may
    /// hold a longer number cut short.
    std::optional<IndexPositions> positions() const;

    /// The same, only if some ring can have these positions.
    std::optional<IndexPositions> usablePositions() const;

    /// The same for callers that trust no link: the bytes that follow a whole text, which the store ignores.
    int64_t surplus() const;
};

/// Whether both are of the same file, with the same text.
bool operator==(const IndexEntry &a, const IndexEntry &b);

/// How much to look at.
enum class Extent {
    Ring,  ///< What decides which items are in view: index.bak is opened only when there is no index.csv.
    All,   ///< Both index files, and whatever else is in the directory.
};

/// The index and its backup.
struct IndexLook {
    IndexEntry index;
    IndexEntry backup;

    /// The one that the store would read.
    const IndexEntry &used() const { return index.target.isPresent() ? index : backup; }

    /// The positions that the store would read.
    const std::optional<IndexPositions> &positions() const { return used().scanned; }

    /// Whether those are the backup's, because there is no index.csv.
    bool isOfBackup() const { return positions() && !index.target.isPresent(); }

    /// Whether either name is there, even as a link that leads nowhere.
    bool hasAny() const { return index.entry.isPresent() || backup.entry.isPresent(); }

    /// Whether the names still lead to what was read, and nobody has written to it.
    bool isStill(const StoreDirectory &directory) const;

    /// Whether both looks found the same file in the same state. Exact while one of them lives.
    bool isSameAs(const IndexLook &other) const;
};

struct DirectoryLook : IndexLook {
    DataFileEntries files;

    // Of Extent::All only:
    std::vector<std::string> otherNames;  ///< Names like data files' that the store never uses.
    std::vector<std::string> asides;      ///< Names like those of directories with rings that were put aside.

    /// By position: whether the name of the data file is taken.
    FilePresence presence() const { return presenceOf(files, &NamedEntry::itself); }

    /// Highest position of those, -1 when there is none.
    int highestFile() const { return highestOf(presence()); }
};

/// Changes nothing, including access times where the system allows that. Throws Failure only when the names
/// cannot be listed: anything else that cannot be read is recorded in the look.
DirectoryLook lookAt(const StoreDirectory &directory, Extent extent);

/// The index alone.
IndexLook lookAtIndex(const StoreDirectory &directory, Extent extent);

/// The data files alone; opens none of them.
DataFileEntries lookAtDataFiles(const StoreDirectory &directory);

/// The whole directory, for callers that trust no link. Throws Failure also when a name cannot be looked at,
/// or when an index file that is not a link cannot be read.
DirectoryLook lookAtAll(const StoreDirectory &directory);

/// Opens a file in the directory for reading: without following a link, without changing its access time
/// where the system allows that, and without waiting if it is a pipe. Throws Failure.
Descriptor openQuietly(const StoreDirectory &directory, const std::string &name);

/// Names in the directory except "." and "..", sorted. Throws Failure.
std::vector<std::string> namesIn(const StoreDirectory &directory);

}  // namespace tool

#endif
