// SPDX-License-Identifier: Apache-2.0
// What a log's directory holds at one moment, exact enough to tell whether anything has changed by the next
// look.
//
// A look records and judges nothing: of each name it holds what bears it and what it leads to. Those who
// check or repair a directory go by the former, and trust no link; those who read items take it as the store
// does, which goes through links, in ring_look.h.
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
    Entry entry;   ///< What bears the name,
    Entry target;  ///< and what the name leads to.
    std::string text;
    std::optional<IndexPositions>
        scanned;                        ///< What the store reads, leniently; nothing where it can use none.
    std::optional<Failure> unreadable;  ///< Why it could not be opened or read.

    /// The file that was read. The store writes the index as a new file each time. While the one that was
    /// read is open, the system gives its inode number to none of those, and two rewrites within one tick of
    /// the file system's clock are not taken for none.
    std::shared_ptr<const Descriptor> opened;

    /// For those who trust no link: the positions when the text is whole, as one that lacks its end may be a
    /// longer number cut short.
    std::optional<IndexPositions> positions() const;

    /// The same for positions that some ring can have.
    std::optional<IndexPositions> usablePositions() const;

    /// The same for bytes that follow a whole text; the store passes over them.
    int64_t surplus() const;
};

/// Of one file, with the same text.
bool operator==(const IndexEntry &a, const IndexEntry &b);

/// How much is looked at.
enum class Extent {
    Ring,  ///< What decides which items are in view: index.bak is opened for want of index.csv only.
    All,   ///< Both index files, and whatever else is in the directory.
};

/// The index and its backup.
struct IndexLook {
    IndexEntry index;
    IndexEntry backup;

    /// The one that the store would read.
    const IndexEntry &used() const { return index.target.isPresent() ? index : backup; }

    /// What the store would read.
    const std::optional<IndexPositions> &positions() const { return used().scanned; }

    /// Whether that is the backup's, for want of index.csv.
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
    std::vector<std::string> otherNames;  ///< Names like those of data files that the store never uses.
    std::vector<std::string> asides;      ///< Names as those of directories with rings that were put aside.

    /// By position: whether the name of the data file is taken.
    FilePresence presence() const { return presenceOf(files, &NamedEntry::itself); }

    /// Highest position of those, -1 when there is none.
    int highestFile() const { return highestOf(presence()); }
};

/// Changes nothing, access times included where the system allows it. Throws Failure for names that cannot be
/// listed only: what cannot be read otherwise is part of the look.
DirectoryLook lookAt(const StoreDirectory &directory, Extent extent);

/// The index alone.
IndexLook lookAtIndex(const StoreDirectory &directory, Extent extent);

/// The data files alone; opens none of them.
DataFileEntries lookAtDataFiles(const StoreDirectory &directory);

/// The whole directory, for those who trust no link. Throws Failure, too, when a name cannot be looked at, or
/// an index file that is no link cannot be read.
DirectoryLook lookAtAll(const StoreDirectory &directory);

/// Opens a file of the directory to read it, not through a link, without a change of its access time where
/// the system allows it, and without waiting should it be a pipe. Throws Failure.
Descriptor openQuietly(const StoreDirectory &directory, const std::string &name);

/// Names in the directory but "." and "..", sorted. Throws Failure.
std::vector<std::string> namesIn(const StoreDirectory &directory);

}  // namespace tool

#endif
