// SPDX-License-Identifier: Apache-2.0
// One look at a log's directory, exact enough to tell whether anything has changed at the next.
#ifndef JORN_TOOLS_DIRECTORY_LOOK_H
#define JORN_TOOLS_DIRECTORY_LOOK_H

#include <optional>
#include <string>
#include <vector>

#include "log/entry.h"
#include "log/ring_positions.h"
#include "log/store_directory.h"
#include "system/descriptor.h"

namespace tool {

/// index.csv or index.bak, with as much of its text as an index can have.
struct IndexEntry {
    Entry entry;
    std::string text;

    /// The positions when the text is whole: one that lacks its end may be a longer number cut short.
    std::optional<IndexPositions> positions() const;

    /// The same for positions that some ring can have, in a file.
    std::optional<IndexPositions> usablePositions() const;

    /// Bytes that follow a whole text; the store passes over them.
    int64_t surplus() const;
};

bool operator==(const IndexEntry &a, const IndexEntry &b);

struct DirectoryLook {
    DataFileEntries files;
    IndexEntry index;
    IndexEntry backup;
    std::vector<std::string> otherNames;  ///< Names like those of data files that the store never uses.
    std::vector<std::string> asides;      ///< Names as those of directories with rings that were put aside.

    int highestFile() const { return highestOf(presenceOf(files)); }
};

bool operator==(const DirectoryLook &a, const DirectoryLook &b);

/// Changes nothing, access times included where the system allows it. Throws Failure.
DirectoryLook lookAt(const StoreDirectory &directory);

/// Opens a file of the directory to read it, not through a link, without a change of its access time where
/// the system allows it, and without waiting should it be a pipe. Throws Failure.
Descriptor openQuietly(const StoreDirectory &directory, const std::string &name);

/// Names in the directory but "." and "..", sorted. Throws Failure.
std::vector<std::string> namesIn(const StoreDirectory &directory);

}  // namespace tool

#endif
