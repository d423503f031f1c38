// SPDX-License-Identifier: Apache-2.0
// Reads a file in segments of bounded size that begin and end where line pieces do, from either end.
#ifndef JORN_TOOLS_SEGMENT_READER_H
#define JORN_TOOLS_SEGMENT_READER_H

#include <stdint.h>

#include <memory>
#include <string_view>

namespace tool {

enum class Order { OldestFirst, NewestFirst };

/// Some whole pieces of a file. Good until the next one is read.
struct Segment {
    std::string_view bytes;
    uint64_t offset = 0;
};

/// Pieces are what the module's reader takes: lines, and of longer ones 256 characters each. Memory is
/// bounded whatever the file holds, and every byte is read at most three times.
class SegmentReader {
public:
    static constexpr size_t kSegmentSize = size_t{256} * 1024;

    /// Reads the first `size` bytes of an open file, which must outlive the reader. `begin` is where a piece
    /// begins: what is before it is not read.
    SegmentReader(int file, uint64_t size, Order order, uint64_t begin = 0);

    /// The next segment, never empty; false at the end, when the file has become shorter, and at a reading
    /// error.
    bool next(Segment *segment);

    /// Why reading failed, 0 when it did not; and where.
    int error() const { return error_; }
    uint64_t errorOffset() const { return errorOffset_; }

    /// Whether the file was shorter than it had been.
    bool isCutShort() const { return isCutShort_; }

private:
    bool nextForward(Segment *segment);
    bool nextBackward(Segment *segment);
    uint64_t beginOfSegmentBefore(uint64_t end);
    uint64_t beginOfLine(uint64_t within);
    size_t read(uint64_t offset, size_t length);

    const int file_;
    const Order order_;
    uint64_t begin_;
    uint64_t end_;
    uint64_t lineBegin_;  ///< Backward: begin of the line before end_; end_ or more when not known.
    std::unique_ptr<char[]> buffer_;
    int error_ = 0;
    uint64_t errorOffset_ = 0;
    bool isCutShort_ = false;
};

}  // namespace tool

#endif
