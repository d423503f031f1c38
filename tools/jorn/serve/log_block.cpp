// SPDX-License-Identifier: Apache-2.0
#include "serve/log_block.h"

#include <algorithm>

#include "log/regular_file.h"
#include "log/segment_reader.h"
#include "system/failure.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

/// The bytes read at once around a line that is asked for: lines are mostly asked for one after the other.
constexpr size_t kWindow = size_t{32} * 1024;

bool isUnfinished(const Line &line, uint64_t end) {
    return !line.hasLineEnd() && !line.isFull() && line.end() == end;
}

/// Opened to be read as it was when the block was made; closed where that cannot be.
RingFile opened(const LogBlock &block) {
    RingFile file;
    file.number = block.number;
    file.mark = block.mark;
    file.begin = block.begin;
    file.end = block.end;
    file.size = block.readTo;
    try {
        file.file = openRegular(*block.directory, dataFileName(block.number));
    } catch (const Failure &) {
        // Nothing is read of it, which shows as a block that is not there any more.
    }
    return file;
}

}  // namespace

void ItemColumns::add(const Line &line) {
    times.push_back(line.numbers.time);
    offsets.push_back(static_cast<uint32_t>(line.offset));
    kinds.push_back(kindOf(line.numbers));
    earliest = std::min(earliest, line.numbers.time);
    latest = std::max(latest, line.numbers.time);
}

bool continues(const RingFile &file, const LogBlock &block) {
    RingFile then;
    then.mark = block.mark;
    const auto size = static_cast<uint64_t>(block.mark.size);
    const int fd = file.file.get();
    return isSameFile(file.mark, block.mark) && file.size >= size &&
           bytesAt(fd, 0, block.begin.size()) == block.begin &&
           bytesAt(fd, size - block.end.size(), block.end.size()) == block.end;
}

bool readColumns(const RingFile &file, LastLine last, uint64_t *readTo, ItemColumns *columns) {
    // Offsets are kept in 32 bits; no ring has files of that size.
    const uint64_t end = std::min<uint64_t>(file.size, UINT32_MAX);
    SegmentReader reader(file.file.get(), end, Order::OldestFirst, *readTo);
    for (Segment segment; reader.next(&segment);) {
        if (!file.isStill()) {
            return false;
        }
        forEachLine(segment, [&](const Line &line) {
            if (last == LastLine::Finished && isUnfinished(line, end)) {
                return false;
            }
            if (line.isItem()) {
                columns->add(line);
            }
            *readTo = line.end();
            return true;
        });
    }
    return !reader.isCutShort();
}

BlockReader::BlockReader(const LogBlock &block) : file_(opened(block)), readTo_(block.readTo) {}

Line BlockReader::lineAt(uint32_t offset) {
    const size_t most = std::min<uint64_t>(jorn::kLineMax, readTo_ - std::min<uint64_t>(readTo_, offset));
    if (offset < windowBegin_ || offset + most > windowBegin_ + window_.size()) {
        windowBegin_ = offset;
        window_ = bytesAt(file_.file.get(), offset, std::min<uint64_t>(kWindow, readTo_ - windowBegin_));
    }
    const std::string_view bytes = std::string_view(window_).substr(offset - windowBegin_);
    return bytes.empty() ? Line{} : readLine(bytes.substr(0, lineLength(bytes, Zeros::InLine)), offset);
}

bool BlockReader::isStill() const { return file_.file.isOpen() && file_.isStill(); }

}  // namespace tool
