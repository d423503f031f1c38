// SPDX-License-Identifier: Apache-2.0
#include "live/ring_follower.h"

#include <errno.h>
#include <sys/stat.h>

#include <algorithm>

#include "log/regular_file.h"
#include "query/item_query.h"
#include "ring.h"
#include "system/failure.h"
#include "system/file_bytes.h"
#include "terminal/counted.h"

namespace tool {
namespace {

using Reading = FileCursor::Reading;

std::string headOf(int fd) { return bytesAt(fd, 0, jorn::kLineMax); }

std::pair<dev_t, ino_t> identityOf(const FileMark &mark) { return {mark.device, mark.inode}; }

}  // namespace

RingFollower::State RingFollower::step() {
    // A writer that moves on all the time must not keep the caller from noticing anything else.
    constexpr int kTries = 100;
    for (int tries = 0; tries < kTries; ++tries) {
        if (const Result state = tryStep()) {
            return *state;
        }
    }
    return State::Pending;
}

RingFollower::Result RingFollower::tryStep() {
    if (!openDirectory()) {
        return State::Pending;
    }
    if (cursor_ && isAtNewest_ && isIndexAsSeen() && !isReplaced_ && isCursorInPlace()) {
        return readNewest();
    }
    return lookAnew();
}

bool RingFollower::isNew(const Item &item) const {
    if (!firstEnd_) {
        return true;
    }
    return identityOf(cursor_->mark()) == firstEnd_->file && item.offset >= firstEnd_->size;
}

/// Opens the directory, or the one that has taken its place. False while there is none.
bool RingFollower::openDirectory() {
    struct stat status;
    if (stat(terms_.directory.c_str(), &status) < 0) {
        if (errno != ENOENT) {
            throw systemFailure(terms_.directory, errno);
        }
        isNew_ = isNew_ || !hasBegun_;
        tellOnce(terms_.directory + (directory_ ? ": no longer exists; waiting for it to come back"
                                                : ": does not exist yet; waiting for it"),
                 sink_.note);
        return false;
    }
    const FileMark mark = markOf(status);
    // A directory's times change with every file that comes or goes.
    if (directory_ && isSameFile(mark, directoryMark_)) {
        return true;
    }
    isReplaced_ = directory_.has_value();
    directory_.emplace(StoreDirectory::openForReading(terms_.directory));
    directoryMark_ = markOf(directory_->descriptor());
    return true;
}

bool RingFollower::isIndexAsSeen() const { return index_.isStill(*directory_); }

/// Whether the name of the file being read still leads to it.
bool RingFollower::isCursorInPlace() const {
    struct stat status = {};
    return stat(cursor_->path().c_str(), &status) == 0 && isSameFile(markOf(status), cursor_->mark());
}

RingFollower::Result RingFollower::lookAnew() {
    const std::optional<RingView> opened = RingView::openOnce(*directory_, terms_.ringSize);
    if (!opened) {
        return std::nullopt;
    }
    const RingView &view = *opened;
    if (cursor_ && !isReplaced_ && !view.index().positions()) {
        // Between two steps of the writer, or damaged: the place is kept until the index can be read.
        if (wasIndexUnusable_) {
            tellDamage(view);
        }
        wasIndexUnusable_ = true;
        return State::Pending;
    }
    wasIndexUnusable_ = false;
    tellDamage(view);
    // Even with the same positions: the writer may have gone round the whole ring.
    const bool isIndexMoved = !view.index().isSameAs(index_);
    index_ = view.index();
    return hasBegun_ ? findPlace(view, isIndexMoved) : begin(view);
}

RingFollower::Result RingFollower::begin(const RingView &view) {
    placeFirst(view);
    if (!isIndexAsSeen()) {
        change(std::nullopt);
        old_.clear();
        former_ = {};
        return std::nullopt;
    }
    hasBegun_ = true;
    isReplaced_ = false;
    noteFirstEnd(view);
    for (const std::string &text : view.notes()) {
        tellOnce(text, sink_.note);
    }
    const size_t index = indexOf(view);
    return cursor_ && index < view.files().size() ? walk(view, index) : State::Waiting;
}

/// Where the newest items begin, in a file that can be read.
ScanStart RingFollower::startOf(const RingView &view, uint64_t newest) const {
    const std::vector<RingFile> &files = view.files();
    DamageLog unread;  // Reported when it is passed.
    ScanStart start;
    if (newest == 0) {
        start.fileIndex = std::max<size_t>(files.size(), 1) - 1;
    } else if (newest < UINT64_MAX) {
        start = startOfNewest(view, terms_.filter, {newest, terms_.before}, &unread).start;
    }
    while (start.fileIndex < files.size() && !files[start.fileIndex].file.isOpen()) {
        ++start.fileIndex;
    }
    return start;
}

/// Goes to where the items begin that are to be passed on of those that are there.
void RingFollower::placeFirst(const RingView &view) {
    const uint64_t newest = isNew_ ? UINT64_MAX : terms_.newest;
    const std::vector<RingFile> &files = view.files();
    const ScanStart start = startOf(view, newest);
    rememberAllBut(view, start.fileIndex);
    if (start.fileIndex == files.size()) {
        return;
    }
    FileCursor first(files[start.fileIndex]);
    first.skipTo(start.offset);
    if (newest == 0) {
        first.skipAll();
    }
    change(std::move(first));
    if (start.fileIndex > 0 && files[start.fileIndex - 1].file.isOpen()) {
        FileCursor before(files[start.fileIndex - 1]);
        before.skipAll();
        former_ = before.read();
    }
}

void RingFollower::noteFirstEnd(const RingView &view) {
    for (const RingFile &file : view.files()) {
        if (file.file.isOpen()) {
            firstEnd_ = FirstEnd{identityOf(file.mark), file.size};
        }
    }
}

/// Finds the file being read again after a change, or the one to continue with.
RingFollower::Result RingFollower::findPlace(const RingView &view, bool isIndexMoved) {
    const size_t count = view.files().size();
    if (!cursor_) {
        isReplaced_ = false;
        return goOnWithFresh(view);
    }
    if (isReplaced_ || cursor_->isDeleted()) {
        return goOnInReplacement(view);
    }
    const size_t found = indexOf(view);
    const bool isIntact = cursor_->isIntact() && !(isIndexMoved && isStartedAgain(view, found));
    if (found < count && isIntact) {
        return walk(view, found);
    }
    if (found < count && !isIndexMoved && isAtNewest_) {
        cursor_->restart();
        return walk(view, found);
    }
    // The writer empties a file before its index shows that it has moved on to it.
    const bool isBeingEmptied = found < count && !isIndexMoved;
    return goOnOutside(view, isBeingEmptied ? found + 1 : 0, isIntact);
}

/// A clearing took the file being read out of the range, or it was written over.
RingFollower::Result RingFollower::goOnOutside(const RingView &view, size_t first, bool isIntact) {
    const size_t next = nextFresh(view, first);
    if (next == view.files().size()) {
        isAtNewest_ = false;
        return isIntact ? resultOf(readOn(false)) : State::Pending;
    }
    if (isIntact) {
        const Reading reading = readOn(true);
        if (reading != Reading::Done) {
            return resultOf(reading);
        }
        leave();
    }
    tellPassed(view, next, isIntact);
    enter(view.files()[next]);
    return walk(view, next);
}

/// Continues after the items that were read, in a copy that may lack lines which are not items.
RingFollower::Result RingFollower::goOnInReplacement(const RingView &view) {
    if (cursor_->isIntact()) {
        const Reading reading = readOn(false);
        if (reading != Reading::Done) {
            return resultOf(reading);
        }
    }
    if (view.files().empty()) {
        return State::Pending;
    }
    const ReadItems items = cursor_->read().count > 0 ? cursor_->read() : former_;
    if (const Result state = goBehind(view, items)) {
        return state;
    }
    if (!isIndexAsSeen()) {
        return std::nullopt;
    }
    if (items.count > 0) {
        sink_.note(isReplaced_ ? terms_.directory + ": another log has taken its place and is shown now"
                               : cursor_->path() + ": no longer exists; continuing with the new items");
    }
    if (std::exchange(isReplaced_, false)) {
        old_.clear();
    }
    former_ = {};
    change(std::nullopt);
    return goOnWithFresh(view);
}

/// With no file to continue from: starts at the oldest one that holds something new.
RingFollower::Result RingFollower::goOnWithFresh(const RingView &view) {
    const size_t next = nextFresh(view, 0);
    if (next == view.files().size()) {
        return State::Waiting;
    }
    enter(view.files()[next]);
    return walk(view, next);
}

RingFollower::Result RingFollower::goBehind(const RingView &view, const ReadItems &items) {
    for (const bool isExact : {true, false}) {
        for (size_t i = view.files().size(); items.count > 0 && i-- > 0;) {
            if (!view.files()[i].file.isOpen()) {
                continue;
            }
            FileCursor copy(view.files()[i]);
            if (isExact ? copy.skipBehind(items) : copy.skipBehindLine(items.last)) {
                isReplaced_ = false;
                old_.clear();
                rememberAllBut(view, i);
                change(std::move(copy));
                return walk(view, i);
            }
        }
    }
    return std::nullopt;
}

/// Reads the file, which is the view's at `index`, and those after it.
RingFollower::Result RingFollower::walk(const RingView &view, size_t index) {
    const std::vector<RingFile> &files = view.files();
    for (;;) {
        cursor_->moveTo(files[index]);
        const size_t next = nextFresh(view, index + 1);
        const bool isFinal = next < files.size();
        isAtNewest_ = index + 1 == files.size() && isLatest(files[index]);
        const Reading reading = readOn(isFinal);
        if (reading != Reading::Done || !isFinal) {
            return resultOf(reading);
        }
        leave();
        enter(files[next]);
        index = next;
    }
}

/// Whether the index names the file as the one being written; false while that one is still to come.
bool RingFollower::isLatest(const RingFile &file) const {
    return !index_.positions() || index_.positions()->latest == file.number;
}

/// The common case: the writer goes on appending to its file.
RingFollower::Result RingFollower::readNewest() {
    if (!cursor_->isIntact()) {
        cursor_->restart();
    }
    return resultOf(readOn(false));
}

Reading RingFollower::readOn(bool isFinal) {
    const CursorHooks hooks = {[this] { return isReplaced_ || isIndexAsSeen(); }, sink_.item, sink_.damage};
    const Reading reading = cursor_->readOn(terms_.filter, isFinal, hooks);
    lastMark_ = cursor_->mark();
    return reading;
}

RingFollower::Result RingFollower::resultOf(Reading reading) {
    switch (reading) {
        case Reading::Done:
            return State::Waiting;
        case Reading::Ended:
            return State::Ended;
        case Reading::Stale:
            break;
    }
    return std::nullopt;
}

/// The index in the view of the file being read; the number of files when it is not there.
size_t RingFollower::indexOf(const RingView &view) const {
    const auto found = std::find_if(view.files().begin(), view.files().end(),
                                    [this](const RingFile &file) { return cursor_ && cursor_->isOf(file); });
    return static_cast<size_t>(found - view.files().begin());
}

/// The index of the first file, from `first` on, that holds something new.
size_t RingFollower::nextFresh(const RingView &view, size_t first) const {
    size_t index = first;
    const auto isFresh = [this](const RingFile &file) {
        const OldFile *const old = file.file.isOpen() ? oldFile(file) : nullptr;
        return file.file.isOpen() && (old == nullptr || !(old->mark == markOf(file.file.get())));
    };
    while (index < view.files().size() && !isFresh(view.files()[index])) {
        ++index;
    }
    return index;
}

const RingFollower::OldFile *RingFollower::oldFile(const RingFile &file) const {
    const auto found = old_.find(identityOf(markOf(file.file.get())));
    return found == old_.end() ? nullptr : &found->second;
}

/// A full file is never appended to. A full newest file that was written to since it was read has been
/// restarted, even if it holds the same bytes.
bool RingFollower::isStartedAgain(const RingView &view, size_t index) const {
    return cursor_->isFull() && index + 1 == view.files().size() && index > 0 &&
           !(cursor_->mark() == lastMark_);
}

/// Every change of the file being read is made here, to another one or to none.
void RingFollower::change(std::optional<FileCursor> cursor) { cursor_ = std::move(cursor); }

/// Starts a file. One that was cleared and then appended to again still has its old items in front.
void RingFollower::enter(const RingFile &file) {
    FileCursor next(file);
    const OldFile *const old = oldFile(file);
    const bool isCleared = index_.positions() && index_.positions()->oldest == index_.positions()->latest;
    if (old != nullptr && isCleared && markOf(file.file.get()).size >= old->mark.size &&
        headOf(file.file.get()).compare(0, old->head.size(), old->head) == 0) {
        next.skipTo(static_cast<uint64_t>(old->mark.size));
    }
    change(std::move(next));
}

void RingFollower::leave() {
    const FileMark mark = cursor_->mark();
    if (firstEnd_ && firstEnd_->file == identityOf(mark)) {
        firstEnd_.reset();
    }
    old_[identityOf(mark)] = {mark, cursor_->head()};
    former_ = cursor_->read().count > 0 ? cursor_->read() : former_;
}

/// Marks everything in the directory as old, except the view's files from `firstUnread` on.
void RingFollower::rememberAllBut(const RingView &view, size_t firstUnread) {
    std::set<int> inView;
    for (const RingFile &file : view.files()) {
        inView.insert(file.number);
        const bool isRead = inView.size() <= firstUnread;
        if (isRead && file.file.isOpen()) {
            remember(file.mark, file.begin);
        }
    }
    const FilePresence isPresent = view.look().presence();
    for (int number = 0; number < jorn::kSurveySize; ++number) {
        if (isPresent[static_cast<size_t>(number)] && inView.count(number) == 0) {
            rememberOutside(number);
        }
    }
}

void RingFollower::rememberOutside(int number) {
    try {
        const Descriptor file = openRegular(*directory_, dataFileName(number));
        if (file.isOpen()) {
            remember(markOf(file.get()), headOf(file.get()));
        }
    } catch (const Failure &) {
        // What cannot be opened has no items to pass on.
    }
}

void RingFollower::remember(const FileMark &mark, const std::string &begin) {
    old_[identityOf(mark)] = {mark, begin.substr(0, jorn::kLineMax)};
}

/// Reports files that were not read in time.
void RingFollower::tellPassed(const RingView &view, size_t next, bool isIntact) const {
    const RingFile &file = view.files()[next];
    const int between = jorn::ringPosition(view.ringSize(), file.number - cursor_->number() - 1);
    const int passed = between + (isIntact || cursor_->isFull() ? 0 : 1);
    if (passed > 0) {
        sink_.note(terms_.directory + ": written faster than it was read: at least " +
                   counted(passed, "file was", "files were") + " skipped; continuing with " +
                   dataFileName(file.number));
    }
}

void RingFollower::tellDamage(const RingView &view) {
    for (const std::string &text : view.damage().texts()) {
        tellOnce(text, sink_.damage);
    }
}

void RingFollower::tellOnce(const std::string &text, const std::function<void(const std::string &)> &tell) {
    if (told_.insert(text).second) {
        tell(text);
    }
}

}  // namespace tool
