// SPDX-License-Identifier: Apache-2.0
// The items of a ring that pass a filter, one at a time, the oldest or the newest first, in bounded memory.
#ifndef JORN_TOOLS_ITEM_SCANNER_H
#define JORN_TOOLS_ITEM_SCANNER_H

#include <stdint.h>

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "log/damage.h"
#include "log/item.h"
#include "log/ring_view.h"
#include "log/segment_reader.h"
#include "log/stored_line.h"
#include "query/item_filter.h"
#include "query/piece_filter.h"

namespace tool {

/// Tells a scan's place: items at or after `offset` of the file at `fileIndex` of the view, and newer ones.
struct ScanStart {
    size_t fileIndex = 0;
    uint64_t offset = 0;
};

/// The source of a log's items, in order: who prints several logs together has one for each.
class ItemScanner {
public:
    /// View, filter and damage must outlive the scanner. Passes on the items that the filter lets through,
    /// none older than `start`. What is damaged or lost is told to `damage`, as far as it is read.
    ItemScanner(const RingView &view, const ItemFilter &filter, Order order, DamageLog *damage,
                const ScanStart &start = {});

    /// The next item; null at the end. Good until the next call.
    const Item *next();

    /// Is told after every segment how many bytes of the view have been read.
    using Watch = std::function<void(uint64_t bytes)>;
    void setWatch(Watch watch) { watch_ = std::move(watch); }

private:
    struct Found {
        Line line;
        bool isMatch;
    };

    bool nextFile();
    bool findMore();
    void lookThrough(const Segment &segment);

    const RingView &view_;
    const Order order_;
    PieceFilter filter_;
    DamageLog *damage_;
    const ScanStart start_;
    Watch watch_;
    uint64_t bytesRead_ = 0;

    size_t filesLeft_;                     ///< That have not been begun.
    size_t fileIndex_ = 0;                 ///< Of the file being read.
    std::optional<SegmentReader> reader_;  ///< Of the file being read.
    BadLines badLines_;                    ///< Of the file being read.
    std::vector<Found> found_;             ///< In a segment of it, the oldest first.
    size_t foundLeft_ = 0;
    Item item_;
};

/// The next segment of a file of the view; false at its end. Once a writer has started the file afresh there
/// is none, and the loss is told: nothing of what is there now is taken for what was there.
bool nextSegment(const RingFile &file, SegmentReader *reader, Segment *segment, DamageLog *damage);

/// Tells what became of a reading.
void noteReadingEnd(const RingFile &file, const SegmentReader &reader, const BadLines &badLines,
                    DamageLog *damage);

/// Whether a bad line is the begin of one that a writer has not finished yet.
inline bool isBeingWritten(const RingFile &file, const Line &line) {
    return file.isNewest && !line.hasLineEnd() && line.end() == file.size;
}

/// Calls take(line) for every item of a segment that passes, the oldest first.
template <class Filter, class Take>
void forEachMatch(const RingFile &file, const Segment &segment, Filter *filter, BadLines *badLines,
                  const Take &take) {
    filter->enter(segment.bytes);
    forEachLine(segment, [&](const Line &line) {
        if (line.isItem() && filter->passes(line.bytes, line.numbers)) {
            take(line);
        } else if (line.isBad() && !isBeingWritten(file, line)) {
            badLines->add(line.offset);
        }
        return true;
    });
}

/// Calls take(numbers) for every item of a file that passes, the oldest first. Returns false when the file
/// could not be read to its end.
template <class Filter, class Take>
bool forEachItemLine(const RingFile &file, Filter *filter, DamageLog *damage, const Take &take) {
    if (!file.file.isOpen()) {
        return false;
    }
    SegmentReader reader(file.file.get(), file.size, Order::OldestFirst);
    BadLines badLines;
    for (Segment segment; nextSegment(file, &reader, &segment, damage);) {
        forEachMatch(file, segment, filter, &badLines, [&](const Line &line) { take(line.numbers); });
    }
    noteReadingEnd(file, reader, badLines, damage);
    return reader.error() == 0;
}

}  // namespace tool

#endif
