// SPDX-License-Identifier: Apache-2.0
// Where a text that is too long for an item is cut.
#ifndef JORN_TOOLS_TEXT_LENGTH_H
#define JORN_TOOLS_TEXT_LENGTH_H

#include <stddef.h>

#include <string_view>

namespace tool {

/// How many bytes after the longest text are needed to see whether a character straddles its end.
inline constexpr size_t kTextAhead = 3;

/// How many bytes of a text that is too long an item holds: without the beginning of a character that would
/// straddle the end, if the text is UTF-8 so far. Examines at most kTextAhead bytes after the longest text.
size_t textLength(std::string_view text);

}  // namespace tool

#endif
