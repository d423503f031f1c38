// SPDX-License-Identifier: Apache-2.0
// A lost index, found again by the evidence of the files and written anew, without anybody who looks on.
// Nothing but the index is written, and only where every file with items keeps its place.
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
        None,     ///< The store can go by the index, or there is none, nor a file that holds anything.
        Write,    ///< Its positions are certain.
        Unclear,  ///< Somebody has to decide.
    };

    Kind kind = Kind::None;
    std::string flaw;          ///< Of the index as it is: "empty".
    IndexPositions positions;  ///< To be written.
    std::string reason;        ///< Why these, or why none, as a sentence without its stop.
    std::string advice;        ///< What decides where it is unclear: "`jorn repair ...` ...".
    std::string kept;          ///< What keeps the former index, as a sentence without its stop; may be empty.
};

/// Whether the store cannot go by the index: it is missing or empty beside files that hold something, or not
/// whole. Reads the data files only where the backup stands alone. Throws Failure.
bool isIndexLost(const StoreDirectory &directory);

/// Reads the data files only where the index is of no use. `ringSize` is that of the ring where it is known.
/// Changes nothing. Throws Failure.
IndexMending planIndexMending(const StoreDirectory &directory, std::optional<int> ringSize);

/// Writes the index. What it replaces stays under the name with ".lost" at its end, in place of what was kept
/// there before, or with ".lost-2" and so on where a directory has that name. A cut at any moment leaves the
/// former index or the new one. Throws Failure.
void mendIndex(const StoreDirectory &directory, const IndexPositions &positions);

/// Writes the index anew, whole or not at all. Throws Failure; then the former one is still there.
void writeIndex(const StoreDirectory &directory, const IndexPositions &positions);

}  // namespace tool

#endif
