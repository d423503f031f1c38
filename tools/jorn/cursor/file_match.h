// SPDX-License-Identifier: Apache-2.0
// Finds the items of a known file among those of a data file. Pure: it takes hashes and returns a verdict.
#ifndef JORN_TOOLS_FILE_MATCH_H
#define JORN_TOOLS_FILE_MATCH_H

#include <stdint.h>

#include <optional>
#include <vector>

#include "cursor/file_items.h"
#include "cursor/known_file.h"

namespace tool {

/// How much of a known file is in a data file as it is now.
struct FileMatch {
    std::vector<MovedItems> moves;  ///< Where its items are now, in order. What is between them is gone.
    uint64_t found = 0;             ///< How many items were found again by their hashes.
    uint64_t items = 0;             ///< Items of the data file up to the last one that was known.
    uint64_t doubtful = 0;          ///< Items after it that may or may not have been known.
    bool isWhole = false;           ///< The data file begins with all of its items.
};

/// Returns nothing when the data file shows nothing of the known one.
std::optional<FileMatch> matchFile(const KnownFile &known, const ItemTable &table);

/// For a data file that is certainly the known one, although it has lost everything that could show it.
FileMatch matchLostFile(const KnownFile &known, const ItemTable &table);

/// For a data file that begins with all of the known items.
FileMatch matchWholeFile(const KnownFile &known);

/// Whether a data file begins with these items.
bool beginsWith(const ItemTable &table, const FileSum &sum);

enum class Likeness {
    Same,     ///< It is the known file, of which some lines may have been damaged.
    Unclear,  ///< The known file would have lost much: all, or all but a few items.
    Other,
};

/// Whether a data file that gets no more items may be the known one.
Likeness likenessOf(const KnownFile &known, const ItemTable &table);

}  // namespace tool

#endif
