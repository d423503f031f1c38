// SPDX-License-Identifier: Apache-2.0
// Where a text that is too long for an item is cut.
#ifndef JORN_TOOLS_TEXT_LENGTH_H
#define JORN_TOOLS_TEXT_LENGTH_H

#include <stddef.h>

#include <string_view>

namespace tool {

/// So many bytes after the longest text show whether a character reaches into it.
inline constexpr size_t kTextAhead = 3;

/// How much of a text that is longer than an item's the item holds: without the beginning of a character that
/// ends after it, if all of it is UTF-8 so far. Nothing beyond kTextAhead bytes is looked at.
size_t textLength(std::string_view text);

}  // namespace tool

#endif
