// SPDX-License-Identifier: Apache-2.0
// A look at a directory as the store sees it: links are followed, and whatever bears the name of a data file
// counts as one.
#ifndef JORN_TOOLS_RING_LOOK_H
#define JORN_TOOLS_RING_LOOK_H

#include <optional>

#include "log/directory_look.h"
#include "log/ring_positions.h"
#include "log/store_directory.h"

namespace tool {

class RingLook {
public:
    /// Throws Failure when the index that the store would read is there but may not be read.
    explicit RingLook(const StoreDirectory &directory);

    /// The same for callers that go on to write. Throws Failure also for an index or a data file that is not
    /// a regular file or may not be read.
    static RingLook ofReadable(const StoreDirectory &directory);

    const DirectoryLook &look() const { return look_; }
    const IndexLook &index() const { return look_; }

    /// By position: whether there is a data file.
    FilePresence presence() const { return presenceOf(look_.files, &NamedEntry::target); }

    /// The index positions as the store takes them: both 0 without an index.
    IndexPositions positions() const { return index().positions().value_or(IndexPositions{}); }

    /// Highest position that has a data file, -1 when there is none.
    int highestFile() const { return highestOf(presence()); }

    /// The smallest ring that the files and the index fit in.
    int smallestRing() const { return smallestRingFor(presence(), {index().positions()}); }

    /// Whether the ring has wrapped, so that its size is that of smallestRing().
    bool hasWrapped() const { return positions().latest < positions().oldest; }

    /// Empty: neither an index nor a data file.
    bool isFresh() const { return !index().positions() && highestFile() < 0; }

    /// What the store's start-up would do to these files for a ring of this size.
    jorn::TidyingPlan planFor(int ringSize) const { return tidyingPlanOf(presence(), positions(), ringSize); }

private:
    DirectoryLook look_;
};

/// What the store would read from index.csv, or from index.bak when there is no index.csv; it never renames
/// one to the other. Nothing when neither can be used. Throws Failure when a file is there but may not be
/// read.
std::optional<IndexPositions> readIndex(const StoreDirectory &directory);

}  // namespace tool

#endif
