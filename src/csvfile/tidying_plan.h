// SPDX-License-Identifier: Apache-2.0
// The start-up tidying as data: from "which files exist" to what becomes of each.
#ifndef JORN_SRC_CSVFILE_TIDYING_PLAN_H
#define JORN_SRC_CSVFILE_TIDYING_PLAN_H

#include <stdint.h>

#include "module_limits.h"

namespace jorn {

/// Every position that any ring could ever have had.
constexpr int32_t kSurveySize = kCsvNumMax;

/// The entry of a file that is to be deleted.
constexpr int32_t kSurplus = kSurveySize;

/// Where the index left the ring, and how large the ring is now.
struct RingBefore {
    int32_t oldest;  ///< As the index gave it; any value.
    int32_t latest;  ///< As the index gave it; any value.
    int32_t csvNum;  ///< Files of the ring, 2 to 90.
};

/// What is to be done. The newest csvNum files keep their order and get consecutive positions that end
/// at `latest`; older ones are surplus.
struct TidyingPlan {
    int32_t firstVisited;            ///< Position whose file is the newest; applied last.
    int32_t oldest;                  ///< New oldest position, in the ring.
    int32_t latest;                  ///< New latest position, in the ring.
    int32_t moveTable[kSurveySize];  ///< By position: itself = leave alone, kSurplus = delete, other =
                                     ///< rename to that position.
};

/// Returns whether the data file of a position exists.
using FileExists = bool (*)(int32_t position, const void *context);

/// Surveys all 90 positions once, from the newest file downward, and makes the plan. No other input or
/// output. A latest position that no ring can have (negative, 90 and above) is taken as 89: the survey then
/// starts above every file, and no file of a full ring is moved. An oldest position may be any number; it
/// only determines how many visits belong to the former range.
void planTidying(const RingBefore &ring, FileExists fileExists, const void *context, TidyingPlan *plan);

}  // namespace jorn

#endif
