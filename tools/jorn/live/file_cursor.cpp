// SPDX-License-Identifier: Apache-2.0
#include "live/file_cursor.h"

#include <fcntl.h>

#include <algorithm>

#include "query/item_scanner.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

/// How many bytes at either end of what was read are compared: as many as a longest line.
constexpr size_t kSample = jorn::kLineMax;

uint64_t folded(uint64_t hash, std::string_view bytes) {
    constexpr uint64_t kPrime = 1099511628211U;
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    }
    return (hash ^ uint64_t{0x100}) * kPrime;
}

struct stat statusOf(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) < 0) {
        return {};
    }
    return status;
}

}  // namespace

FileCursor::FileCursor(const RingFile &file)
    : file_(fcntl(file.file.get(), F_DUPFD_CLOEXEC, 0)), path_(file.path), number_(file.number) {}

bool FileCursor::isDeleted() const { return statusOf(file_.get()).st_nlink == 0; }

bool FileCursor::isOf(const RingFile &file) const {
    return file.file.isOpen() && isSameFile(mark(), markOf(file.file.get()));
}

bool FileCursor::isIntact() const {
    return bytesAt(file_.get(), 0, head_.size()) == head_ &&
           bytesAt(file_.get(), offset_ - tail_.size(), tail_.size()) == tail_;
}

void FileCursor::moveTo(const RingFile &file) {
    path_ = file.path;
    number_ = file.number;
}

void FileCursor::restart() {
    offset_ = 0;
    read_ = {};
    head_.clear();
    tail_.clear();
}

void FileCursor::account(const Line &line) {
    if (line.isItem()) {
        const std::string_view bytes = withoutLineFeed(line.bytes);
        ++read_.count;
        read_.hash = folded(read_.hash, bytes);
        read_.last = bytes;
    }
    head_.append(line.bytes.substr(0, kSample - std::min(kSample, head_.size())));
    tail_ = line.bytes;
    offset_ += line.bytes.size();
}

/// A piece that cannot get longer is passed on at once if it is an item. Otherwise it becomes damage only
/// when the line goes on, no sooner than in the commands that read a log once.
bool FileCursor::isUnfinished(const Line &line, uint64_t end) {
    const bool isWhole = line.isFull() && !line.isBad();
    return !line.hasLineEnd() && !isWhole && line.end() == end;
}

/// Passes the lines from the current place on to `take` until that returns false; account() moves the place.
bool FileCursor::scan(uint64_t end, const std::function<bool(const Line &)> &take) {
    SegmentReader reader(file_.get(), end, Order::OldestFirst, offset_);
    for (Segment segment; reader.next(&segment);) {
        if (!forEachLine(segment, take)) {
            return false;
        }
    }
    return true;
}

void FileCursor::skipTo(uint64_t end) {
    scan(end, [&](const Line &line) {
        account(line);
        return true;
    });
}

void FileCursor::skipAll() {
    const auto end = static_cast<uint64_t>(mark().size);
    scan(end, [&](const Line &line) {
        if (isUnfinished(line, end)) {
            return false;
        }
        account(line);
        return true;
    });
}

bool FileCursor::skipBehind(const ReadItems &items) {
    const bool isMissing = scan(static_cast<uint64_t>(mark().size), [&](const Line &line) {
        account(line);
        return read_.count != items.count || read_.hash != items.hash;
    });
    return !isMissing;
}

bool FileCursor::skipBehindLine(const std::string &wanted) {
    uint64_t found = 0;
    scan(static_cast<uint64_t>(mark().size), [&](const Line &line) {
        account(line);
        found = withoutLineFeed(line.bytes) == wanted ? offset_ : found;
        return true;
    });
    restart();
    skipTo(found);
    return found > 0;
}

/// One reading: what it passes on and what it finds.
struct FileCursor::Emission {
    const ItemFilter &filter;
    const CursorHooks &hooks;
    BadLines badLines;

    /// False when no more is wanted.
    bool take(const Line &line) {
        if (line.isBad()) {
            badLines.add(line.offset);
        }
        if (!line.isItem() || !filter.hasNumbers(line.numbers)) {
            return true;
        }
        const bool isMatch = filter.pattern == nullptr || filter.hasText(textIn(line.bytes));
        if (!isMatch && !filter.isMarking) {
            return true;
        }
        Item item = readItem(line);
        item.isMatch = isMatch;
        return hooks.item(item);
    }

    void tell(const RingFile &file, const SegmentReader &reader) const {
        DamageLog log;
        noteReadingEnd(file, reader, badLines, &log);
        for (const std::string &text : log.texts()) {
            hooks.damage(text);
        }
    }
};

/// Passes on the items of a segment.
FileCursor::Reading FileCursor::emit(const Segment &segment, uint64_t end, bool isFinal, Emission *emission) {
    bool isWanted = true;
    forEachLine(segment, [&](const Line &line) {
        if (!isFinal && isUnfinished(line, end)) {
            return false;
        }
        account(line);
        isWanted = emission->take(line);
        return isWanted;
    });
    return isWanted ? Reading::Done : Reading::Ended;
}

FileCursor::Reading FileCursor::readOn(const ItemFilter &filter, bool isFinal, const CursorHooks &hooks) {
    const auto end = static_cast<uint64_t>(mark().size);
    SegmentReader reader(file_.get(), end, Order::OldestFirst, offset_);
    Emission emission{filter, hooks, {}};
    Reading reading = end < offset_ ? Reading::Stale : Reading::Done;
    for (Segment segment; reading == Reading::Done && reader.next(&segment);) {
        // Checked after the reading: a file after a clearing is restarted under the same index.
        reading = hooks.isStill() && isIntact() ? emit(segment, end, isFinal, &emission) : Reading::Stale;
    }
    RingFile file;
    file.path = path_;
    emission.tell(file, reader);
    const bool isDoubtful = reader.isCutShort() || !hooks.isStill();
    return reading == Reading::Done && isDoubtful ? Reading::Stale : reading;
}

}  // namespace tool
