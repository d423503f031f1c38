// SPDX-License-Identifier: Apache-2.0
// Finds the items of a known file again among those of a data file. Pure: from hashes to a verdict.
#ifndef JORN_TOOLS_FILE_MATCH_H
#define JORN_TOOLS_FILE_MATCH_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <vector>

#include "cursor/known_file.h"

namespace tool {

/// How much of a known file is in a data file as it is now.
struct FileMatch {
    /// How well it is known, the best first.
    enum class Kind {
        Whole,  ///< The data file begins with all of its items.
        Moved,  ///< The last ones are there, in one place only: some before them were damaged.
        Cut,    ///< The data file has lost its end, as in a power cut, and has perhaps got other items since.
        Vague,  ///< It has lost more than is known one by one, so that some items are doubtful.
    };
    Kind kind = Kind::Whole;
    uint64_t items = 0;     ///< Items of the data file up to the last one that was known.
    uint64_t doubtful = 0;  ///< Items after it of which nobody knows whether they were known.
};

/// `hashes` are those of all items of the data file. Nothing when it shows nothing of the known one.
std::optional<FileMatch> matchFile(const KnownFile &known, const std::vector<uint64_t> &hashes);

/// The same for a data file that is the known one for certain, although it has lost all that could show it.
FileMatch matchLostFile(const KnownFile &known, const std::vector<uint64_t> &hashes);

/// Whether a data file begins with these items.
bool beginsWith(const std::vector<uint64_t> &hashes, const FileSum &sum);

}  // namespace tool

#endif
