// SPDX-License-Identifier: Apache-2.0
// One look at what decides which items are in view: the index, and the data files by name. Exact enough to
// tell whether a writer has moved on since.
#ifndef JORN_TOOLS_RING_LOOK_H
#define JORN_TOOLS_RING_LOOK_H

#include <array>
#include <memory>
#include <optional>

#include "log/entry.h"
#include "log/ring_positions.h"
#include "log/store_directory.h"
#include "system/descriptor.h"

namespace tool {

/// The index as it was read. The store writes it as a new file each time. The one that was read is kept open,
/// so that the system gives its inode number to none of those, and two rewrites within one tick of the file
/// system's clock are not taken for none.
class IndexLook {
public:
    /// Of no directory: there is no index.
    IndexLook() = default;

    /// Reads index.csv, or index.bak when there is no index.csv. Throws Failure when a file is there but may
    /// not be read.
    explicit IndexLook(const StoreDirectory &directory);

    /// What the store would read; nothing where it can use none, or where something else than a file bears
    /// the name.
    const std::optional<IndexPositions> &positions() const { return positions_; }

    /// Whether that is the backup's, for want of index.csv.
    bool isOfBackup() const { return positions_ && !entries_.front().isPresent(); }

    /// What index.csv leads to, and index.bak where there is no index.csv.
    using Entries = std::array<Entry, 2>;
    const Entries &entries() const { return entries_; }

    /// Whether the names still lead to what was read, and nobody has written to it.
    bool isStill(const StoreDirectory &directory) const;

    /// Whether both looks found the same file in the same state. Exact while one of them lives.
    bool isSameAs(const IndexLook &other) const { return entries_ == other.entries_; }

private:
    static Entries entriesIn(const StoreDirectory &directory);

    Entries entries_;
    std::optional<IndexPositions> positions_;
    std::shared_ptr<const Descriptor> opened_;
};

/// Whatever the names of data files lead to; opens none of it.
DataFileEntries lookAtDataFiles(const StoreDirectory &directory);

/// Whatever bears the name of a data file counts as one: the others keep their places.
struct RingLook {
    /// Throws Failure as IndexLook does.
    explicit RingLook(const StoreDirectory &directory);

    /// The same for those who go on to write. Throws Failure, too, for an index or a data file that is no
    /// regular file or may not be read.
    static RingLook ofReadable(const StoreDirectory &directory);

    IndexLook index;
    DataFileEntries files;

    /// The index positions as the store takes them: both 0 without an index.
    IndexPositions positions() const { return index.positions().value_or(IndexPositions{}); }

    /// Highest position that has a data file, -1 when there is none.
    int highestFile() const { return highestOf(presenceOf(files)); }

    /// The smallest ring that the files and the index fit in.
    int smallestRing() const { return smallestRingFor(presenceOf(files), {index.positions()}); }

    /// Whether the ring has come round, so that its size is that of smallestRing().
    bool hasWrapped() const { return positions().latest < positions().oldest; }

    /// Nothing there: neither an index nor a data file.
    bool isFresh() const { return !index.positions() && highestFile() < 0; }

    /// What the store's start-up would do to these files for a ring of this size.
    jorn::TidyingPlan planFor(int ringSize) const {
        return tidyingPlanOf(presenceOf(files), positions(), ringSize);
    }
};

}  // namespace tool

#endif
