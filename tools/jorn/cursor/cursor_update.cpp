// SPDX-License-Identifier: Apache-2.0
#include "cursor/cursor_update.h"

#include <utility>
#include <vector>

#include "cursor/content_search.h"
#include "cursor/file_match.h"

namespace tool {
namespace {

class CursorUpdate {
public:
    CursorUpdate(LogFiles *files, LogCursor *cursor, PullNotes *notes)
        : files_(*files), cursor_(*cursor), numbering_(cursor->current()), notes_(*notes) {}

    void run(const Recognition &found) {
        const std::vector<KnownFile> before = std::exchange(numbering_.files, {});
        numbering_.ringSize = files_.view().ringSize();
        bool isMoved = false;
        for (size_t i = 0; i < before.size(); ++i) {
            KnownFile known = before[i];
            isMoved = isMoved || known.number != found.numbers[i];
            known.number = found.numbers[i];
            if (known.number < 0 || numbering_.file(known.number) != nullptr) {
                gone(known);
                continue;
            }
            numbering_.files.push_back(known);
            if (known.number == found.number) {
                updateNewest(known, found.match);
            } else if (files_.age(known.number) < files_.age(found.number)) {
                updateNewer(known);
            } else if (known.isOpen()) {
                updateOpen(known);
            }
        }
        takeBack(isMoved);
    }

    const FormerFiles &former() const { return former_; }

private:
    /// A power cut may bring back what was in a file before it was started afresh. All files are looked at
    /// only where they have other numbers than before: that is costly.
    void takeBack(bool isMoved) {
        if (!numbering_.replaced) {
            return;
        }
        const KnownFile &replaced = *numbering_.replaced;
        const int number = isMoved ? numbersByContent(&files_, {replaced}).front() : placeOf(replaced);
        if (number >= 0 && !files_.isUnreadable(number) && numbering_.file(number) == nullptr) {
            numbering_.files.push_back(replaced);
            numbering_.files.back().number = number;
            numbering_.replaced.reset();
        }
    }

    int placeOf(const KnownFile &replaced) {
        const bool isKnown = numbering_.file(replaced.number) != nullptr;
        const RingFile *const file = isKnown ? nullptr : files_.numbered(replaced.number);
        return file != nullptr && hasContentOf(replaced, files_.table(*file)) ? replaced.number : -1;
    }

    void updateNewest(const KnownFile &known, const FileMatch &match) {
        if (const RingFile *const file = files_.numbered(known.number)) {
            adopt(*file, match);
            notes_.addDoubtful(*file, match.doubtful);
        } else if (!files_.exists(known.number)) {
            gone(known);
            numbering_.forget(known.number);
        }
    }

    /// The writer has started it afresh, unless it has been cleared and nothing was stored since, or its
    /// index was lost. One that cannot be read now will be read from its begin.
    void updateNewer(const KnownFile &known) {
        const RingFile *const file = files_.numbered(known.number);
        const auto match = file != nullptr ? matchFile(known, files_.table(*file)) : std::nullopt;
        if (file != nullptr && isUnchanged(*file, known)) {
            former_[known.number] = known.sum.items;
        } else if (match && match->found >= kProof) {
            adopt(*file, *match);
            notes_.addDoubtful(*file, match->doubtful);
            former_[known.number] = match->items + match->doubtful;
        } else if (file != nullptr && isDamaged(*file, known)) {
            keepDamaged(*file);
        } else {
            gone(known);
            numbering_.replace(known.number);
        }
    }

    /// Few items may be the same by chance.
    bool isUnchanged(const RingFile &file, const KnownFile &known) {
        const ItemTable &table = files_.table(file);
        const bool isProof = known.sum.items >= kProof || isOfClock(known.time) ||
                             (known.sum.items >= kFewest && table.hashes.size() == known.sum.items);
        return isProof && beginsWith(table, known.sum);
    }

    bool isDamaged(const RingFile &file, const KnownFile &known) {
        constexpr uint64_t kMany = 16;
        const Likeness likeness = likenessOf(known, files_.table(file));
        return isOfClock(known.time) ? likeness != Likeness::Other && !files_.table(file).hashes.empty()
                                     : likeness == Likeness::Same && known.sum.items >= kMany;
    }

    /// All that is left of it was known. If it was out of view then, it is still to be sent.
    void keepDamaged(const RingFile &file) {
        KnownFile *const known = numbering_.file(file.number);
        const uint64_t items = files_.table(file).hashes.size();
        notes_.addDamaged(file, known->numbered.count(ItemState::Pending));
        if (known->numbered.hasAny()) {
            known->numbered = {};
            known->numbered.set({0, items, 0, ItemState::LeftOut});
        }
        trackOf(files_.table(file), items).describe(known);
        former_[file.number] = items;
    }

    void updateOpen(const KnownFile &known) {
        const RingFile *const file =
            files_.isUnreadable(known.number) ? nullptr : files_.numbered(known.number);
        if (file == nullptr) {
            return;
        }
        if (const auto match = matchFile(known, files_.table(*file))) {
            adopt(*file, *match);
            notes_.addDoubtful(*file, match->doubtful);
        } else if (known.isUnread) {
            const FileMatch lost = matchLostFile(known, files_.table(*file));
            adopt(*file, lost);
            notes_.addDoubtful(*file, lost.doubtful);
        } else {
            notes_.addDamaged(*file, known.numbered.count(ItemState::Pending));
            numbering_.file(known.number)->numbered.change(ItemState::Pending, ItemState::LeftOut);
        }
    }

    /// Items that were damaged have gone, and those after them have moved.
    void adopt(const RingFile &file, const FileMatch &match) {
        if (match.isWhole) {
            return;
        }
        KnownFile *const known = numbering_.file(file.number);
        const uint64_t items = match.items + match.doubtful;
        const uint64_t pending = known->numbered.count(ItemState::Pending);
        std::vector<MovedItems> moves = match.moves;
        moves.push_back({known->sum.items, items, UINT64_MAX - known->sum.items});
        known->numbered.move(moves);
        notes_.addDamaged(file, pending - known->numbered.count(ItemState::Pending));
        if (items > 0) {
            trackOf(files_.table(file), items).describe(known);
        } else {
            numbering_.forget(file.number);
        }
    }

    void gone(const KnownFile &known) { noteGone(known, &cursor_, &notes_); }

    LogFiles &files_;
    LogCursor &cursor_;
    Numbering &numbering_;
    PullNotes &notes_;
    FormerFiles former_;
};

}  // namespace

FormerFiles updateCursor(LogFiles *files, LogCursor *cursor, const Recognition &found, PullNotes *notes) {
    CursorUpdate update(files, cursor, notes);
    update.run(found);
    return update.former();
}

void noteGone(const KnownFile &known, LogCursor *cursor, PullNotes *notes) {
    notes->addGone(known);
    if (known.numbered.has(ItemState::Reserved)) {
        ++cursor->gaps;
        ++cursor->lost;
        notes->addGoneUnread();
    }
}

}  // namespace tool
