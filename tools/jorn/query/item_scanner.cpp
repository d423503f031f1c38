// SPDX-License-Identifier: Apache-2.0
#include "query/item_scanner.h"

#include <string.h>

#include <algorithm>

namespace tool {

void noteReadingEnd(const RingFile &file, const SegmentReader &reader, const BadLines &badLines,
                    DamageLog *damage) {
    damage->addLines(file.path, badLines);
    if (reader.error() != 0) {
        damage->addText(file.path + ": " + strerror(reader.error()) + " at offset " +
                        std::to_string(reader.errorOffset()) + "; its items there are left out");
    }
}

bool nextSegment(const RingFile &file, SegmentReader *reader, Segment *segment, DamageLog *damage) {
    const bool isRead = reader->next(segment);
    // Asked after the reading: what was read before the file was emptied holds.
    const bool isLost = isRead ? !file.isStill() : reader->isCutShort();
    if (isLost) {
        damage->addLoss(file.path);
    }
    return isRead && !isLost;
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
    const auto pass = [&](const Line &line) {
        Item item = readItem(line);
        item.fileIndex = index;
        return sink(item);
    };
    BadLines badLines;
    std::vector<Line> matches;
    bool isWanted = true;
    for (Segment segment; isWanted && nextSegment(file, &reader, &segment, damage_);) {
        matches.clear();
        forEachMatch(file, segment, &filter_, &badLines, [&](const Line &line) { matches.push_back(line); });
        isWanted = order == Order::OldestFirst ? std::all_of(matches.begin(), matches.end(), pass)
                                               : std::all_of(matches.rbegin(), matches.rend(), pass);
        isWanted = isWanted && isGoingOn(segment.bytes.size());
    }
    noteReadingEnd(file, reader, badLines, damage_);
    return isWanted;
}

bool ItemScanner::isGoingOn(size_t bytes) {
    bytesRead_ += bytes;
    return !watch_ || watch_(bytesRead_);
}

}  // namespace tool
