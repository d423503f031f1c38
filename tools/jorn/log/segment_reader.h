// SPDX-License-Identifier: Apache-2.0
// Reads a file from either end in segments of bounded size, and these line by line, cut where the store's own
// reader cuts them.
#ifndef JORN_TOOLS_SEGMENT_READER_H
#define JORN_TOOLS_SEGMENT_READER_H

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <system_error>

#include "log/stored_line.h"
#include "module_limits.h"

namespace tool {

enum class Order { OldestFirst, NewestFirst };

/// How to treat NULs where a line should begin.
enum class Zeros {
    InLine,  ///< Part of the line; from the store they hide the rest of it.
    Apart,   ///< A line of their own, of any length. The next one begins after them.
};

/// Some whole lines of a file. Valid until the next segment is read.
struct Segment {
    std::string_view bytes;
    uint64_t offset = 0;
    Zeros zeros = Zeros::InLine;
};

/// Lines are what the module's reader takes: those that do not fit its buffer, 256 characters at a time.
/// Memory is bounded whatever the file holds, and every byte is read at most three times. Reading backward
/// starts with small blocks: such a caller may need only the last lines.
class SegmentReader {
public:
    static constexpr size_t kSegmentSize = size_t{256} * 1024;
    static constexpr size_t kFirstBackwardSize = size_t{4} * 1024;

    /// Reads the first `size` bytes of an open file, which must outlive the reader. `begin` is where a line
    /// begins: nothing before it is read.
    SegmentReader(int file, uint64_t size, Order order, uint64_t begin = 0);

    /// Reads an open file, the oldest first, from `begin` to `end`.
    SegmentReader(int file, uint64_t begin, uint64_t end, Zeros zeros)
        : SegmentReader(file, std::min(begin, end), end, Order::OldestFirst, zeros) {}

    /// Reads an open file from `begin` to its end, with zeros apart.
    SegmentReader(int file, uint64_t begin);

    /// The next segment, never empty; false at the end, when the file is shorter than its size, and after a
    /// read error.
    bool next(Segment *segment);

    /// Why reading failed, 0 when it did not; and where.
    int error() const { return error_; }
    uint64_t errorOffset() const { return errorOffset_; }

    /// Whether the file turned out shorter than its size.
    bool isCutShort() const { return isCutShort_; }

private:
    SegmentReader(int file, uint64_t begin, uint64_t end, Order order, Zeros zeros);
    bool nextForward(Segment *segment);
    bool nextBackward(Segment *segment);
    size_t partOfLongLine(uint64_t *begin);
    uint64_t beginOfLine(uint64_t within);
    size_t read(uint64_t offset, size_t length);

    const int file_;
    const Order order_;
    const Zeros zeros_;
    uint64_t begin_;
    uint64_t end_;
    size_t backwardSize_ = kFirstBackwardSize;  ///< Backward: size limit of the next segment.
    uint64_t lineBegin_;  ///< Backward: start of the line before end_; end_ or more when unknown.
    std::unique_ptr<char[]> buffer_;
    int error_ = 0;
    uint64_t errorOffset_ = 0;
    bool isCutShort_ = false;
};

/// Number of NULs at the start of `bytes`.
size_t zerosAtBegin(std::string_view bytes);

/// Length of the first line of `bytes`, which start at a line start.
inline size_t lineLength(std::string_view bytes, Zeros zeros) {
    if (zeros == Zeros::Apart && bytes.front() == '\0') {
        return zerosAtBegin(bytes);
    }
    const size_t most = std::min(jorn::kLineMax, bytes.size());
    const auto *const feed = static_cast<const char *>(memchr(bytes.data(), '\n', most));
    return feed == nullptr ? most : static_cast<size_t>(feed - bytes.data()) + 1;
}

/// Calls take(line) for each line of a segment, but for those whose bytes are to be passed over, until it
/// returns false. Returns false when it was stopped.
template <class IsPassedOver, class Take>
bool forEachLine(const Segment &segment, const IsPassedOver &isPassedOver, const Take &take) {
    for (size_t begin = 0; begin < segment.bytes.size();) {
        const size_t length = lineLength(segment.bytes.substr(begin), segment.zeros);
        const std::string_view piece = segment.bytes.substr(begin, length);
        if (!isPassedOver(piece) && !take(readLine(piece, segment.offset + begin))) {
            return false;
        }
        begin += length;
    }
    return true;
}

template <class Take>
bool forEachLine(const Segment &segment, const Take &take) {
    return forEachLine(
        segment, [](std::string_view) { return false; }, take);
}

/// Calls take(line) for each line of an open file from `begin`, a line start, with zeros apart. Throws
/// std::system_error when it cannot be read to its end.
template <class Take>
void forEachLineToEnd(int file, uint64_t begin, const Take &take) {
    SegmentReader reader(file, begin);
    for (Segment segment; reader.next(&segment);) {
        forEachLine(segment, [&](const Line &line) {
            take(line);
            return true;
        });
    }
    if (reader.error() != 0) {
        throw std::system_error(reader.error(), std::generic_category());
    }
}

}  // namespace tool

#endif
