// SPDX-License-Identifier: Apache-2.0
// Reads a data file in the pieces in which the store reads it, with the offset of each.
#ifndef JORN_TOOLS_PIECE_READER_H
#define JORN_TOOLS_PIECE_READER_H

#include <stdint.h>

#include <string_view>
#include <vector>

#include "log/stored_line.h"

namespace tool {

enum class PieceKind {
    Item,        ///< Counts as an item.
    Blank,       ///< Begins with a line end, which the store skips without a word.
    Zeros,       ///< NULs where a line should begin; they hide the line behind them from the store.
    Unparsable,  ///< Fewer than three fields.
};

struct Piece {
    int64_t offset = 0;
    std::string_view bytes;  ///< With the line feed, if it has one. Good until the next call.
    PieceKind kind = PieceKind::Blank;
    LineNumbers numbers;  ///< Of an item.

    bool hasLineEnd() const { return !bytes.empty() && bytes.back() == '\n'; }
};

/// A piece is a line, or what fits the store's buffer of a longer one. Zeros at the start of a line are a
/// piece of their own, of any length, and the line begins behind them. Memory does not grow with the file.
class PieceReader {
public:
    /// Reads from the start of the file, or from an offset where a line begins, whatever the descriptor's own
    /// position is.
    explicit PieceReader(int fd, int64_t begin = 0);

    /// False at the end of the file. Throws std::system_error when it cannot be read.
    bool next(Piece *piece);

private:
    void fill();
    std::string_view unread() const { return {buffer_.data() + begin_, end_ - begin_}; }

    const int fd_;
    std::vector<char> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
    int64_t offset_;
};

}  // namespace tool

#endif
