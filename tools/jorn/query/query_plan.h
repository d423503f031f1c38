// SPDX-License-Identifier: Apache-2.0
// How a question is answered, decided from the filter and the digests alone. Pure: opens no file.
//
// What summaries cannot say, and how it is met:
// - Lines that are no items are in no summary, and are no answer to any question.
// - A level outside 0 to 3 is in a file's number of items only, without its slot. Questions that such items
//   belong to read the files that have some, unless they ask for all items.
// - Times say only where a file begins and ends in time, and clocks are put back. A file is counted unread
//   only when both of its ends lie within the limits.
#ifndef JORN_TOOLS_QUERY_PLAN_H
#define JORN_TOOLS_QUERY_PLAN_H

#include <optional>
#include <vector>

#include "jorn.h"
#include "query/file_digest.h"
#include "query/item_filter.h"

namespace tool {

/// What a file has to do with a question.
enum class FileUse {
    Skip,     ///< Holds no match.
    Summary,  ///< Its digest tells how many match.
    Read,     ///< Only its lines tell.
};

enum class Route {
    Summaries,  ///< No line has to be read.
    Scan,       ///< Files are read, those that need it.
};

struct CountPlan {
    Route route = Route::Summaries;
    std::vector<FileUse> files;  ///< As the digests.
};

/// `digests` are those of the ring's files, the oldest first, and none missing between.
CountPlan planCount(const ItemFilter &filter, const std::vector<FileDigest> &digests);

/// Whether the module's answer to a question of whole days in UTC is right: it takes every file between the
/// two ends of the range that it finds for one that lies within the days, and every file outside for one that
/// does not. False where the limits are no whole days.
bool isModuleExact(const ItemFilter &filter, const std::vector<FileDigest> &digests);

/// The one question of the module that is the filter's, if there is one: limits of whole days in UTC, a level
/// and all below or exactly one, one slot or any, no pattern. Where "every level" is asked and there are
/// items beyond level 3, which the module cannot be asked for, there is none. Paging is left open.
std::optional<JORN_REQUIRE> asRequirement(const ItemFilter &filter, const std::vector<FileDigest> &digests);

}  // namespace tool

#endif
