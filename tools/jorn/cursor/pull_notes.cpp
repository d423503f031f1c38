// SPDX-License-Identifier: Apache-2.0
#include "cursor/pull_notes.h"

#include "terminal/counted.h"

namespace tool {
namespace {

constexpr char kUnknownOutcome[] = "a transfer whose outcome is unknown: it may have arrived";

}  // namespace

PullNotes::PullNotes(const RingView &view) : directory_(view.directory()), texts_(view.notes()) {
    for (const std::string &text : view.damage().texts()) {
        damage_.addText(text);
    }
}

void PullNotes::addGone(const KnownFile &known) {
    const uint64_t items = known.numbered.count(ItemState::Pending);
    if (items > 0) {
        add(counted(items, "item is", "items are") + " gone of " + kUnknownOutcome);
    }
}

void PullNotes::addDamaged(const RingFile &file, uint64_t items) {
    if (items > 0) {
        texts_.push_back(file.path + ": " + counted(items, "item was", "items were") + " damaged after " +
                         kUnknownOutcome);
    }
}

void PullNotes::addDoubtful(const RingFile &file, uint64_t items) {
    if (items > 0) {
        texts_.push_back(file.path + ": lost its end since it was read; " + counted(items, "item", "items") +
                         " there may be new or not: left out");
    }
}

void PullNotes::addGap(uint64_t least) {
    add("written faster than it was read: " +
        (least > 0 ? "at least " + counted(least, "item is", "items are") + " gone" : "items may be gone"));
}

void PullNotes::addGoneUnread() { add("a file that could not be read is gone: its items were not sent"); }

void PullNotes::addOtherLog() {
    add("what was read before is not there: another log has taken its place, or its clock was put back; a "
        "new epoch begins");
}

void PullNotes::addUnreadable(int number, const char *waiting) {
    damage_.addText(directory_.pathOf(dataFileName(number)) + ": cannot be read; " + waiting +
                    " wait until it can");
}

void PullNotes::add(const std::string &text) { texts_.push_back(directory_.path() + ": " + text); }

}  // namespace tool
