// SPDX-License-Identifier: Apache-2.0
#include "cursor/file_items.h"

#include "cursor/item_hash.h"
#include "log/segment_reader.h"
#include "query/item_scanner.h"

namespace tool {
namespace {

/// A last line that a writer may still go on with. A piece that is full cannot get longer.
bool isUnfinished(const RingFile &file, const Line &line) {
    const bool isWhole = line.isFull() && !line.isBad();
    return file.isNewest && !line.hasLineEnd() && !isWhole && line.end() == file.size;
}

/// One reading of a file.
class Reading {
public:
    Reading(const RingFile &file, const std::function<bool(const Line &)> &take) : file_(file), take_(take) {}

    /// False when no more lines are to be taken.
    bool takeLine(const Line &line) {
        if (isUnfinished(file_, line)) {
            end_ = FileEnd::Held;
            return false;
        }
        if (line.isBad()) {
            badLines_.add(line.offset);
        }
        const bool isWanted = !(line.isBad() || line.isItem()) || take_(line);
        end_ = isWanted ? end_ : FileEnd::Unwanted;
        return isWanted;
    }

    const BadLines &badLines() const { return badLines_; }
    FileEnd end() const { return end_; }

private:
    const RingFile &file_;
    const std::function<bool(const Line &)> &take_;
    BadLines badLines_;
    FileEnd end_ = FileEnd::Read;
};

FileEnd endOf(const SegmentReader &reader, size_t losses, FileEnd end) {
    if (end == FileEnd::Unwanted) {
        return end;
    }
    if (losses > 0) {
        return FileEnd::Lost;
    }
    return reader.error() != 0 ? FileEnd::Failed : end;
}

}  // namespace

FileEnd readLines(const RingFile &file, uint64_t begin, DamageLog *damage,
                  const std::function<bool(const Line &)> &take) {
    if (!file.file.isOpen()) {
        return FileEnd::Failed;
    }
    SegmentReader reader(file.file.get(), begin, file.size, Zeros::Apart);
    Reading reading(file, take);
    DamageLog found;
    bool isWanted = true;
    for (Segment segment; isWanted && nextSegment(file, &reader, &segment, &found);) {
        isWanted = forEachLine(segment, [&reading](const Line &line) { return reading.takeLine(line); });
    }
    const FileEnd end = endOf(reader, found.losses().size(), reading.end());
    noteReadingEnd(file, reader, reading.badLines(), damage);
    return end;
}

ItemTable tableOf(const RingFile &file) {
    ItemTable table;
    DamageLog ignored;  // It is told when the items are passed on.
    table.end = readLines(file, 0, &ignored, [&table](const Line &line) {
        if (line.isItem()) {
            table.hashes.push_back(hashOfItem(withoutLineFeed(line.bytes)));
            table.ends.push_back(line.end());
            table.times.push_back(line.numbers.time);
        } else if (table.damaged.empty() || table.damaged.back() != table.hashes.size()) {
            table.damaged.push_back(table.hashes.size());
        }
        return true;
    });
    return table;
}

FileTrack trackOf(const ItemTable &table, uint64_t items) {
    FileTrack track;
    for (size_t i = 0; i < items; ++i) {
        track.take(table.hashes[i], table.times[i]);
    }
    return track;
}

}  // namespace tool
