// SPDX-License-Identifier: Apache-2.0
#include "cursor/log_pull.h"

#include <algorithm>
#include <utility>

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

}  // namespace

LogPull::LogPull(const StoreDirectory &directory, std::optional<int> ringSize, const LogCursor &cursor,
                 uint64_t fresh)
    : files_(directory, ringSize), stamp_(stampOf(files_.view())), reached_(cursor) {
    const RingView &view = files_.view();
    notes_ = view.notes();
    for (const std::string &text : view.damage().texts()) {
        damage_.addText(text);
    }
    plan(fresh);
    start_ = static_cast<uint64_t>(std::max(next_, lowest_)) - 1;
    reached_.current().begun = start_ + 1;
}

void LogPull::plan(uint64_t fresh) {
    // Without an index, nobody knows which file is the newest; all wait until it is mended.
    const RingView &view = files_.view();
    const bool isIndexLost = !view.index().positions() && view.look().highestFile() > 0;
    if (isIndexLost || view.files().empty()) {
        if (!reached_.hasBegun()) {
            beginEpoch(fresh);
        }
        return;
    }
    const Anchors anchors = reached_.hasBegun() ? anchorsOf(reached_.current()) : Anchors{};
    if (anchors.isAny()) {
        goOn(anchors);
    } else {
        planFromEarlierEpochs(fresh);
    }
}

/// A log that was replaced may have come back.
void LogPull::planFromEarlierEpochs(uint64_t fresh) {
    for (size_t i = reached_.epochs.size(); i > 1; --i) {
        const Numbering earlier = reached_.epochs[i - 2];
        const Anchors anchors = provenOf(anchorsOf(earlier));
        if (anchors.isAny()) {
            enterEpoch(&reached_, earlier);
            goOn(anchors);
            return;
        }
    }
    goOnWithoutPlace(fresh);
}

LogPull::Anchors LogPull::anchorsOf(const Numbering &numbering) {
    Anchors anchors;
    anchors.place = numbering.place ? files_.find(*numbering.place) : std::nullopt;
    std::transform(numbering.attempts.begin(), numbering.attempts.end(), std::back_inserter(anchors.attempts),
                   [this](const Attempt &attempt) { return files_.find(attempt.place); });
    return anchors;
}

/// Of a log that has come back: a few items would be found in any log of a device that always starts with the
/// same ones.
LogPull::Anchors LogPull::provenOf(Anchors anchors) {
    constexpr uint64_t kFewest = 8;
    const auto isProven = [](const std::optional<FoundPlace> &found) {
        return found && found->match.kind == PlaceMatch::Kind::Whole && found->match.items >= kFewest;
    };
    anchors.place = isProven(anchors.place) ? anchors.place : std::nullopt;
    for (std::optional<FoundPlace> &attempt : anchors.attempts) {
        attempt = isProven(attempt) ? attempt : std::nullopt;
    }
    return anchors;
}

void LogPull::goOn(const Anchors &anchors) {
    lowest_ = static_cast<int64_t>(reached_.current().seq) + 1;
    if (anchors.place) {
        goOnAfter(*anchors.place);
        goOnPast(0, anchors);
    } else {
        goOnPast(countBack(anchors), anchors);
    }
}

void LogPull::goOnAfter(const FoundPlace &found) {
    walk_ = files_.from(*found.file);
    firstItems_ = found.match.items + found.match.doubtful;
    firstFormer_ = reached_.current().place->former;
    next_ = lowest_;
    base_ = {found.file, {found.match.kind, firstItems_, 0, 0}};
    baseNumber_ = next_ - 1;
    tellDoubtful(found);
}

/// What has arrived is gone. What is left of the first attempt that is found may be sent again, under the
/// same numbers. Returns the number of the next attempt.
size_t LogPull::countBack(const Anchors &anchors) {
    const std::vector<RingFile> &files = files_.view().files();
    size_t number = 0;
    while (!anchors.attempts[number]) {
        ++number;
    }
    const Attempt &attempt = reached_.current().attempts[number];
    const FoundPlace &found = *anchors.attempts[number];
    const bool isInView =
        std::any_of(files.begin(), files.end(), [&](const RingFile &file) { return &file == found.file; });
    walk_ = files_.from(isInView ? files.front() : *found.file);
    baseItems_ = itemsUpTo(found).value_or(0);
    next_ = static_cast<int64_t>(attempt.last - found.match.missing) - static_cast<int64_t>(baseItems_) + 1;
    lowest_ = std::max(lowest_, static_cast<int64_t>(attempt.first));
    base_ = found;
    baseNumber_ = static_cast<int64_t>(attempt.last);
    jumpAt(found, attempt.last + 1);
    if (next_ > lowest_) {
        notes_.push_back(files_.view().directory().path() + ": " +
                         counted(static_cast<uint64_t>(next_ - lowest_), "item is", "items are") +
                         " gone of a transfer whose end is not known: perhaps it arrived, perhaps not");
    }
    tellDoubtful(found);
    return number + 1;
}

/// Items up to the end of an attempt have the numbers that they had in it, and those after it others.
void LogPull::goOnPast(size_t first, const Anchors &anchors) {
    const std::vector<Attempt> &attempts = reached_.current().attempts;
    bool isLastKnown = true;
    for (size_t i = first; i < attempts.size(); ++i) {
        isLastKnown = anchors.attempts[i] && goOnTo(attempts[i], *anchors.attempts[i]);
    }
    if (!isLastKnown) {
        // What was sent last is not there any more: its numbers are used up.
        jumpAt(base_, attempts.back().last + 1);
    }
}

/// False when the items up to the end of the attempt are not those that it sent.
bool LogPull::goOnTo(const Attempt &attempt, const FoundPlace &found) {
    const std::optional<uint64_t> items = itemsUpTo(found);
    if (!items || *items < baseItems_) {
        return false;
    }
    const auto count = static_cast<int64_t>(*items - baseItems_);
    const auto end = static_cast<int64_t>(attempt.last - found.match.missing);
    const auto first = static_cast<int64_t>(attempt.first);
    if (baseNumber_ + count != end && first + count - 1 != end) {
        return false;
    }
    if (baseNumber_ + count != end) {
        jumpAt(base_, attempt.first);
    }
    base_ = found;
    baseItems_ = *items;
    baseNumber_ = static_cast<int64_t>(attempt.last);
    jumpAt(found, attempt.last + 1);
    tellDoubtful(found);
    return true;
}

/// The later one of two at the same place counts.
void LogPull::jumpAt(const FoundPlace &place, uint64_t number) {
    const bool isSame =
        !jumps_.empty() && jumps_.back().file == place.file && jumps_.back().items == place.match.items;
    if (isSame) {
        jumps_.pop_back();
    }
    jumps_.push_back({place.file, place.match.items, place.match.doubtful, number});
}

void LogPull::goOnWithoutPlace(uint64_t fresh) {
    if (!reached_.hasBegun()) {
        beginEpoch(fresh);
        startAtOldest();
        return;
    }
    const Numbering &numbering = reached_.current();
    const Place &last = numbering.attempts.empty() ? *numbering.place : numbering.attempts.back().place;
    if (files_.table(files_.view().files().front()).hashes.empty()) {
        return;  // Nothing shows yet which log this is.
    }
    if (mayBeSameLog(last)) {
        const uint64_t gap = gapAfter(last);
        next_ = lowest_ = static_cast<int64_t>(numbering.highest() + gap) + 1;
        noteGap(gap);
    } else {
        notes_.push_back(files_.view().directory().path() +
                         ": what was read before is not there: another log has taken its place, or its clock "
                         "was put back; a new epoch begins");
        beginEpoch(fresh);
    }
    startAtOldest();
}

void LogPull::beginEpoch(uint64_t fresh) {
    Numbering numbering;
    numbering.epoch = fresh;
    for (const Numbering &other : reached_.epochs) {
        numbering.epoch = std::max(numbering.epoch, other.epoch + 1);
    }
    enterEpoch(&reached_, std::move(numbering));
    next_ = lowest_ = 1;
}

/// Whether the writer may have come round, or was cleared, so that all that was read is gone. Another log
/// begins anew, or has other times.
bool LogPull::mayBeSameLog(const Place &place) {
    const RingView &view = files_.view();
    const RingFile &oldest = view.files().front();
    const bool isLater = files_.table(oldest).times.front() >= place.time;
    const bool hasComeRound =
        view.look().hasWrapped() || (view.files().size() == static_cast<size_t>(view.ringSize()) &&
                                     view.look().positions().latest >= place.file);
    return isLater && (hasComeRound || files_.isCleared());
}

/// How many items are gone at least: the rest of the place's file, and the files between that and the oldest.
uint64_t LogPull::gapAfter(const Place &place) const {
    const RingView &view = files_.view();
    constexpr uint64_t kFile = jorn::kCsvItemMax;
    const int between = jorn::ringPosition(view.ringSize(), view.files().front().number - place.file - 1);
    const uint64_t rest = kFile - std::min(kFile, place.before.items);
    return std::max<uint64_t>(1, rest + static_cast<uint64_t>(between) * kFile);
}

void LogPull::startAtOldest() { walk_ = files_.from(files_.view().files().front()); }

void LogPull::noteGap(uint64_t items) {
    ++reached_.gaps;
    reached_.lost += items;
    notes_.push_back(files_.view().directory().path() + ": written faster than it was read: at least " +
                     counted(items, "item is", "items are") + " gone");
}

void LogPull::tellDoubtful(const FoundPlace &found) {
    if (found.match.doubtful > 0) {
        notes_.push_back(found.file->path + ": has lost its end since it was read: nobody knows which of " +
                         counted(found.match.doubtful, "item is", "items are") + " new there; left out");
    }
}

/// Items of the walk that are new, up to a place; nothing when it is not ahead.
std::optional<uint64_t> LogPull::itemsUpTo(const FoundPlace &end) {
    uint64_t items = 0;
    for (const RingFile *const file : walk_) {
        const uint64_t begin = file == walk_.front() ? firstItems_ : passedItems(*file);
        const bool isEnd = file == end.file;
        const uint64_t last = isEnd ? end.match.items : files_.table(*file).hashes.size();
        if (last < begin) {
            return std::nullopt;
        }
        items += last - begin;
        if (isEnd) {
            return items;
        }
    }
    return std::nullopt;
}

/// Items of a file that were read when it was passed before: it is an old copy, or the index was lost and the
/// writer has gone on there. Few may be the same by chance.
uint64_t LogPull::passedItems(const RingFile &file) {
    const std::map<int, FileSum> &passed = reached_.current().passed;
    const auto known = passed.find(file.number);
    return known != passed.end() && beginsWith(files_.table(file).hashes, known->second) ? known->second.items
                                                                                         : 0;
}

void LogPull::run(const ItemFilter &filter, const std::function<bool(const Item &)> &take) {
    const auto passLine = [&](const Line &line) { return passOn(line, filter, take); };
    for (const RingFile *const file : walk_) {
        const FileEnd end = readFile(*file, file == walk_.front(), passLine);
        if (end == FileEnd::Unwanted) {
            return;
        }
        if (end == FileEnd::Lost) {
            isOvertaken_ = true;
            return;
        }
        isUnread_ = isUnread_ || end == FileEnd::Failed;
        isWhole_ = end == FileEnd::Read && !isUnread_;
        if (file != walk_.back()) {
            leave(*file);
        }
    }
}

FileEnd LogPull::readFile(const RingFile &file, bool isFirst, const std::function<bool(const Line &)> &take) {
    former_ = isFirst ? firstFormer_ : former_;
    readItems_ = isFirst ? firstItems_ : passedItems(file);
    const uint64_t begin = readItems_ > 0 ? files_.table(file).offsetAfter(readItems_) : 0;
    return readLines(file, begin, &damage_, [&](const Line &line) {
        if (line.isItem()) {
            takeItem(file, line);
        } else {
            ++badLines_;
        }
        return !line.isItem() || take(line);
    });
}

void LogPull::takeItem(const RingFile &file, const Line &line) {
    if (tracked_ != &file) {
        beginTrack(file);
    }
    takeJump(file, false);
    track_.take(hashOfItem(withoutLineFeed(line.bytes)), line.numbers.time);
}

/// With the items that were read before, so that the place after the next ones is known by them, too. Not
/// before there is a next one: a place is after an item that has got its number.
void LogPull::beginTrack(const RingFile &file) {
    track_ = PlaceTrack(file.number, former_);
    tracked_ = &file;
    for (size_t i = 0; i < readItems_; ++i) {
        const ItemTable &table = files_.table(file);
        track_.take(table.hashes[i], table.times[i]);
    }
}

/// Before an item, or at the end of a file, after which the jump was to come.
void LogPull::takeJump(const RingFile &file, bool isAtEnd) {
    while (!jumps_.empty() && jumps_.front().file == &file &&
           (isAtEnd || jumps_.front().items <= track_.sum().items)) {
        const auto number = static_cast<int64_t>(jumps_.front().number);
        toSkip_ = isAtEnd ? 0 : jumps_.front().doubtful;
        if (number != next_) {
            next_ = number;
            reached_.current().begun = static_cast<uint64_t>(std::max(next_, lowest_));
        }
        jumps_.erase(jumps_.begin());
    }
}

/// An item that has been taken gets its number, and goes on if it is wanted.
bool LogPull::passOn(const Line &line, const ItemFilter &filter,
                     const std::function<bool(const Item &)> &take) {
    if (toSkip_ > 0) {
        --toSkip_;
        return true;
    }
    if (std::exchange(isUnread_, false)) {
        ++next_;
        ++reached_.gaps;
        ++reached_.lost;
    }
    const int64_t number = next_++;
    if (number < lowest_) {
        return true;
    }
    reached_.current().seq = static_cast<uint64_t>(number);
    reached_.damaged += std::exchange(badLines_, 0);
    isMoved_ = true;
    if (!passes(line, filter)) {
        return true;
    }
    Item item = readItem(line);
    item.seq = static_cast<uint64_t>(number);
    ++reached_.shipped;
    return take(item);
}

void LogPull::leave(const RingFile &file) {
    std::map<int, FileSum> &passed = reached_.current().passed;
    takeJump(file, true);
    if (tracked_ == &file) {
        former_ = track_.sum();
    } else if (readItems_ > 0) {
        former_ = sumOf(files_.table(file).hashes);
    } else {
        passed.erase(file.number);
        return;
    }
    if (former_->items >= Place::kKnown) {
        passed[file.number] = *former_;
    } else {
        passed.erase(file.number);
    }
}

LogCursor LogPull::reached() const {
    LogCursor reached = reached_;
    reached.directory = files_.view().directory().path();
    reached.stamp = isWhole_ && !isOvertaken_ ? stamp_ : "";
    if (isMoved_) {
        reached.current().place = track_.place();
    }
    return reached;
}

}  // namespace tool
