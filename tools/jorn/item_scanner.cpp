// SPDX-License-Identifier: Apache-2.0
#include "item_scanner.h"

#include <string.h>

#include <algorithm>

namespace tool {
namespace {

/// A line of a segment that passed the filter.
struct Match {
    std::string_view piece;
    uint64_t offset = 0;
    LineNumbers numbers;
};

/// Finds the matches of one segment after the other; its list is used again for each.
class SegmentFilter {
public:
    SegmentFilter(const RingFile &file, PieceFilter *filter) : file_(file), filter_(filter) {}

    const std::vector<Match> &matchesIn(const Segment &segment) {
        matches_.clear();
        filter_->enter(segment.bytes);
        forEachPiece(segment.bytes, [&](std::string_view piece, size_t offset) {
            take(piece, segment.offset + offset);
            return true;
        });
        return matches_;
    }

    const BadLines &badLines() const { return badLines_; }

private:
    void take(std::string_view piece, uint64_t offset) {
        LineNumbers numbers;
        const LineKind kind = readNumbers(piece, &numbers);
        if (kind == LineKind::Damaged && !isBeingWritten(file_, piece, offset)) {
            badLines_.add(offset);
        }
        if (kind == LineKind::Item && filter_->passes(piece, numbers)) {
            matches_.push_back({piece, offset, numbers});
        }
    }

    const RingFile &file_;
    PieceFilter *filter_;
    std::vector<Match> matches_;
    BadLines badLines_;
};

}  // namespace

void noteReadingEnd(const RingFile &file, const SegmentReader &reader, const BadLines &badLines,
                    DamageLog *damage) {
    damage->addLines(file.path, badLines);
    if (reader.error() != 0) {
        damage->addText(file.path + ": " + strerror(reader.error()) + " at offset " +
                        std::to_string(reader.errorOffset()) + "; its items there are left out");
    }
}

void ItemScanner::scan(Order order, const Sink &sink, const ScanStart &start) {
    const size_t count = view_.files().size();
    for (size_t i = start.fileIndex; i < count; ++i) {
        const size_t index = order == Order::OldestFirst ? i : count - 1 - (i - start.fileIndex);
        if (!scanFile(index, order, sink, index == start.fileIndex ? start.offset : 0)) {
            return;
        }
    }
}

bool ItemScanner::scanFile(size_t index, Order order, const Sink &sink, uint64_t begin) {
    const RingFile &file = view_.files()[index];
    if (!file.file.isOpen()) {
        return true;
    }
    SegmentReader reader(file.file.get(), file.size, order, begin);
    SegmentFilter filter(file, &filter_);
    const auto pass = [&](const Match &match) {
        Item item = readItem(match.piece, match.numbers);
        item.fileIndex = index;
        item.offset = match.offset;
        return sink(item);
    };
    bool isWanted = true;
    for (Segment segment; isWanted && nextSegment(file, &reader, &segment);) {
        const std::vector<Match> &matches = filter.matchesIn(segment);
        isWanted = order == Order::OldestFirst ? std::all_of(matches.begin(), matches.end(), pass)
                                               : std::all_of(matches.rbegin(), matches.rend(), pass);
        isWanted = isWanted && isGoingOn(segment.bytes.size());
    }
    noteReadingEnd(file, reader, filter.badLines(), damage_);
    return isWanted;
}

bool ItemScanner::nextSegment(const RingFile &file, SegmentReader *reader, Segment *segment) {
    const bool isRead = reader->next(segment);
    // Asked after the reading: what was read before the file was emptied holds.
    const bool isLost = isRead ? !file.hasBegin() : reader->isCutShort();
    if (isLost) {
        losses_.push_back(file.path + ": started afresh by a writer meanwhile; items may be missing here");
    }
    return isRead && !isLost;
}

bool ItemScanner::isGoingOn(size_t bytes) {
    bytesRead_ += bytes;
    return !watch_ || watch_(bytesRead_);
}

}  // namespace tool
