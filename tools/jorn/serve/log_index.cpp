// SPDX-License-Identifier: Apache-2.0
#include "serve/log_index.h"

#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <tuple>

#include "system/failure.h"

namespace tool {
namespace {

/// An item without a number yet.
constexpr int64_t kUnnumbered = INT64_MAX;

uint64_t newId() {
    static std::atomic<uint64_t> last{0};
    return ++last;
}

/// A last line that lacks its end is left to the writer that is writing it, but not for ever: it may be the
/// last one before a failure. The time is one in which a writer that buffers what it writes mostly goes on.
bool isSettled(const RingFile &file) {
    constexpr int64_t kSeconds = 60;
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return !file.isNewest || now.tv_sec - file.mark.seconds >= kSeconds;
}

LogBlock blockOf(const RingFile &file, const std::shared_ptr<const StoreDirectory> &directory) {
    LogBlock block;
    block.directory = directory;
    block.number = file.number;
    block.mark = file.mark;
    block.begin = file.begin;
    block.end = file.end;
    block.firstSerial = kUnnumbered;
    return block;
}

std::shared_ptr<ItemColumns> copyOf(const ItemColumns &columns) {
    auto copy = std::make_shared<ItemColumns>(columns);
    copy->id = newId();
    return copy;
}

/// Higher than all numbers that an earlier start of the server has given, so that a place that such a number
/// stands for is never taken for one of now.
int64_t firstSerial() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// Whether the first of some items, by time and kind, is among others.
bool hasFirstOf(const ItemColumns &columns, const ItemColumns &items) {
    for (size_t row = 0; row < columns.size(); ++row) {
        if (columns.times[row] == items.times.front() && columns.kinds[row] == items.kinds.front()) {
            return true;
        }
    }
    return false;
}

/// Items by time, kind and place, however they are divided into parts.
std::vector<std::tuple<uint32_t, ItemKind, uint32_t>> itemsOf(const std::vector<LogBlock> &parts) {
    std::vector<std::tuple<uint32_t, ItemKind, uint32_t>> items;
    for (const LogBlock &part : parts) {
        for (size_t row = 0; row < part.size(); ++row) {
            items.emplace_back(part.columns->times[row], part.columns->kinds[row],
                               part.columns->offsets[row]);
        }
    }
    return items;
}

bool isSameBlock(const LogBlock &a, const LogBlock &b) {
    return a.columns == b.columns && a.number == b.number && a.directory == b.directory;
}

}  // namespace

int64_t LogView::itemsFrom(int64_t serial) const {
    int64_t count = 0;
    for (const LogBlock &block : blocks) {
        count += std::max<int64_t>(block.endSerial() - std::max(block.firstSerial, serial), 0);
    }
    return count;
}

int64_t LogView::serialFrom(int64_t serial) const {
    const auto block = std::find_if(blocks.begin(), blocks.end(),
                                    [&](const LogBlock &each) { return each.endSerial() > serial; });
    return block == blocks.end() ? nextSerial : std::max(block->firstSerial, serial);
}

ViewChange changeBetween(const LogView &former, const LogView &later) {
    int64_t kept = 0;
    for (const LogBlock &block : former.blocks) {
        kept += later.itemsFrom(block.firstSerial) - later.itemsFrom(block.endSerial());
    }
    const auto formerItems = static_cast<int64_t>(former.items);
    const int64_t notNew = static_cast<int64_t>(later.items) - later.itemsFrom(former.nextSerial);
    return {formerItems - kept, notNew - kept};
}

LogIndex::LogIndex(ServedLog log)
    : log_(std::make_shared<const ServedLog>(std::move(log))),
      nextSerial_(firstSerial()),
      lowestSerial_(nextSerial_) {
    publish({}, nullptr);
}

LogIndex::Look LogIndex::refresh(Trust trust) {
    trust_ = trust;
    try {
        if (openDirectory()) {
            return lookAnew();
        }
    } catch (const Failure &) {
        // No longer readable, which shows as missing.
    }
    if (view_->isMissing) {
        return Look::Same;
    }
    publish({}, nullptr);
    return Look::Changed;
}

/// Opens the directory, or the one that has taken its place. False while there is none.
bool LogIndex::openDirectory() {
    struct stat status;
    if (stat(log_->path.c_str(), &status) < 0) {
        directory_.reset();
        return false;
    }
    if (directory_ == nullptr || !isSameFile(markOf(status), directoryMark_)) {
        directory_ = std::make_shared<const StoreDirectory>(StoreDirectory::openForReading(log_->path));
        directoryMark_ = markOf(directory_->descriptor());
    }
    return true;
}

LogIndex::Look LogIndex::lookAnew() {
    const std::optional<RingView> view = RingView::openOnce(*directory_, log_->ringSize, Opening::WhenRead);
    if (!view) {
        return Look::Pending;
    }
    Parts blocks;
    for (size_t i = 0; i < view->files().size(); ++i) {
        if (!addFile(*view, i, &blocks)) {
            return Look::Pending;
        }
    }
    const bool isOldInView = hasOldAtTheEnd(blocks);
    rememberUnseen(*view, blocks);
    const bool isSame = !view_->isMissing && std::equal(blocks.begin(), blocks.end(), view_->blocks.begin(),
                                                        view_->blocks.end(), isSameBlock);
    if (isSame) {
        return Look::Same;
    }
    number(&blocks, isOldInView);
    publish(std::move(blocks), &*view);
    return Look::Changed;
}

/// Adds the blocks of a file. False when a writer has begun it anew meanwhile.
bool LogIndex::addFile(const RingView &view, size_t index, Parts *blocks) {
    const RingFile &closed = view.files()[index];
    const FileMark &mark = view.look().look().files[static_cast<size_t>(closed.number)].target.mark;
    const Parts *const known = knownParts(mark);
    Parts parts;
    const bool isKnown = known != nullptr && known->back().mark == mark &&
                         known->back().readTo == static_cast<uint64_t>(mark.size);
    if (closed.isToOpen && isKnown && trust_ == Trust::Marks) {
        parts = *known;
    } else {
        DamageLog damage;  // What is wrong with the log is found by a check.
        const RingFile &file = view.file(index, &damage);
        if (!file.file.isOpen()) {
            const bool isUnreadable = damage.losses().empty();
            if (isUnreadable) {
                known_.erase({mark.device, mark.inode});  // Lest it come back by what is known of it.
            }
            return isUnreadable;
        }
        if (!readFile(file, &parts)) {
            return false;
        }
    }
    for (LogBlock &part : parts) {
        part.directory = directory_;
        part.number = closed.number;
        if (part.size() > 0) {
            blocks->push_back(std::move(part));
        }
    }
    return true;
}

const LogIndex::Parts *LogIndex::knownParts(const FileMark &mark) const {
    const auto found = known_.find({mark.device, mark.inode});
    return found == known_.end() || found->second.empty() ? nullptr : &found->second;
}

/// Reads what is not known yet of a file.
bool LogIndex::readFile(const RingFile &file, Parts *parts) {
    const Parts *const known = knownParts(file.mark);
    if (trust_ == Trust::Nothing) {
        return readAnew(file, known, parts);
    }
    if (known != nullptr && continues(file, known->back())) {
        *parts = *known;
        if (parts->back().readTo == file.size) {
            parts->back().mark = file.mark;
            return true;
        }
        if (parts->back().isUnfinished) {
            parts->pop_back();
        }
    }
    const bool isRead = parts->empty() ? readWhole(file, parts) : readRest(file, parts);
    return isRead && (!isSettled(file) || readUnfinished(file, parts));
}

/// Reads all of a file, of which `known` was known; null for nothing.
bool LogIndex::readAnew(const RingFile &file, const Parts *known, Parts *parts) {
    if (!readWhole(file, parts) || (isSettled(file) && !readUnfinished(file, parts))) {
        return false;
    }
    if (known != nullptr && itemsOf(*known) == itemsOf(*parts)) {
        *parts = *known;
    }
    return true;
}

bool LogIndex::readWhole(const RingFile &file, Parts *parts) {
    LogBlock block = blockOf(file, directory_);
    const auto columns = std::make_shared<ItemColumns>();
    columns->id = newId();
    const bool isRead = readColumns(file, LastLine::Finished, &block.readTo, columns.get());
    block.columns = columns;
    parts->push_back(std::move(block));
    return isRead;
}

/// Adds what has been appended to a file, of which `parts` are known: to the last part if its items are the
/// newest of all, else as a part of its own, whose items get higher numbers.
bool LogIndex::readRest(const RingFile &file, Parts *parts) {
    LogBlock &last = parts->back();
    LogBlock rest = blockOf(file, directory_);
    rest.readTo = last.readTo;
    const bool isNewest = last.size() == 0 || last.endSerial() == nextSerial_;
    const auto columns = isNewest ? copyOf(*last.columns) : std::make_shared<ItemColumns>();
    columns->id = columns->id == 0 ? newId() : columns->id;
    if (!readColumns(file, LastLine::Finished, &rest.readTo, columns.get())) {
        return false;
    }
    const bool hasMore = columns->size() > (isNewest ? last.size() : 0);
    if (hasMore && !isNewest) {
        rest.columns = columns;
        parts->push_back(std::move(rest));
        return true;
    }
    last.columns = hasMore ? std::shared_ptr<const ItemColumns>(columns) : last.columns;
    last.mark = rest.mark;
    last.begin = rest.begin;
    last.end = rest.end;
    last.readTo = rest.readTo;
    return true;
}

/// Adds the item of a last line that lacks its end as a part of its own: where the line goes on, that part
/// gives way to the whole line, which is a new item.
bool LogIndex::readUnfinished(const RingFile &file, Parts *parts) {
    LogBlock block = blockOf(file, directory_);
    block.isUnfinished = true;
    block.readTo = parts->back().readTo;
    const auto columns = std::make_shared<ItemColumns>();
    columns->id = newId();
    if (!readColumns(file, LastLine::Any, &block.readTo, columns.get())) {
        return false;
    }
    if (columns->size() > 0) {
        block.columns = columns;
        parts->push_back(std::move(block));
    }
    return true;
}

/// Whether items that are not new have come into view after others, or with none that have numbers: what
/// would be given the numbers of new items.
bool LogIndex::hasOldAtTheEnd(const Parts &blocks) const {
    const auto isNumbered = [](const LogBlock &block) { return block.firstSerial != kUnnumbered; };
    const auto first = std::find_if(blocks.begin(), blocks.end(), isNumbered);
    for (auto block = first == blocks.end() ? blocks.begin() : first; block != blocks.end(); ++block) {
        const bool isPart = block != blocks.begin() && std::prev(block)->number == block->number;
        if (!isNumbered(*block) && !isPart && isOld(*block)) {
            return true;
        }
    }
    return false;
}

/// Whether items that have no numbers were there at the last look: in a file out of view, which is as it was
/// then, or in the newest file, which has been repaired. A writer empties a file before it moves on to it, so
/// that such a file differs, and never empties the newest one.
bool LogIndex::isOld(const LogBlock &block) const {
    const auto unseen = unseen_.find({block.mark.device, block.mark.inode});
    if (unseen != unseen_.end() && unseen->second == block.mark) {
        return true;
    }
    const Parts &former = view_->blocks;
    return std::any_of(former.begin(), former.end(), [&](const LogBlock &each) {
        return each.number == block.number && each.number == former.back().number && !each.isUnfinished &&
               hasFirstOf(*each.columns, *block.columns);
    });
}

/// Gives numbers to the blocks that have none.
void LogIndex::number(Parts *blocks, bool isOldAtTheEnd) {
    if (!isOldAtTheEnd && tryToNumber(blocks)) {
        return;
    }
    // Items came into view that are not new, as after a repair: there are no numbers for them.
    ++epoch_;
    known_.clear();
    for (LogBlock &block : *blocks) {
        block.firstSerial = nextSerial_;
        nextSerial_ = block.endSerial();
    }
}

/// New blocks at the end get the next numbers, those in front of all others numbers below. False when there
/// are others.
bool LogIndex::tryToNumber(Parts *blocks) {
    const auto isNumbered = [](const LogBlock &block) { return block.firstSerial != kUnnumbered; };
    const auto first = std::find_if(blocks->begin(), blocks->end(), isNumbered);
    if (first != blocks->end()) {
        for (auto block = std::make_reverse_iterator(first); block != blocks->rend(); ++block) {
            lowestSerial_ -= static_cast<int64_t>(block->size());
            block->firstSerial = lowestSerial_;
        }
    }
    int64_t end = INT64_MIN;
    for (LogBlock &block : *blocks) {
        if (!isNumbered(block)) {
            block.firstSerial = nextSerial_;
        }
        if (block.firstSerial < end) {
            return false;
        }
        end = block.endSerial();
        nextSerial_ = std::max(nextSerial_, end);
    }
    return true;
}

/// Files that were in view are remembered: a clearing brings the oldest one back with its old items in front.
void LogIndex::remember(const Parts &blocks) {
    constexpr size_t kMostFiles = size_t{2} * jorn::kSurveySize;
    std::map<FileId, Parts> now;
    for (const LogBlock &block : blocks) {
        now[{block.mark.device, block.mark.inode}].push_back(block);
    }
    if (known_.size() + now.size() > kMostFiles) {
        known_.clear();
    }
    for (auto &[id, parts] : now) {
        known_[id] = std::move(parts);
    }
}

void LogIndex::rememberUnseen(const RingView &view, const Parts &blocks) {
    unseen_.clear();
    for (const NamedEntry &file : view.look().look().files) {
        const FileMark &mark = file.target.mark;
        if (mark.size > 0) {
            unseen_[{mark.device, mark.inode}] = mark;
        }
    }
    for (const LogBlock &block : blocks) {
        unseen_.erase({block.mark.device, block.mark.inode});
    }
}

void LogIndex::publish(Parts blocks, const RingView *view) {
    remember(blocks);
    auto next = std::make_shared<LogView>();
    next->log = log_;
    next->isMissing = view == nullptr;
    next->epoch = epoch_;
    next->nextSerial = nextSerial_;
    if (view != nullptr) {
        next->ringSize = view->ringSize();
        next->files = view->files().size();
    }
    for (const LogBlock &block : blocks) {
        next->items += block.size();
    }
    // A file counts once, however many parts it has.
    for (size_t i = 0; i < blocks.size(); ++i) {
        const bool isLast = i + 1 == blocks.size() || blocks[i + 1].number != blocks[i].number;
        next->bytes += isLast ? static_cast<uint64_t>(blocks[i].mark.size) : 0;
    }
    next->blocks = std::move(blocks);
    view_ = std::move(next);
}

}  // namespace tool
