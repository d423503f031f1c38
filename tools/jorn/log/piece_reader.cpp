// SPDX-License-Identifier: Apache-2.0
#include "log/piece_reader.h"

#include <string.h>

#include <algorithm>

#include "module_limits.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

constexpr size_t kBufferSize = 262144;

PieceKind kindOf(std::string_view line, LineNumbers *numbers) {
    switch (readNumbers(line, numbers)) {
        case LineKind::Item:
            return PieceKind::Item;
        case LineKind::Blank:
            return PieceKind::Blank;
        case LineKind::Damaged:
            break;
    }
    return PieceKind::Unparsable;
}

size_t zerosAtBegin(std::string_view bytes) {
    if (bytes.front() != '\0') {
        return 0;
    }
    // Long runs are common in damaged files, so a buffer full of zeros is told at a glance.
    if (memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0) {
        return bytes.size();
    }
    return bytes.find_first_not_of('\0');
}

}  // namespace

PieceReader::PieceReader(int fd, int64_t begin) : fd_(fd), buffer_(kBufferSize), offset_(begin) {}

void PieceReader::fill() {
    if (end_ - begin_ >= jorn::kLineMax) {
        return;
    }
    std::copy(buffer_.begin() + static_cast<ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<ptrdiff_t>(end_), buffer_.begin());
    end_ -= begin_;
    begin_ = 0;
    const uint64_t endOffset = static_cast<uint64_t>(offset_) + end_;
    end_ += readAt(fd_, endOffset, buffer_.data() + end_, buffer_.size() - end_);
}

bool PieceReader::next(Piece *piece) {
    fill();
    if (begin_ == end_) {
        return false;
    }
    *piece = Piece{};
    piece->offset = offset_;
    const size_t zeros = zerosAtBegin(unread());
    if (zeros > 0) {
        piece->kind = PieceKind::Zeros;
        piece->bytes = unread().substr(0, zeros);
    } else {
        piece->bytes = unread().substr(0, pieceLength(unread().data(), unread().size()));
        piece->kind = kindOf(piece->bytes, &piece->numbers);
    }
    begin_ += piece->bytes.size();
    offset_ += static_cast<int64_t>(piece->bytes.size());
    return true;
}

}  // namespace tool
