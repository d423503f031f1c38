// SPDX-License-Identifier: Apache-2.0
#include "cursor/log_pull.h"

#include <limits.h>

#include <algorithm>
#include <utility>

#include "cursor/file_match.h"
#include "cursor/log_stamp.h"
#include "ring.h"

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
                 uint64_t newEpoch)
    : files_(directory, ringSize),
      stamp_(stampOf(files_.view())),
      notes_(files_.view()),
      plan_(planPull(&files_, cursor, newEpoch, &notes_)),
      isOvertaken_(files_.isOvertaken()) {}

void LogPull::run(const ItemFilter &filter, const std::function<bool(const Item &)> &take) {
    const auto passLine = [&](const Line &line) { return passOn(line, filter, take); };
    for (const RingFile *const file : plan_.files) {
        const FileEnd end = readFile(*file, passLine);
        if (end == FileEnd::Unwanted) {
            return;
        }
        if (end == FileEnd::Lost) {
            isOvertaken_ = true;
            return;
        }
        noteEnd(*file, end);
        isAllRead_ = end == FileEnd::Read && !plan_.hasUnread;
    }
}

/// What could not be read is tried again in the next pull.
void LogPull::noteEnd(const RingFile &file, FileEnd end) {
    Numbering &numbering = plan_.current();
    if (end == FileEnd::Failed) {
        plan_.markUnread(file.number);
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

FileEnd LogPull::readFile(const RingFile &file, const std::function<bool(const Line &)> &take) {
    const KnownFile *const known = plan_.current().file(file.number);
    const uint64_t items = known != nullptr ? known->numbered.firstOpen() : 0;
    const bool isKnown = known != nullptr && known->sum.items > 0;
    const bool isOther = isKnown && files_.wasFailing(file) && !beginsWith(files_.table(file), known->sum);
    // Nobody knows which of its items these are, or there are not even those that have arrived.
    if (isOther || (items > 0 && files_.table(file).hashes.size() < items)) {
        if (file.file.isOpen()) {
            notes_.addUnreadable(file.number, "its items");
        }
        return FileEnd::Failed;
    }
    const uint64_t begin = items > 0 ? files_.table(file).offsetAfter(items) : 0;
    return readLines(file, begin, notes_.damage(), [&](const Line &line) {
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
    describeTracked(&plan_.current());
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
    plan_.cursor.damaged += std::exchange(badLines_, 0);
    isMoved_ = true;
    if (!passes(line, filter)) {
        return true;
    }
    Item item = readItem(line);
    item.seq = *number;
    ++plan_.cursor.shipped;
    return take(item);
}

/// Of an item of the tracked file, which is sent by it; nothing where it is not sent.
std::optional<uint64_t> LogPull::numberOf(uint64_t item) {
    KnownFile *const known = plan_.current().fileOrNew(tracked_->number);
    const auto span = known->numbered.at(item);
    if (span && span->state != ItemState::Pending && span->state != ItemState::Reserved) {
        return std::nullopt;
    }
    const uint64_t number = span ? span->first + (item - span->begin) : nextNumber();
    plan_.current().file(tracked_->number)->numbered.set({item, item + 1, number, ItemState::Sent});
    return number;
}

uint64_t LogPull::nextNumber() {
    if (plan_.hasUnread) {
        reserveForUnread();
    }
    return ++plan_.current().highest;
}

/// Items that could not be read come before those that are read after them: so do their numbers.
void LogPull::reserveForUnread() {
    Numbering &numbering = plan_.current();
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
    LogCursor reached = plan_.cursor;
    reached.directory = files_.view().directory().path();
    reached.stamp = isAllRead_ && !isOvertaken_ ? stamp_ : "";
    describeTracked(&reached.current());
    putInOrder(&reached.current());
    return reached;
}

/// A file that the writer will start afresh next is the oldest one until it has got items. Without a plan,
/// the ages of the files that are known are not those of the files that are there.
void LogPull::putInOrder(Numbering *numbering) const {
    if (!plan_.isMade) {
        return;
    }
    const auto age = [this](const KnownFile &known) {
        const auto former = plan_.former.find(known.number);
        const bool isFormer = former != plan_.former.end() && former->second == known.sum.items;
        return isFormer ? INT_MAX : files_.age(known.number);
    };
    std::stable_sort(numbering->files.begin(), numbering->files.end(),
                     [&age](const KnownFile &a, const KnownFile &b) { return age(a) > age(b); });
}

void LogPull::markArrived() {
    describeTracked(&plan_.current());
    putInOrder(&plan_.current());
    plan_.cursor = arrived(plan_.cursor);
}

}  // namespace tool
