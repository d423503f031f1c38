// SPDX-License-Identifier: Apache-2.0
// One line piece of a data file, read as the module reads it, by the module's own parser.
#ifndef JORN_TOOLS_STORED_LINE_H
#define JORN_TOOLS_STORED_LINE_H

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "jorn.h"
#include "log/item.h"
#include "module_limits.h"

namespace tool {

enum class LineKind { Item, Blank, Damaged };

/// The numbers that the module filters by.
struct LineNumbers {
    uint32_t time = 0;
    int32_t level = 0;
    int32_t slot = 0;
};

/// Reads the numbers of a piece of 1 to 256 bytes that ends with its line feed, if any. `numbers` is set for
/// an item only.
LineKind readNumbers(std::string_view piece, LineNumbers *numbers);

/// Whether each of the first three fields of a piece begins with a number.
bool holdsNumbers(std::string_view piece);

/// Whether a piece, of which readNumbers() says that it is an item, can lack nothing but an end of its text:
/// three numbers, each with the comma that ends it.
bool hasWholeNumbers(std::string_view piece);

/// The item of a piece of which readNumbers() said that it is one. Place and file are left open.
Item readItem(std::string_view piece, const LineNumbers &numbers);

/// The text alone of such a piece, as in its item. Points into `piece`.
std::string_view textIn(std::string_view piece);

/// The item of a record that the module filled with UTC as its local time.
Item itemOfRecord(const JORN_LOG_DISP &record);

/// Length of the first piece of bytes that begin where one begins, as the module's reader cuts it: a line
/// with its line feed, or what fits the reader's buffer of a longer one.
inline size_t pieceLength(const char *bytes, size_t size) {
    const size_t most = std::min(jorn::kLineMax, size);
    const auto *const feed = static_cast<const char *>(memchr(bytes, '\n', most));
    return feed == nullptr ? most : static_cast<size_t>(feed - bytes) + 1;
}

/// A piece of a damaged line can lack its line feed.
inline std::string_view withoutLineFeed(std::string_view piece) {
    return !piece.empty() && piece.back() == '\n' ? piece.substr(0, piece.size() - 1) : piece;
}

/// Calls take(piece, offset in bytes) for each piece until it returns false. `bytes` begins where a piece
/// begins. Returns false when it was stopped.
template <class Take>
bool forEachPiece(std::string_view bytes, const Take &take) {
    for (size_t offset = 0; offset < bytes.size();) {
        const char *const begin = bytes.data() + offset;
        const size_t length = pieceLength(begin, bytes.size() - offset);
        if (!take(std::string_view(begin, length), offset)) {
            return false;
        }
        offset += length;
    }
    return true;
}

}  // namespace tool

#endif
