// SPDX-License-Identifier: Apache-2.0
// Recovers a lost index from the evidence of the files and rewrites it, unattended. Only the index is
// written, and only where every file with items keeps its place.
#ifndef JORN_TOOLS_INDEX_MENDING_H
#define JORN_TOOLS_INDEX_MENDING_H

#include <optional>
#include <string>

#include "health/diagnosis.h"
#include "log/store_directory.h"

namespace tool {

/// What is to be done about an index, decided before anything is touched.
struct IndexMending {
    enum class Kind {
        None,     ///< The store can use the index, or there is none and no file holds anything.
        Write,    ///< The positions are certain.
        Unclear,  ///< Somebody has to decide.
    };

    Kind kind = Kind::None;
    std::string flaw;          ///< Of the index as it is: "empty".
    IndexPositions positions;  ///< To be written.
    std::string reason;        ///< Why these, or why none: a sentence without its full stop.
    std::string advice;        ///< What decides an unclear case: "`jorn repair ...` ...".
    std::string kept;          ///< Which file keeps the former index, in the same form; may be empty.
};

/// Whether the store cannot use the index: it is missing or empty although files hold something, or it is not
/// whole. Reads the data files only where there is just the backup. Throws Failure.
bool isIndexLost(const StoreDirectory &directory);

/// Reads the data files only where the index cannot be relied on. `ringSize` is the ring's, where known.
/// Changes nothing. Throws Failure.
IndexMending planIndexMending(const StoreDirectory &directory, std::optional<int> ringSize);

/// Writes the index. What it replaces is kept under its name with ".lost" appended, or ".lost-2" and so on
/// where that name is taken. A cut at any moment leaves the former index or the new one. Throws Failure.
void mendIndex(const StoreDirectory &directory, const IndexPositions &positions);

/// Rewrites the index, whole or not at all. Throws Failure; then the former one is still there.
void writeIndex(const StoreDirectory &directory, const IndexPositions &positions);

}  // namespace tool

#endif
