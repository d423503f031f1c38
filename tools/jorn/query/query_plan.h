// SPDX-License-Identifier: Apache-2.0
// How a question is answered, decided from the filter and the digests alone. Pure: opens no file.
//
// What summaries cannot answer, and how that is handled:
// - Lines that are not items are in no summary and match no question.
// - An item of a level outside 0 to 3 is counted only in its file's total, without its slot. A question that
//   such items may match reads the files that have some, unless it asks for all items.
// - Of times, a summary has only the earliest and the latest of a file, as clocks may be stepped back. A file
//   is counted unread only when both are within the limits.
#ifndef JORN_TOOLS_QUERY_PLAN_H
#define JORN_TOOLS_QUERY_PLAN_H

#include <optional>
#include <vector>

#include "jorn.h"
#include "query/file_digest.h"
#include "query/item_filter.h"

namespace tool {

/// How a file contributes to an answer.
enum class FileUse {
    Skip,     ///< Holds no match.
    Summary,  ///< Its digest gives the number of matches.
    Read,     ///< Its lines have to be read.
};

enum class Route {
    Summaries,  ///< No line has to be read.
    Scan,       ///< The files that need it are read.
};

struct CountPlan {
    Route route = Route::Summaries;
    std::vector<FileUse> files;  ///< In the order of the digests.
};

/// `digests` are those of the ring's files, the oldest first, with none missing.
CountPlan planCount(const ItemFilter &filter, const std::vector<FileDigest> &digests);

/// Whether the module's answer to a question about whole days in UTC is right: it assumes that every file
/// between the two ends of the range that it finds is wholly within the days, and every file outside the
/// range wholly outside them. False where the limits are not whole days.
bool isModuleExact(const ItemFilter &filter, const std::vector<FileDigest> &digests);

/// The module's request that asks the same as the filter, if there is one: limits of whole days in UTC, a
/// level and all below or exactly one, one slot or any, no pattern. There is none where every level is wanted
/// and there are items of levels outside 0 to 3, which the module cannot be asked for. The caller sets the
/// paging.
std::optional<JORN_REQUIRE> asRequirement(const ItemFilter &filter, const std::vector<FileDigest> &digests);

}  // namespace tool

#endif
