// SPDX-License-Identifier: Apache-2.0
#include "cursor/pull_plan.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ring.h"

namespace tool {
namespace {

class PullPlanner {
public:
    PullPlanner(LogFiles *files, const LogCursor &cursor, uint64_t newEpoch, PullNotes *notes)
        : files_(*files), notes_(*notes), newEpoch_(newEpoch) {
        plan_.cursor = cursor;
    }

    /// False when it must wait until files can be read, or there are items.
    bool run() {
        if (isIndexLost()) {
            plan_.isWaiting = true;
            return false;
        }
        if (files_.view().files().empty()) {
            return false;
        }
        if (!plan_.cursor.hasBegun()) {
            beginEpoch();
            beginAtOldest();
            return true;
        }
        if (goOnInEpoch()) {
            return true;
        }
        plan_.isWaiting = noteUnread();
        return !plan_.isWaiting && goOnWithoutFile();
    }

    /// Without one yet, the epoch begins all the same.
    void beginFirstEpoch() {
        if (!plan_.cursor.hasBegun()) {
            beginEpoch();
        }
    }

    PullPlan &plan() { return plan_; }

private:
    /// Nobody knows which file is the newest; all wait until the index is mended.
    bool isIndexLost() const {
        const RingView &view = files_.view();
        return !view.index().positions() && view.look().highestFile() > 0;
    }

    /// A log that was replaced may have come back: then a former epoch is recognised, and the current one
    /// not, or by less.
    bool goOnInEpoch() {
        const auto here = recognise(&files_, plan_.current());
        for (size_t i = plan_.cursor.epochs.size(); i > 1 && (!here || here->weight < kProof); --i) {
            const Numbering earlier = plan_.cursor.epochs[i - 2];
            const auto found = recognise(&files_, earlier);
            if (found && found->weight >= kFewest && (!here || here->weight < found->weight)) {
                enterEpoch(&plan_.cursor, earlier);
                goOn(*found);
                return true;
            }
        }
        if (here) {
            goOn(*here);
        }
        return here.has_value();
    }

    void goOn(const Recognition &found) {
        plan_.newest = found.number;
        files_.assumeToBegin(found.isToBegin);
        plan_.former = updateCursor(&files_, &plan_.cursor, found, &notes_);
        noteKnownEnds();
        chooseFiles();
    }

    void noteKnownEnds() {
        for (const KnownFile &known : plan_.current().files) {
            const bool isClosed = files_.age(known.number) > files_.age(plan_.newest);
            if (isClosed && !known.isUnread && known.numbered.hasAny()) {
                plan_.knownToTheirEnds.insert(known.number);
            }
        }
    }

    /// Whether files cannot be read that may show which log this is.
    bool noteUnread() {
        bool isAny = false;
        for (int number = 0; number < jorn::kSurveySize; ++number) {
            const bool isNeeded = files_.isInView(number) || plan_.current().file(number) != nullptr;
            if (isNeeded && files_.isUnreadable(number)) {
                notes_.addUnreadable(number, "new items");
                isAny = true;
            }
        }
        return isAny;
    }

    /// What is in view and not done with; and what was put out of view, but is pending, could not be read, or
    /// came after the newest known file.
    void chooseFiles() {
        const std::vector<RingFile> &files = files_.view().files();
        const auto isOpen = [&](int number) {
            const KnownFile *const known = plan_.current().file(number);
            const bool isLeft = known != nullptr && known->isOpen();
            return isLeft ? !isDone(number) : files_.age(number) <= files_.age(plan_.newest);
        };
        for (int number = 0; number < jorn::kSurveySize; ++number) {
            if (files_.isInView(number) || !files_.exists(number) || !isOpen(number)) {
                continue;
            }
            if (const RingFile *const file = files_.numbered(number)) {
                plan_.files.push_back(file);
            } else {
                notes_.addUnreadable(number, "its items");
                plan_.markUnread(number);
            }
        }
        for (const RingFile &file : files) {
            if (!isDone(file.number)) {
                plan_.files.push_back(&file);
            }
        }
        std::sort(plan_.files.begin(), plan_.files.end(), [this](const RingFile *a, const RingFile *b) {
            return files_.age(a->number) > files_.age(b->number);
        });
    }

    bool isDone(int number) {
        if (plan_.knownToTheirEnds.count(number) == 0) {
            return false;
        }
        const KnownFile &known = *plan_.current().file(number);
        const RingFile *const file = files_.numbered(number);
        const bool isToSend =
            known.numbered.has(ItemState::Pending) &&
            (files_.isUnreadable(number) || (file != nullptr && beginsWith(files_.table(*file), known.sum)));
        return !isToSend;
    }

    /// False when nothing shows yet which log this is.
    bool goOnWithoutFile() {
        const KnownFile *const last = plan_.current().newest();
        const RingFile *const oldest = oldestWithItems();
        if (oldest == nullptr) {
            return false;
        }
        if (last != nullptr && mayBeSameLog(*last, *oldest)) {
            plan_.files = clearedFiles(*last);
            std::for_each(plan_.current().files.begin(), plan_.current().files.end(),
                          [this](const KnownFile &known) { noteGone(known, &plan_.cursor, &notes_); });
            noteGapAfter(*last, plan_.files.empty() ? *oldest : *plan_.files.front());
            plan_.current().replace(last->number);
        } else if (last != nullptr) {
            notes_.addOtherLog();
            beginEpoch();
        }
        plan_.current().files.clear();
        beginAtOldest();
        return true;
    }

    void beginEpoch() {
        Numbering numbering;
        numbering.epoch = newEpoch_;
        for (const Numbering &other : plan_.cursor.epochs) {
            numbering.epoch = std::max(numbering.epoch, other.epoch + 1);
        }
        enterEpoch(&plan_.cursor, std::move(numbering));
    }

    /// Files that a clearing put out of view before they were read, the oldest first: a writer that has come
    /// round has started them all anewEpoch_ since.
    std::vector<const RingFile *> clearedFiles(const KnownFile &last) {
        std::vector<const RingFile *> cleared;
        for (int age = files_.view().ringSize() - 1; age >= 0 && files_.isCleared(); --age) {
            const int number = files_.ofAge(age);
            const RingFile *const file = files_.isInView(number) ? nullptr : files_.numbered(number);
            if (file != nullptr && isNewSince(last, files_.table(*file))) {
                cleared.push_back(file);
            }
        }
        return cleared;
    }

    bool isNewSince(const KnownFile &last, const ItemTable &table) const {
        const std::vector<KnownFile> &files = plan_.cursor.current().files;
        return !table.times.empty() && table.times.front() >= last.time &&
               std::none_of(files.begin(), files.end(), [&table](const KnownFile &known) {
                   return likenessOf(known, table) != Likeness::Other;
               });
    }

    /// All that is in view is new. The file before it is out of view after a clearing, but shows that the
    /// writer has not come round.
    void beginAtOldest() {
        const std::vector<RingFile> &files = files_.view().files();
        plan_.current().ringSize = files_.view().ringSize();
        const int before = files_.ofAge(files_.age(files.front().number) + 1);
        const RingFile *const former = files_.isInView(before) ? nullptr : files_.numbered(before);
        const bool isToRead = !plan_.files.empty() && plan_.files.back() == former;
        if (former != nullptr && !isToRead && !files_.table(*former).hashes.empty()) {
            KnownFile *const known = plan_.current().fileOrNew(before);
            trackOf(files_.table(*former), files_.table(*former).hashes.size()).describe(known);
        }
        std::transform(files.begin(), files.end(), std::back_inserter(plan_.files),
                       [](const RingFile &file) { return &file; });
    }

    const RingFile *oldestWithItems() {
        const std::vector<RingFile> &files = files_.view().files();
        const auto oldest = std::find_if(files.begin(), files.end(), [this](const RingFile &file) {
            return !files_.table(file).hashes.empty();
        });
        return oldest == files.end() ? nullptr : &*oldest;
    }

    /// Whether the writer may have come round, or was cleared, so that all that was read is gone. Another log
    /// begins anew, or has other times.
    bool mayBeSameLog(const KnownFile &last, const RingFile &oldest) {
        const RingView &view = files_.view();
        const bool isLater = files_.table(oldest).times.front() >= last.time;
        const bool isFull = view.files().size() == static_cast<size_t>(view.ringSize()) &&
                            view.ringSize() >= plan_.current().ringSize;
        const bool hasComeRound =
            view.look().hasWrapped() || (isFull && view.look().positions().latest >= last.number);
        return isLater && (hasComeRound || files_.isCleared());
    }

    /// The rest of the last file is gone, and the files between that and the oldest one. The numbers have
    /// room for all that these can hold. How much it was nobody knows: a clearing closes a file that is not
    /// full. At least there is an item in each file.
    void noteGapAfter(const KnownFile &last, const RingFile &oldest) {
        constexpr uint64_t kFile = jorn::kCsvItemMax;
        const int size = files_.view().ringSize();
        const auto between = static_cast<uint64_t>(jorn::ringPosition(size, oldest.number - last.number - 1));
        const uint64_t rest = kFile - std::min(kFile, last.sum.items);
        const bool isSameRing = size == plan_.current().ringSize;
        const uint64_t least = isSameRing ? between : 0;
        plan_.current().highest += std::max<uint64_t>(1, rest + between * kFile);
        ++plan_.cursor.gaps;
        plan_.cursor.lost += least;
        notes_.addGap(least);
    }

    LogFiles &files_;
    PullNotes &notes_;
    const uint64_t newEpoch_;
    PullPlan plan_;
};

}  // namespace

void PullPlan::markUnread(int number) {
    if (knownToTheirEnds.count(number) == 0) {
        current().fileOrNew(number)->isUnread = true;
    }
    hasUnread = true;
}

PullPlan planPull(LogFiles *files, const LogCursor &cursor, uint64_t newEpoch, PullNotes *notes) {
    const size_t noted = notes->texts().size();
    PullPlanner planner(files, cursor, newEpoch, notes);
    if (planner.run() && !files->isOvertaken()) {
        planner.plan().isMade = true;
        return planner.plan();
    }
    // What was seen is not the whole of the log.
    notes->dropAfter(noted);
    PullPlanner idle(files, cursor, newEpoch, notes);
    idle.beginFirstEpoch();
    idle.plan().isWaiting = planner.plan().isWaiting;
    return idle.plan();
}

}  // namespace tool
