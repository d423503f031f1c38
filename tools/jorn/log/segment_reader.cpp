// SPDX-License-Identifier: Apache-2.0
#include "log/segment_reader.h"

#include <string.h>

#include <algorithm>

#include "module_limits.h"
#include "system/file_bytes.h"

namespace tool {

namespace {

/// The end of a file that is read to the end, until that is reached.
constexpr uint64_t kUnknown = UINT64_MAX;

/// Length of the lines at the start of `bytes` that are complete whatever follows.
size_t wholeLines(std::string_view bytes, Zeros zeros) {
    const auto *const feed = static_cast<const char *>(memrchr(bytes.data(), '\n', bytes.size()));
    if (feed != nullptr) {
        return static_cast<size_t>(feed - bytes.data()) + 1;
    }
    size_t whole = 0;
    while (whole < bytes.size()) {
        const std::string_view rest = bytes.substr(whole);
        const size_t length = lineLength(rest, zeros);
        const bool areZeros = zeros == Zeros::Apart && rest.front() == '\0';
        if (length < jorn::kLineMax && !areZeros) {
            break;
        }
        whole += length;
    }
    return whole;
}

}  // namespace

// So that a long line that is cut into segments is cut where its pieces begin.
static_assert(SegmentReader::kSegmentSize % jorn::kLineMax == 0, "a segment holds whole pieces");
static_assert(SegmentReader::kFirstBackwardSize % jorn::kLineMax == 0, "the first one, too");

size_t zerosAtBegin(std::string_view bytes) {
    // Long runs are common in damaged files, so a segment full of zeros is checked in one comparison.
    if (bytes.front() == '\0' && memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0) {
        return bytes.size();
    }
    return bytes.find_first_not_of('\0');
}

SegmentReader::SegmentReader(int file, uint64_t size, Order order, uint64_t begin)
    : SegmentReader(file, std::min(begin, size), size, order, Zeros::InLine) {}

SegmentReader::SegmentReader(int file, uint64_t begin)
    : SegmentReader(file, begin, kUnknown, Order::OldestFirst, Zeros::Apart) {}

SegmentReader::SegmentReader(int file, uint64_t begin, uint64_t end, Order order, Zeros zeros)
    : file_(file),
      order_(order),
      zeros_(zeros),
      begin_(begin),
      end_(end),
      lineBegin_(end),
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
        length = wholeLines({buffer_.get(), length}, zeros_);
    }
    *segment = {{buffer_.get(), length}, begin_, zeros_};
    begin_ += length;
    return length > 0;
}

/// Of the bytes before the end, those from the start of a line on.
bool SegmentReader::nextBackward(Segment *segment) {
    uint64_t begin = end_ - std::min<uint64_t>(backwardSize_, end_ - begin_);
    size_t length = read(begin, static_cast<size_t>(end_ - begin));
    size_t passed = 0;
    if (begin > begin_ && error_ == 0 && !isCutShort_) {
        // The last byte may be the line feed that ends the line before the end.
        const bool isInLongLine = lineBegin_ < end_;
        const void *const feed = isInLongLine ? nullptr : memchr(buffer_.get(), '\n', length - 1);
        if (feed != nullptr) {
            passed = static_cast<size_t>(static_cast<const char *>(feed) - buffer_.get()) + 1;
        } else {
            length = partOfLongLine(&begin);
        }
    }
    if (error_ != 0) {
        length = wholeLines({buffer_.get(), length}, zeros_);
    }
    if (isCutShort_ || length <= passed) {
        return false;
    }
    *segment = {{buffer_.get() + passed, length - passed}, begin + passed, zeros_};
    end_ = begin + passed;
    backwardSize_ = std::min(kSegmentSize, 4 * backwardSize_);
    return true;
}

/// Reads the last pieces before the end of a line that begins before `begin`, where the buffered bytes begin.
/// Sets `begin` to where the pieces begin; returns their number of bytes.
size_t SegmentReader::partOfLongLine(uint64_t *begin) {
    if (lineBegin_ >= end_) {
        lineBegin_ = beginOfLine(*begin);
    }
    if (error_ != 0 || isCutShort_) {
        return 0;
    }
    const uint64_t inLine = end_ - 1 - lineBegin_;
    *begin = lineBegin_ + inLine / backwardSize_ * backwardSize_;
    return read(*begin, static_cast<size_t>(end_ - *begin));
}

/// Where the line that contains the byte at `within` begins.
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
    } else if (done < length && end_ == kUnknown) {
        end_ = offset + done;
    } else if (done < length) {
        isCutShort_ = true;
    }
    return done;
}

}  // namespace tool
