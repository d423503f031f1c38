// SPDX-License-Identifier: Apache-2.0
// One line of a data file, read as the module reads it, by the module's own parser.
#ifndef JORN_TOOLS_STORED_LINE_H
#define JORN_TOOLS_STORED_LINE_H

#include <stdint.h>

#include <string_view>

#include "jorn.h"
#include "log/item.h"
#include "module_limits.h"

namespace tool {

enum class LineKind {
    Item,     ///< Counts as an item.
    Blank,    ///< Begins with a line end; the store skips it and prints nothing.
    Zeros,    ///< Begins with a NUL, which hides what follows it from the store.
    Damaged,  ///< Holds fewer than three fields.
};

/// The numbers that the module filters by.
struct LineNumbers {
    uint32_t time = 0;
    int32_t level = 0;
    int32_t slot = 0;
};

/// A line, or as much of a longer one as fits the store's buffer.
struct Line {
    std::string_view bytes;  ///< With the line feed, if any. Valid as long as its source.
    uint64_t offset = 0;     ///< In its file.
    LineKind kind = LineKind::Blank;
    LineNumbers numbers;  ///< Of an item.

    bool isItem() const { return kind == LineKind::Item; }

    /// Whether the store can make nothing of it.
    bool isBad() const { return kind == LineKind::Zeros || kind == LineKind::Damaged; }

    bool hasLineEnd() const { return !bytes.empty() && bytes.back() == '\n'; }

    /// Whether the piece fills the store's buffer, so that nothing written after it becomes part of it.
    bool isFull() const { return !hasLineEnd() && bytes.size() == jorn::kLineMax; }

    uint64_t end() const { return offset + bytes.size(); }
};

/// Reads a piece of 1 to 256 bytes that ends with its line feed, if any; or zeros of any length.
Line readLine(std::string_view piece, uint64_t offset);

/// Whether each of the first three fields of a piece begins with a number.
bool holdsNumbers(std::string_view piece);

/// Whether a piece that is an item can lack nothing but the end of its text: it has three numbers, each with
/// the comma that ends it.
bool hasWholeNumbers(std::string_view piece);

/// The item on a line that holds one. Leaves fileIndex unset.
Item readItem(const Line &line);

/// Only the text of a piece that is an item, as in that item. Points into `piece`.
std::string_view textIn(std::string_view piece);

/// Whether a record that the module filled, with UTC as its local time, is that of an item.
bool isRecordOf(const JORN_LOG_DISP &record, const Item &item);

/// A piece of a damaged line may lack its line feed.
inline std::string_view withoutLineFeed(std::string_view piece) {
    return !piece.empty() && piece.back() == '\n' ? piece.substr(0, piece.size() - 1) : piece;
}

}  // namespace tool

#endif
