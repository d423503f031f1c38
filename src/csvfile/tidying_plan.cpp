// SPDX-License-Identifier: Apache-2.0
#include "csvfile/tidying_plan.h"

namespace jorn {
namespace {

bool isSurveyed(int32_t position) { return position >= 0 && position < kSurveySize; }

/// Visits of the survey that are within the former valid range, minus one. Counted modulo 90, whatever the
/// ring's size. 64 bits wide because the oldest position may be any number.
int64_t formerSpan(int32_t oldest, int32_t latest) {
    const int64_t span = static_cast<int64_t>(latest) - oldest;
    return latest < oldest ? span + kSurveySize : span;
}

int32_t stepDown(int32_t position, int32_t modulus) { return position == 0 ? modulus - 1 : position - 1; }

}  // namespace

void planTidying(const RingBefore &ring, FileExists fileExists, const void *context, TidyingPlan *plan) {
    plan->firstVisited = isSurveyed(ring.latest) ? ring.latest : kSurveySize - 1;
    plan->latest = plan->firstVisited < ring.csvNum ? plan->firstVisited : ring.csvNum - 1;
    plan->oldest = plan->latest;

    const int64_t span = formerSpan(ring.oldest, plan->firstVisited);
    int32_t position = plan->firstVisited;
    int32_t nextTarget = plan->latest;
    int32_t found = 0;
    for (int32_t visit = 0; visit < kSurveySize; ++visit) {
        if (!fileExists(position, context)) {
            plan->moveTable[position] = position;
        } else if (found >= ring.csvNum) {
            plan->moveTable[position] = kSurplus;
        } else {
            ++found;
            if (visit <= span) {
                plan->oldest = nextTarget;
            }
            plan->moveTable[position] = nextTarget;
            nextTarget = stepDown(nextTarget, ring.csvNum);
        }
        position = stepDown(position, kSurveySize);
    }
}

}  // namespace jorn
