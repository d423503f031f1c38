// SPDX-License-Identifier: Apache-2.0
#include "log/segment_reader.h"

#include <string.h>

#include <algorithm>

#include "module_limits.h"
#include "system/file_bytes.h"

namespace tool {

// So that a long line that is cut into segments is cut where its pieces begin.
static_assert(SegmentReader::kSegmentSize % jorn::kLineMax == 0, "a segment holds whole pieces");

SegmentReader::SegmentReader(int file, uint64_t size, Order order, uint64_t begin)
    : file_(file),
      order_(order),
      begin_(std::min(begin, size)),
      end_(size),
      lineBegin_(size),
      buffer_(new char[kSegmentSize]) {}

bool SegmentReader::next(Segment *segment) {
    if (begin_ >= end_ || error_ != 0 || isCutShort_) {
        return false;
    }
    return order_ == Order::OldestFirst ? nextForward(segment) : nextBackward(segment);
}

bool SegmentReader::nextForward(Segment *segment) {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(kSegmentSize, end_ - begin_));
    size_t length = read(begin_, wanted);
    if (error_ != 0 || begin_ + length < end_) {
        const auto *const feed = static_cast<const char *>(memrchr(buffer_.get(), '\n', length));
        length = feed == nullptr ? length / jorn::kLineMax * jorn::kLineMax
                                 : static_cast<size_t>(feed - buffer_.get()) + 1;
    }
    *segment = {{buffer_.get(), length}, begin_};
    begin_ += length;
    return length > 0;
}

bool SegmentReader::nextBackward(Segment *segment) {
    const uint64_t begin = beginOfSegmentBefore(end_);
    if (error_ != 0 || isCutShort_) {
        return false;
    }
    const auto wanted = static_cast<size_t>(end_ - begin);
    const size_t length = read(begin, wanted);
    *segment = {{buffer_.get(), length}, begin};
    end_ = begin;
    return length > 0;
}

/// The earliest piece that begins at most a segment's size before `end`, which is the end of a piece.
uint64_t SegmentReader::beginOfSegmentBefore(uint64_t end) {
    if (end - begin_ <= kSegmentSize) {
        return begin_;
    }
    if (lineBegin_ >= end) {
        const uint64_t block = end - kSegmentSize;
        const size_t length = read(block, kSegmentSize);
        // The last byte may be the line feed that ends the line before `end`.
        const auto *const feed = length == 0 ? nullptr : memchr(buffer_.get(), '\n', length - 1);
        if (feed != nullptr) {
            return block + static_cast<uint64_t>(static_cast<const char *>(feed) - buffer_.get()) + 1;
        }
        lineBegin_ = beginOfLine(block);
    }
    const uint64_t inLine = end - 1 - lineBegin_;
    return lineBegin_ + inLine / kSegmentSize * kSegmentSize;
}

/// Where the line begins that the byte at `within` belongs to.
uint64_t SegmentReader::beginOfLine(uint64_t within) {
    while (within > begin_ && error_ == 0 && !isCutShort_) {
        const auto length = static_cast<size_t>(std::min<uint64_t>(kSegmentSize, within - begin_));
        const size_t got = read(within - length, length);
        const auto *const feed = static_cast<const char *>(memrchr(buffer_.get(), '\n', got));
        if (feed != nullptr) {
            return within - length + static_cast<uint64_t>(feed - buffer_.get()) + 1;
        }
        within -= length;
    }
    return begin_;
}

size_t SegmentReader::read(uint64_t offset, size_t length) {
    const size_t done = readAt(file_, offset, buffer_.get(), length, &error_);
    if (error_ != 0) {
        errorOffset_ = offset + done;
    } else if (done < length) {
        isCutShort_ = true;
    }
    return done;
}

}  // namespace tool
