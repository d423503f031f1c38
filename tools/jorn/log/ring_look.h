// SPDX-License-Identifier: Apache-2.0
// One look at what decides which items are in view: the index, and the data files by name. Exact enough to
// tell whether a writer has moved on since.
#ifndef JORN_TOOLS_RING_LOOK_H
#define JORN_TOOLS_RING_LOOK_H

#include <array>
#include <memory>
#include <optional>

#include "log/ring_survey.h"
#include "log/store_directory.h"
#include "system/descriptor.h"
#include "system/file_mark.h"

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

    /// Whether the names still lead to what was read, and nobody has written to it.
    bool isStill(const StoreDirectory &directory) const;

    /// Whether both looks found the same file in the same state. Exact while one of them lives.
    bool isSameAs(const IndexLook &other) const { return marks_ == other.marks_; }

private:
    /// Of index.csv, and of index.bak where there is no index.csv.
    using Marks = std::array<FileMark, 2>;
    static Marks marksIn(const StoreDirectory &directory);

    Marks marks_{};
    std::optional<IndexPositions> positions_;
    std::shared_ptr<const Descriptor> opened_;
};

/// By number; of one that is not there without anything in it.
using DataFileMarks = std::array<FileMark, jorn::kSurveySize>;

/// Whatever bears the names; opens none of it.
DataFileMarks dataFileMarks(const StoreDirectory &directory);

struct RingLook {
    /// Throws Failure as IndexLook does.
    explicit RingLook(const StoreDirectory &directory);

    IndexLook index;
    DataFileMarks files;
    RingSurvey
        survey;  ///< Whatever bears the name of a data file counts as one: the others keep their places.
};

}  // namespace tool

#endif
