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

ItemScanner::ItemScanner(const RingView &view, const ItemFilter &filter, Order order, DamageLog *damage,
                         const ScanStart &start)
    : view_(view),
      order_(order),
      filter_(filter),
      damage_(damage),
      start_(start),
      filesLeft_(view.files().size() - std::min(view.files().size(), start.fileIndex)) {}

const Item *ItemScanner::next() {
    while (foundLeft_ == 0) {
        if (!findMore()) {
            return nullptr;
        }
    }
    const size_t index = order_ == Order::OldestFirst ? found_.size() - foundLeft_ : foundLeft_ - 1;
    --foundLeft_;
    item_ = readItem(found_[index].line);
    item_.isMatch = found_[index].isMatch;
    item_.fileIndex = fileIndex_;
    return &item_;
}

/// Goes on to the next segment; false when there is none.
bool ItemScanner::findMore() {
    Segment segment;
    while (!reader_ || !nextSegment(view_.files()[fileIndex_], &*reader_, &segment, damage_)) {
        if (!nextFile()) {
            return false;
        }
    }
    lookThrough(segment);
    return true;
}

/// Goes on to the next file that can be read; false when there is none.
bool ItemScanner::nextFile() {
    if (reader_) {
        noteReadingEnd(view_.files()[fileIndex_], *reader_, badLines_, damage_);
        reader_.reset();
    }
    const size_t count = view_.files().size();
    while (filesLeft_ > 0) {
        fileIndex_ = order_ == Order::OldestFirst ? count - filesLeft_ : start_.fileIndex + filesLeft_ - 1;
        --filesLeft_;
        const RingFile &file = view_.file(fileIndex_, damage_);
        if (file.file.isOpen()) {
            reader_.emplace(file.file.get(), file.size, order_,
                            fileIndex_ == start_.fileIndex ? start_.offset : 0);
            badLines_ = {};
            return true;
        }
    }
    return false;
}

void ItemScanner::lookThrough(const Segment &segment) {
    const RingFile &file = view_.files()[fileIndex_];
    found_.clear();
    forEachMatch(file, segment, &filter_, &badLines_, [this](const Line &line) {
        found_.push_back({line, filter_.isMatch(line.bytes)});
    });
    foundLeft_ = found_.size();
    // At once: nobody has to read on to the end of the file.
    damage_->addLines(file.path, badLines_);
    bytesRead_ += segment.bytes.size();
    if (watch_) {
        watch_(bytesRead_);
    }
}

}  // namespace tool
