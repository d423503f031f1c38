// SPDX-License-Identifier: Apache-2.0
// Finds a place again among the items of a data file. Pure: from hashes to a verdict.
#ifndef JORN_TOOLS_PLACE_MATCH_H
#define JORN_TOOLS_PLACE_MATCH_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <vector>

#include "cursor/place.h"

namespace tool {

/// Where a place is in a file as it is now.
struct PlaceMatch {
    /// How well it is known, the best first.
    enum class Kind {
        Whole,  ///< All items before it are as they were.
        Moved,  ///< The last ones are, in one place only: some before them were damaged.
        Cut,    ///< The file has lost its end, as in a power cut, and has perhaps got other items since.
        Vague,  ///< It has lost more than is known one by one, so that some items are doubtful.
    };
    Kind kind = Kind::Whole;
    uint64_t items = 0;     ///< Items of the file before it.
    uint64_t missing = 0;   ///< Items before it that the file has lost since, counted back from the place.
    uint64_t doubtful = 0;  ///< Items after it of which nobody knows whether they were before it.
};

/// `hashes` are those of all items of the file. Nothing when the file does not hold the place.
std::optional<PlaceMatch> matchPlace(const Place &place, const std::vector<uint64_t> &hashes);

/// The same for a file that is known to be that of the place although it has lost all that could show it.
PlaceMatch matchLostPlace(const Place &place, const std::vector<uint64_t> &hashes);

FileSum sumOf(const std::vector<uint64_t> &hashes);

/// Whether a file begins with these items.
bool beginsWith(const std::vector<uint64_t> &hashes, const FileSum &sum);

}  // namespace tool

#endif
