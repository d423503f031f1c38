// SPDX-License-Identifier: Apache-2.0
#include "piece_reader.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "module_limits.h"

namespace tool {
namespace {

constexpr size_t kBufferSize = 262144;

bool isLineEnd(char byte) { return byte == '\n' || byte == '\r'; }

/// By the module's own parser, which wants a terminated text.
PieceKind judge(std::string_view bytes, JORN_ITEM_INFO *item) {
    if (isLineEnd(bytes.front())) {
        return PieceKind::Blank;
    }
    std::array<char, jorn::kLineBufferSize> line;
    const size_t length = bytes.copy(line.data(), jorn::kLineMax);
    line[length] = '\0';
    const bool isItem = jorn_AnalyseOneItemInfo(line.data(), item) == 0;
    item->text = nullptr;
    return isItem ? PieceKind::Item : PieceKind::Unparsable;
}

}  // namespace

PieceReader::PieceReader(int fd) : fd_(fd), buffer_(kBufferSize) {}

void PieceReader::fill() {
    if (end_ - begin_ >= jorn::kLineMax) {
        return;
    }
    std::copy(buffer_.begin() + static_cast<ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<ptrdiff_t>(end_), buffer_.begin());
    end_ -= begin_;
    begin_ = 0;
    while (end_ < buffer_.size()) {
        const ssize_t length =
            pread(fd_, buffer_.data() + end_, buffer_.size() - end_, offset_ + static_cast<off_t>(end_));
        if (length < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category());
        }
        if (length == 0) {
            return;
        }
        end_ += static_cast<size_t>(std::max<ssize_t>(length, 0));
    }
}

size_t PieceReader::zerosAhead() const {
    const char *const start = buffer_.data() + begin_;
    const size_t size = end_ - begin_;
    if (*start != '\0') {
        return 0;
    }
    // Long runs are common in damaged files, so a buffer full of zeros is told at a glance.
    if (memcmp(start, start + 1, size - 1) == 0) {
        return size;
    }
    return static_cast<size_t>(std::find_if(start, start + size, [](char c) { return c != '\0'; }) - start);
}

std::string_view PieceReader::lineAhead() const {
    const char *const start = buffer_.data() + begin_;
    const size_t size = std::min(end_ - begin_, jorn::kLineMax);
    const void *const lineFeed = memchr(start, '\n', size);
    return {start, lineFeed == nullptr
                       ? size
                       : static_cast<size_t>(static_cast<const char *>(lineFeed) - start) + 1};
}

bool PieceReader::next(Piece *piece) {
    fill();
    if (begin_ == end_) {
        return false;
    }
    *piece = Piece{};
    piece->offset = offset_;
    const size_t zeros = zerosAhead();
    if (zeros > 0) {
        piece->kind = PieceKind::Zeros;
        piece->bytes = {buffer_.data() + begin_, zeros};
    } else {
        piece->bytes = lineAhead();
        piece->kind = judge(piece->bytes, &piece->item);
    }
    begin_ += piece->bytes.size();
    offset_ += static_cast<int64_t>(piece->bytes.size());
    return true;
}

}  // namespace tool
