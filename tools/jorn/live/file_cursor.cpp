// SPDX-License-Identifier: Apache-2.0
#include "live/file_cursor.h"

#include <fcntl.h>

#include <algorithm>

#include "query/item_scanner.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

/// Bytes at either end of what was read that are compared: a longest line.
constexpr size_t kSample = jorn::kLineMax;

uint64_t folded(uint64_t hash, std::string_view bytes) {
    constexpr uint64_t kPrime = 1099511628211U;
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    }
    return (hash ^ uint64_t{0x100}) * kPrime;
}

LineKind kindOf(std::string_view piece) {
    LineNumbers numbers;
    return readNumbers(piece, &numbers);
}

bool isItemLine(std::string_view piece) { return kindOf(piece) == LineKind::Item; }

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

void FileCursor::account(std::string_view piece, bool isItem) {
    if (isItem) {
        const std::string_view line = withoutLineFeed(piece);
        ++read_.count;
        read_.hash = folded(read_.hash, line);
        read_.last = line;
    }
    head_.append(piece.substr(0, kSample - std::min(kSample, head_.size())));
    tail_ = piece;
    offset_ += piece.size();
}

/// A piece that cannot get longer is not waited for when it is an item. One that is none becomes damage when
/// the line goes on, no sooner than for the commands that read a log once.
bool FileCursor::isUnfinished(std::string_view piece, LineKind kind, uint64_t end) const {
    const bool isWhole = piece.size() == jorn::kLineMax && kind != LineKind::Damaged;
    return piece.back() != '\n' && !isWhole && offset_ + piece.size() == end;
}

/// Gives the pieces from the place on, which moves with those that are accounted, until `take` returns false.
bool FileCursor::scan(uint64_t end, const std::function<bool(std::string_view)> &take) {
    SegmentReader reader(file_.get(), end, Order::OldestFirst, offset_);
    for (Segment segment; reader.next(&segment);) {
        if (!forEachPiece(segment.bytes, [&](std::string_view piece, size_t) { return take(piece); })) {
            return false;
        }
    }
    return true;
}

void FileCursor::skipTo(uint64_t end) {
    scan(end, [&](std::string_view piece) {
        account(piece, isItemLine(piece));
        return true;
    });
}

void FileCursor::skipAll() {
    const auto end = static_cast<uint64_t>(mark().size);
    scan(end, [&](std::string_view piece) {
        const LineKind kind = kindOf(piece);
        if (isUnfinished(piece, kind, end)) {
            return false;
        }
        account(piece, kind == LineKind::Item);
        return true;
    });
}

bool FileCursor::skipBehind(const ReadItems &items) {
    const bool isMissing = scan(static_cast<uint64_t>(mark().size), [&](std::string_view piece) {
        account(piece, isItemLine(piece));
        return read_.count != items.count || read_.hash != items.hash;
    });
    return !isMissing;
}

bool FileCursor::skipBehindLine(const std::string &line) {
    uint64_t found = 0;
    scan(static_cast<uint64_t>(mark().size), [&](std::string_view piece) {
        account(piece, isItemLine(piece));
        found = withoutLineFeed(piece) == line ? offset_ : found;
        return true;
    });
    restart();
    skipTo(found);
    return found > 0;
}

/// One reading: what it passes on and what it found on the way.
struct FileCursor::Emission {
    const ItemFilter &filter;
    const CursorHooks &hooks;
    BadLines badLines;

    /// False when nobody wants any more.
    bool take(std::string_view piece, LineKind kind, const LineNumbers &numbers, uint64_t offset) {
        if (kind == LineKind::Damaged) {
            badLines.add(offset);
        }
        const bool isWanted = kind == LineKind::Item && filter.hasNumbers(numbers) &&
                              (filter.pattern == nullptr || filter.hasText(textIn(piece)));
        return !isWanted || hooks.item(readItem(piece, numbers));
    }

    void tell(const RingFile &file, const SegmentReader &reader) const {
        DamageLog log;
        noteReadingEnd(file, reader, badLines, &log);
        for (const std::string &text : log.texts()) {
            hooks.damage(text);
        }
    }
};

/// Passes on what a segment holds.
FileCursor::Reading FileCursor::emit(const Segment &segment, uint64_t end, bool isFinal, Emission *emission) {
    bool isWanted = true;
    forEachPiece(segment.bytes, [&](std::string_view piece, size_t) {
        LineNumbers numbers;
        const LineKind kind = readNumbers(piece, &numbers);
        if (!isFinal && isUnfinished(piece, kind, end)) {
            return false;
        }
        const uint64_t begin = offset_;
        account(piece, kind == LineKind::Item);
        isWanted = emission->take(piece, kind, numbers, begin);
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
        // Asked after the reading. A file that follows a clearing is started afresh under the same index.
        reading = hooks.isStill() && isIntact() ? emit(segment, end, isFinal, &emission) : Reading::Stale;
    }
    RingFile file;
    file.path = path_;
    emission.tell(file, reader);
    const bool isDoubtful = reader.isCutShort() || !hooks.isStill();
    return reading == Reading::Done && isDoubtful ? Reading::Stale : reading;
}

}  // namespace tool
