// SPDX-License-Identifier: Apache-2.0
#include "record/clearing.h"

#include <unistd.h>

#include <array>
#include <string>

#include "csvfile/line.h"
#include "query/item_query.h"
#include "record/ring_fit.h"
#include "ring.h"
#include "system/failure.h"
#include "system/file_replacement.h"

namespace tool {
namespace {

FileReplacement prepare(const StoreDirectory &directory, const std::string &name, const std::string &bytes) {
    return FileReplacement(directory.descriptor(), name, directory.pathOf(name), bytes);
}

Failure damaged(const StoreDirectory &directory, const std::string &what) {
    return Failure(directory.path() + ": " + what + "; nothing was changed. See jorn check and jorn repair",
                   kExitDamage);
}

void countItemsInView(const StoreDirectory &directory, int ringSize, ClearingPlan *plan) {
    const RingView view(directory, ringSize);
    DamageLog ignored;  // Damaged lines leave the view too, but are not items.
    plan->items = countItems(view, {}, &ignored).tally.total();
    for (const RingFile &file : view.files()) {
        if (file.number == plan->target) {
            plan->overwritten = digestOf(file, &ignored).info.itemCount;
        }
    }
}

std::string firstLine(uint32_t now) {
    std::array<char, jorn::kLineSize> line;
    jorn::appendLine(line.data(), now, jorn::kLevelDebug, 0, jorn::kClearedText);
    return line.data();
}

}  // namespace

ClearingPlan planClearing(const StoreDirectory &directory, std::optional<int> ringSize) {
    const RingLook look = RingLook::ofReadable(directory);
    ClearingPlan plan;
    if (look.isFresh()) {
        return plan;
    }
    if (!look.index().positions()) {
        throw damaged(directory, "the index is missing or damaged");
    }
    plan.former = look.positions();
    const RingSize size = chooseRingSize(directory, look, ringSize, false);
    const int files = size.files;
    plan.note = size.note.empty() ? "" : "note: " + size.note;
    if (!size.isKnown && plan.former.latest + 1 >= look.smallestRing()) {
        throw unknownSize(directory, "the next file may be " + dataFileName(plan.former.latest + 1) + " or " +
                                         dataFileName(0));
    }
    if (!isInRing(plan.former, files)) {
        throw damaged(directory,
                      "the index names files outside a ring of " + std::to_string(files) + " files");
    }
    plan.target = jorn::ringSuccessor(files, plan.former.latest);
    countItemsInView(directory, files, &plan);
    return plan;
}

void clearLog(const StoreDirectory &directory, const ClearingPlan &plan, uint32_t now) {
    FileReplacement data = prepare(directory, dataFileName(plan.target), firstLine(now));
    FileReplacement index = prepare(directory, kIndexName, indexTextOf({plan.target, plan.target}));
    // In the store's own order: a cut between the two leaves the same state as a cut in the store's clearing.
    index.takePlace();
    data.takePlace();
    unlinkat(directory.descriptor(), kIndexBackupName, 0);
    syncNames(directory.descriptor());
}

}  // namespace tool
