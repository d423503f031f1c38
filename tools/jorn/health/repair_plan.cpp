// SPDX-License-Identifier: Apache-2.0
#include "health/repair_plan.h"

#include "system/failure.h"

namespace tool {
namespace {

Failure refusal(const StoreDirectory &directory, const Diagnosis &diagnosis, const std::string &why) {
    std::string advice = "; nothing was changed. ";
    if (diagnosis.hasStrangeEntries()) {
        advice += "`jorn check` names what is in the way";
    } else {
        advice += "If you know the ring, describe it with --files, --oldest and --latest";
    }
    return Failure(directory.path() + ": " + why + advice,
                   diagnosis.unreadable.empty() ? kExitDamage : kExitInputOutput);
}

/// Index and positions stay as they are in a log that was cleared: nobody wants its items back.
Placement asItIs(const RingFacts &facts) { return {facts.index.value_or(IndexPositions{}), {}, {}}; }

Placement choosePlacement(const StoreDirectory &directory, const Diagnosis &diagnosis) {
    if (!diagnosis.isSteady || !diagnosis.growing.empty()) {
        throw Failure(directory.path() + ": is being written to; stop its writer first");
    }
    if (diagnosis.order.source == RingOrder::Source::Cleared) {
        return asItIs(diagnosis.facts);
    }
    if (!diagnosis.order.isKnown()) {
        throw refusal(directory, diagnosis, diagnosis.order.evidence);
    }
    if (!diagnosis.placement) {
        throw refusal(directory, diagnosis,
                      "more files than a ring of " + std::to_string(diagnosis.facts.ringSize) + " can hold");
    }
    return *diagnosis.placement;
}

/// A directory in which nothing was ever stored needs no index; the store creates it.
bool isFresh(const Diagnosis &diagnosis) {
    return diagnosis.look.highestFile() < 0 && !diagnosis.look.index.entry.isPresent() &&
           !diagnosis.look.backup.entry.isPresent();
}

void planIndex(const Diagnosis &diagnosis, RepairPlan *plan) {
    if (isFresh(diagnosis)) {
        return;
    }
    plan->indexText = indexTextOf(plan->placement.positions);
    const bool isSame =
        diagnosis.isIndexWhole() && diagnosis.look.index.positions() == plan->placement.positions;
    if (!isSame) {
        plan->steps.push_back("write index.csv: " + textOf(plan->placement.positions) + ", because " +
                              diagnosis.order.reason());
    } else {
        plan->indexText = diagnosis.look.index.text;
    }
    if (diagnosis.look.backup.entry.isPresent()) {
        plan->steps.emplace_back("remove index.bak");
    }
}

void planMoves(RepairPlan *plan) {
    for (const int position : plan->placement.dropped) {
        plan->steps.push_back("leave out " + dataFileName(position) +
                              ", which holds no item and is in the way");
    }
    for (const FileMove &move : plan->placement.moves) {
        plan->steps.push_back("rename " + dataFileName(move.from) + " to " + dataFileName(move.to));
    }
}

void planMending(const Diagnosis &diagnosis, RepairPlan *plan) {
    for (const auto &[position, scan] : diagnosis.scans) {
        if (scan.needsMending() && plan->placement.targetOf(position)) {
            plan->mended.insert(position);
            plan->steps.push_back("mend the lines of " + dataFileName(position) + ", keeping its " +
                                  std::to_string(scan.items) + " items");
        }
    }
}

}  // namespace

RepairPlan planRepair(const StoreDirectory &directory, const Diagnosis &diagnosis) {
    RepairPlan plan;
    plan.placement = choosePlacement(directory, diagnosis);
    planMending(diagnosis, &plan);
    planMoves(&plan);
    planIndex(diagnosis, &plan);
    return plan;
}

}  // namespace tool
