// SPDX-License-Identifier: Apache-2.0
#include "cursor/log_pull.h"

#include <limits.h>

#include <algorithm>
#include <utility>

#include "cursor/content_search.h"
#include "cursor/log_stamp.h"
#include "ring.h"
#include "terminal/counted.h"

namespace tool {
namespace {

std::string stampOf(const RingView &view) {
    if (view.files().empty() || !view.index().isStill(view.directory())) {
        return "";
    }
    const RingFile &newest = view.files().back();
    return stampOf(view.directory(), newest.number, newest.size);
}

bool passes(const Line &line, const ItemFilter &filter) {
    return filter.hasNumbers(line.numbers) &&
           (filter.pattern == nullptr || filter.hasText(textIn(line.bytes)));
}

/// The first items of a file.
FileTrack trackOf(const ItemTable &table, uint64_t items) {
    FileTrack track;
    for (size_t i = 0; i < items; ++i) {
        track.take(table.hashes[i], table.times[i]);
    }
    return track;
}

}  // namespace

LogPull::LogPull(const StoreDirectory &directory, std::optional<int> ringSize, const LogCursor &cursor,
                 uint64_t fresh)
    : files_(directory, ringSize), stamp_(stampOf(files_.view())), reached_(cursor) {
    const RingView &view = files_.view();
    notes_ = view.notes();
    for (const std::string &text : view.damage().texts()) {
        damage_.addText(text);
    }
    if (!canPlan()) {
        beginFirstEpoch(fresh);
        return;
    }
    const std::vector<std::string> notes = notes_;
    isPlanned_ = plan(fresh);
    isOvertaken_ = files_.isOvertaken();
    if (!isPlanned_ || isOvertaken_) {
        // What was seen is not the whole of the log.
        isPlanned_ = false;
        notes_ = notes;
        walk_.clear();
        former_.clear();
        hasUnread_ = false;
        reached_ = cursor;
        beginFirstEpoch(fresh);
    }
}

/// Without an index, nobody knows which file is the newest; all wait until it is mended.
bool LogPull::canPlan() const {
    const RingView &view = files_.view();
    const bool isIndexLost = !view.index().positions() && view.look().highestFile() > 0;
    return !isIndexLost && !view.files().empty();
}

/// False when it must wait until files can be read, or there are items.
bool LogPull::plan(uint64_t fresh) {
    if (!reached_.hasBegun()) {
        beginEpoch(fresh);
        beginAtOldest();
        return true;
    }
    if (goOnInEpoch()) {
        return true;
    }
    return !noteUnread() && goOnWithoutFile(fresh);
}

/// A log that was replaced may have come back: then a former epoch is recognised, and the current one not, or
/// by less.
bool LogPull::goOnInEpoch() {
    const auto here = recognise(&files_, reached_.current());
    for (size_t i = reached_.epochs.size(); i > 1 && (!here || here->weight < kProof); --i) {
        const Numbering earlier = reached_.epochs[i - 2];
        const auto found = recognise(&files_, earlier);
        if (found && found->weight >= kFewest && (!here || here->weight < found->weight)) {
            enterEpoch(&reached_, earlier);
            goOn(*found);
            return true;
        }
    }
    if (here) {
        goOn(*here);
    }
    return here.has_value();
}

void LogPull::goOn(const Recognition &found) {
    newest_ = found.number;
    files_.assumeToBegin(found.isToBegin);
    updateKnown(found);
    chooseWalk();
}

/// Brings what is known of each file to what it is now.
void LogPull::updateKnown(const Recognition &found) {
    Numbering &numbering = reached_.current();
    const std::vector<KnownFile> before = std::exchange(numbering.files, {});
    numbering.ringSize = files_.view().ringSize();
    for (size_t i = 0; i < before.size(); ++i) {
        KnownFile known = before[i];
        known.number = found.numbers[i];
        if (known.number < 0 || numbering.file(known.number) != nullptr) {
            noteGone(known);
            continue;
        }
        numbering.files.push_back(known);
        if (known.number == found.number) {
            updateNewest(known, found.match);
        } else if (files_.age(known.number) < files_.age(found.number)) {
            updateNewer(known);
        } else if (known.isOpen()) {
            updateOpen(known);
        }
    }
    takeBack();
}

/// A power cut may bring back what was in a file before it was started afresh.
void LogPull::takeBack() {
    Numbering &numbering = reached_.current();
    const int number = numbering.replaced ? numberByContent(&files_, *numbering.replaced) : -1;
    if (number >= 0 && numbering.file(number) == nullptr) {
        numbering.files.push_back(*numbering.replaced);
        numbering.files.back().number = number;
        numbering.replaced.reset();
    }
}

void LogPull::updateNewest(const KnownFile &known, const FileMatch &match) {
    if (const RingFile *const file = files_.numbered(known.number)) {
        adopt(*file, match);
        noteDoubtful(*file, match);
    } else if (!files_.exists(known.number)) {
        noteGone(known);
        reached_.current().forget(known.number);
    }
}

/// The writer has started it afresh, unless it has been cleared and nothing was stored since, or its index
/// was lost. One that cannot be read now will be read from its begin.
void LogPull::updateNewer(const KnownFile &known) {
    const RingFile *const file = files_.numbered(known.number);
    const auto match = file != nullptr ? matchFile(known, files_.table(*file)) : std::nullopt;
    if (file != nullptr && isUnchanged(*file, known)) {
        former_[known.number] = known.sum.items;
    } else if (match && match->found >= kProof) {
        adopt(*file, *match);
        noteDoubtful(*file, *match);
        former_[known.number] = match->items + match->doubtful;
    } else if (file != nullptr && isDamaged(*file, known)) {
        keepDamaged(*file);
    } else {
        noteGone(known);
        reached_.current().replace(known.number);
    }
}

/// Few items may be the same by chance.
bool LogPull::isUnchanged(const RingFile &file, const KnownFile &known) {
    const ItemTable &table = files_.table(file);
    const bool isProof = known.sum.items >= kProof || isOfClock(known.time) ||
                         (known.sum.items >= kFewest && table.hashes.size() == known.sum.items);
    return isProof && beginsWith(table, known.sum);
}

bool LogPull::isDamaged(const RingFile &file, const KnownFile &known) {
    constexpr uint64_t kMany = 16;
    const Likeness likeness = likenessOf(known, files_.table(file));
    return isOfClock(known.time) ? likeness != Likeness::Other && !files_.table(file).hashes.empty()
                                 : likeness == Likeness::Same && known.sum.items >= kMany;
}

/// All that is left of it was known. If it was out of view then, it is still to be sent.
void LogPull::keepDamaged(const RingFile &file) {
    KnownFile *const known = reached_.current().file(file.number);
    const uint64_t items = files_.table(file).hashes.size();
    noteDamaged(file, known->numbered.count(ItemState::Pending));
    if (known->numbered.hasAny()) {
        known->numbered = {};
        known->numbered.set({0, items, 0, ItemState::LeftOut});
    }
    trackOf(files_.table(file), items).describe(known);
    former_[file.number] = items;
}

void LogPull::updateOpen(const KnownFile &known) {
    const RingFile *const file = files_.isUnreadable(known.number) ? nullptr : files_.numbered(known.number);
    if (file == nullptr) {
        return;
    }
    if (const auto match = matchFile(known, files_.table(*file))) {
        adopt(*file, *match);
    } else if (known.isUnread) {
        adopt(*file, matchLostFile(known, files_.table(*file)));
    } else {
        noteDamaged(*file, known.numbered.count(ItemState::Pending));
        reached_.current().file(known.number)->numbered.change(ItemState::Pending, ItemState::LeftOut);
    }
}

/// Items that were damaged have gone, and those after them have moved.
void LogPull::adopt(const RingFile &file, const FileMatch &match) {
    if (match.isWhole) {
        return;
    }
    KnownFile *const known = reached_.current().file(file.number);
    const uint64_t items = match.items + match.doubtful;
    const uint64_t pending = known->numbered.count(ItemState::Pending);
    std::vector<MovedItems> moves = match.moves;
    moves.push_back({known->sum.items, items, UINT64_MAX - known->sum.items});
    known->numbered.move(moves);
    noteDamaged(file, pending - known->numbered.count(ItemState::Pending));
    if (items > 0) {
        trackOf(files_.table(file), items).describe(known);
    } else {
        reached_.current().forget(file.number);
    }
}

/// What is in view and not done with; and what was put out of view, but is pending, could not be read, or
/// came after the newest known file.
void LogPull::chooseWalk() {
    const std::vector<RingFile> &files = files_.view().files();
    const auto isOpen = [&](int number) {
        const KnownFile *const known = reached_.current().file(number);
        const bool isLeft = known != nullptr && known->isOpen();
        return isLeft ? !isDone(number) : files_.age(number) <= files_.age(newest_);
    };
    for (int number = 0; number < jorn::kSurveySize; ++number) {
        if (files_.isInView(number) || !files_.exists(number) || !isOpen(number)) {
            continue;
        }
        if (const RingFile *const file = files_.numbered(number)) {
            walk_.push_back(file);
        } else {
            damage_.addText(files_.view().directory().pathOf(dataFileName(number)) +
                            ": cannot be read; its items wait until it can");
            noteUnreadable(number);
        }
    }
    for (const RingFile &file : files) {
        if (!isDone(file.number)) {
            walk_.push_back(&file);
        }
    }
    std::sort(walk_.begin(), walk_.end(), [this](const RingFile *a, const RingFile *b) {
        return files_.age(a->number) > files_.age(b->number);
    });
}

bool LogPull::isDone(int number) {
    if (!isKnownToItsEnd(number)) {
        return false;
    }
    const KnownFile &known = *reached_.current().file(number);
    const RingFile *const file = files_.numbered(number);
    const bool isToSend =
        known.numbered.has(ItemState::Pending) &&
        (files_.isUnreadable(number) || (file != nullptr && beginsWith(files_.table(*file), known.sum)));
    return !isToSend;
}

/// A file before the newest known one has got no items since that was known.
bool LogPull::isKnownToItsEnd(int number) {
    const KnownFile *const known = reached_.current().file(number);
    return known != nullptr && !known->isUnread && known->numbered.hasAny() &&
           files_.age(number) > files_.age(newest_);
}

/// False when nothing shows yet which log this is.
bool LogPull::goOnWithoutFile(uint64_t fresh) {
    const KnownFile *const last = reached_.current().newest();
    const RingFile *const oldest = oldestWithItems();
    if (oldest == nullptr) {
        return false;
    }
    if (last != nullptr && mayBeSameLog(*last, *oldest)) {
        walk_ = clearedFiles(*last);
        std::for_each(reached_.current().files.begin(), reached_.current().files.end(),
                      [this](const KnownFile &known) { noteGone(known); });
        noteGapAfter(*last, walk_.empty() ? *oldest : *walk_.front());
    } else if (last != nullptr) {
        notes_.push_back(files_.view().directory().path() +
                         ": what was read before is not there: another log has taken its place, or its clock "
                         "was put back; a new epoch begins");
        beginEpoch(fresh);
    }
    reached_.current().files.clear();
    beginAtOldest();
    return true;
}

void LogPull::beginEpoch(uint64_t fresh) {
    Numbering numbering;
    numbering.epoch = fresh;
    for (const Numbering &other : reached_.epochs) {
        numbering.epoch = std::max(numbering.epoch, other.epoch + 1);
    }
    enterEpoch(&reached_, std::move(numbering));
}

void LogPull::beginFirstEpoch(uint64_t fresh) {
    if (!reached_.hasBegun()) {
        beginEpoch(fresh);
    }
}

/// Files that a clearing put out of view before they were read, the oldest first: a writer that has come
/// round has started them all afresh since.
std::vector<const RingFile *> LogPull::clearedFiles(const KnownFile &last) {
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

bool LogPull::isNewSince(const KnownFile &last, const ItemTable &table) const {
    const std::vector<KnownFile> &files = reached_.current().files;
    return !table.times.empty() && table.times.front() >= last.time &&
           std::none_of(files.begin(), files.end(), [&table](const KnownFile &known) {
               return likenessOf(known, table) != Likeness::Other;
           });
}

/// All that is in view is new. The file before it is out of view after a clearing, but shows that the writer
/// has not come round.
void LogPull::beginAtOldest() {
    const std::vector<RingFile> &files = files_.view().files();
    reached_.current().ringSize = files_.view().ringSize();
    const int before = files_.ofAge(files_.age(files.front().number) + 1);
    const RingFile *const former = files_.isInView(before) ? nullptr : files_.numbered(before);
    const bool isToRead = !walk_.empty() && walk_.back() == former;
    if (former != nullptr && !isToRead && !files_.table(*former).hashes.empty()) {
        KnownFile *const known = reached_.current().fileOrNew(before);
        trackOf(files_.table(*former), files_.table(*former).hashes.size()).describe(known);
    }
    std::transform(files.begin(), files.end(), std::back_inserter(walk_),
                   [](const RingFile &file) { return &file; });
}

const RingFile *LogPull::oldestWithItems() {
    const std::vector<RingFile> &files = files_.view().files();
    const auto oldest = std::find_if(files.begin(), files.end(), [this](const RingFile &file) {
        return !files_.table(file).hashes.empty();
    });
    return oldest == files.end() ? nullptr : &*oldest;
}

/// Whether the writer may have come round, or was cleared, so that all that was read is gone. Another log
/// begins anew, or has other times.
bool LogPull::mayBeSameLog(const KnownFile &last, const RingFile &oldest) {
    const RingView &view = files_.view();
    const bool isLater = files_.table(oldest).times.front() >= last.time;
    const bool isFull = view.files().size() == static_cast<size_t>(view.ringSize()) &&
                        view.ringSize() >= reached_.current().ringSize;
    const bool hasComeRound =
        view.look().hasWrapped() || (isFull && view.look().positions().latest >= last.number);
    return isLater && (hasComeRound || files_.isCleared());
}

/// The rest of the last file is gone, and the files between that and the oldest one. The numbers have room
/// for all that these can hold. How much it was nobody knows: a clearing closes a file that is not full. At
/// least there is an item in each file.
void LogPull::noteGapAfter(const KnownFile &last, const RingFile &oldest) {
    constexpr uint64_t kFile = jorn::kCsvItemMax;
    const int size = files_.view().ringSize();
    const auto between = static_cast<uint64_t>(jorn::ringPosition(size, oldest.number - last.number - 1));
    const uint64_t rest = kFile - std::min(kFile, last.sum.items);
    const bool isSameRing = size == reached_.current().ringSize;
    const uint64_t least = isSameRing ? between : 0;
    reached_.current().highest += std::max<uint64_t>(1, rest + between * kFile);
    ++reached_.gaps;
    reached_.lost += least;
    notes_.push_back(
        files_.view().directory().path() + ": written faster than it was read: " +
        (least > 0 ? "at least " + counted(least, "item is", "items are") + " gone" : "items may be gone"));
}

void LogPull::noteDoubtful(const RingFile &file, const FileMatch &match) {
    if (match.doubtful > 0) {
        notes_.push_back(file.path + ": has lost its end since it was read: nobody knows which of " +
                         counted(match.doubtful, "item is", "items are") + " new there; left out");
    }
}

void LogPull::noteGone(const KnownFile &known) {
    const uint64_t items = known.numbered.count(ItemState::Pending);
    if (items > 0) {
        notes_.push_back(files_.view().directory().path() + ": " + counted(items, "item is", "items are") +
                         " gone of a transfer whose end is not known: perhaps it arrived, perhaps not");
    }
    if (known.numbered.has(ItemState::Reserved)) {
        ++reached_.gaps;
        ++reached_.lost;
        notes_.push_back(files_.view().directory().path() +
                         ": a file that could not be read is gone: its items were not sent");
    }
}

/// Items that left in a transfer whose end is not known, and cannot be sent again under their numbers.
void LogPull::noteDamaged(const RingFile &file, uint64_t items) {
    if (items > 0) {
        notes_.push_back(file.path + ": " + counted(items, "item was", "items were") +
                         " damaged after a transfer whose end is not known: perhaps it arrived, perhaps not");
    }
}

/// Whether files cannot be read that may show which log this is.
bool LogPull::noteUnread() {
    bool isAny = false;
    for (int number = 0; number < jorn::kSurveySize; ++number) {
        const bool isNeeded = files_.isInView(number) || reached_.current().file(number) != nullptr;
        if (isNeeded && files_.isUnreadable(number)) {
            const std::string path = files_.view().directory().pathOf(dataFileName(number));
            damage_.addText(path + ": cannot be read; new items wait until it can");
            isAny = true;
        }
    }
    return isAny;
}

void LogPull::run(const ItemFilter &filter, const std::function<bool(const Item &)> &take) {
    const auto passLine = [&](const Line &line) { return passOn(line, filter, take); };
    for (const RingFile *const file : walk_) {
        const FileEnd end = readFile(*file, passLine);
        if (end == FileEnd::Unwanted) {
            return;
        }
        if (end == FileEnd::Lost) {
            isOvertaken_ = true;
            return;
        }
        noteEnd(*file, end);
        isWhole_ = end == FileEnd::Read && !hasUnread_;
    }
}

/// What could not be read is tried again in the next pull.
void LogPull::noteEnd(const RingFile &file, FileEnd end) {
    Numbering &numbering = reached_.current();
    if (end == FileEnd::Failed) {
        noteUnreadable(file.number);
        return;
    }
    KnownFile *const known = numbering.file(file.number);
    if (known == nullptr || !std::exchange(known->isUnread, false)) {
        return;
    }
    if (tracked_ == &file) {
        track_.describe(known);
    }
    known->numbered.cut(known->sum.items);
    if (known->sum.items == 0) {
        numbering.forget(file.number);
    }
}

/// Nobody knows how many items it has, unless it was known to its end.
void LogPull::noteUnreadable(int number) {
    if (!isKnownToItsEnd(number)) {
        reached_.current().fileOrNew(number)->isUnread = true;
    }
    hasUnread_ = true;
}

FileEnd LogPull::readFile(const RingFile &file, const std::function<bool(const Line &)> &take) {
    const KnownFile *const known = reached_.current().file(file.number);
    const uint64_t items = known != nullptr ? known->numbered.firstOpen() : 0;
    const bool isKnown = known != nullptr && known->sum.items > 0;
    if (isKnown && files_.wasFailing(file) && !beginsWith(files_.table(file), known->sum)) {
        return FileEnd::Failed;  // Nobody knows which of its items these are.
    }
    if (items > 0 && files_.table(file).hashes.size() < items) {
        return FileEnd::Failed;
    }
    const uint64_t begin = items > 0 ? files_.table(file).offsetAfter(items) : 0;
    return readLines(file, begin, &damage_, [&](const Line &line) {
        if (!line.isItem()) {
            ++badLines_;
            return true;
        }
        if (tracked_ != &file) {
            beginTrack(file, items);
        }
        track_.take(hashOfItem(withoutLineFeed(line.bytes)), line.numbers.time);
        return take(line);
    });
}

/// With the items that were read before, so that the file is known by them, too.
void LogPull::beginTrack(const RingFile &file, uint64_t items) {
    describeTracked(&reached_.current());
    track_ = items > 0 ? trackOf(files_.table(file), items) : FileTrack();
    tracked_ = &file;
}

/// An item that has been taken gets its number, and goes on if it is wanted.
bool LogPull::passOn(const Line &line, const ItemFilter &filter,
                     const std::function<bool(const Item &)> &take) {
    const std::optional<uint64_t> number = numberOf(track_.items() - 1);
    if (!number) {
        return true;
    }
    reached_.damaged += std::exchange(badLines_, 0);
    isMoved_ = true;
    if (!passes(line, filter)) {
        return true;
    }
    Item item = readItem(line);
    item.seq = *number;
    ++reached_.shipped;
    return take(item);
}

/// Of an item of the tracked file, which is sent by it; nothing where it is not sent.
std::optional<uint64_t> LogPull::numberOf(uint64_t item) {
    KnownFile *const known = reached_.current().fileOrNew(tracked_->number);
    const auto span = known->numbered.at(item);
    if (span && span->state != ItemState::Pending && span->state != ItemState::Reserved) {
        return std::nullopt;
    }
    const uint64_t number = span ? span->first + (item - span->begin) : nextNumber();
    reached_.current().file(tracked_->number)->numbered.set({item, item + 1, number, ItemState::Sent});
    return number;
}

uint64_t LogPull::nextNumber() {
    if (hasUnread_) {
        reserveForUnread();
    }
    return ++reached_.current().highest;
}

/// Items that could not be read come before those that are read after them: so do their numbers.
void LogPull::reserveForUnread() {
    Numbering &numbering = reached_.current();
    for (KnownFile &known : numbering.files) {
        const bool isEarlier = files_.age(known.number) > files_.age(tracked_->number);
        if (known.isUnread && isEarlier && !known.numbered.has(ItemState::Reserved)) {
            constexpr uint64_t kFile = jorn::kCsvItemMax;
            const uint64_t items = known.sum.items;
            const uint64_t most = std::max<uint64_t>(1, kFile - std::min(kFile, items));
            known.numbered.set({items, items + most, numbering.highest + 1, ItemState::Reserved});
            numbering.highest += most;
        }
    }
}

void LogPull::describeTracked(Numbering *numbering) const {
    KnownFile *const known = tracked_ != nullptr ? numbering->file(tracked_->number) : nullptr;
    if (known != nullptr && track_.items() > known->sum.items) {
        track_.describe(known);
    }
}

LogCursor LogPull::reached() const {
    LogCursor reached = reached_;
    reached.directory = files_.view().directory().path();
    reached.stamp = isWhole_ && !isOvertaken_ ? stamp_ : "";
    describeTracked(&reached.current());
    putInOrder(&reached.current());
    return reached;
}

/// A file that the writer will start afresh next is the oldest one until it has got items. Without a plan,
/// the ages of the files that are known are not those of the files that are there.
void LogPull::putInOrder(Numbering *numbering) const {
    if (!isPlanned_) {
        return;
    }
    const auto age = [this](const KnownFile &known) {
        const auto former = former_.find(known.number);
        const bool isFormer = former != former_.end() && former->second == known.sum.items;
        return isFormer ? INT_MAX : files_.age(known.number);
    };
    std::stable_sort(numbering->files.begin(), numbering->files.end(),
                     [&age](const KnownFile &a, const KnownFile &b) { return age(a) > age(b); });
}

void LogPull::settle() {
    describeTracked(&reached_.current());
    putInOrder(&reached_.current());
    reached_ = arrived(reached_);
}

}  // namespace tool
