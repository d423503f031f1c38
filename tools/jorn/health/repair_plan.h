// SPDX-License-Identifier: Apache-2.0
// What a repair does to a directory, decided before anything is touched.
#ifndef JORN_TOOLS_REPAIR_PLAN_H
#define JORN_TOOLS_REPAIR_PLAN_H

#include <set>
#include <string>
#include <vector>

#include "health/diagnosis.h"

namespace tool {

struct RepairPlan {
    Placement placement;
    std::string indexText;           ///< Of the index afterwards; empty where the log needs none.
    std::set<int> mended;            ///< Positions of the files that lose lines or get a line end.
    std::vector<std::string> steps;  ///< What is done, one text each; empty when there is nothing to do.

    bool isNothing() const { return steps.empty(); }
};

/// Throws Failure, with kExitDamage, when the ring's order cannot be determined or its files do not fit.
RepairPlan planRepair(const StoreDirectory &directory, const Diagnosis &diagnosis);

}  // namespace tool

#endif
