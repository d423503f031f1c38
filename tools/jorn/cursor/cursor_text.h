// SPDX-License-Identifier: Apache-2.0
// The text of a cursor file: built and parsed. docs/formats.md describes it.
#ifndef JORN_TOOLS_CURSOR_TEXT_H
#define JORN_TOOLS_CURSOR_TEXT_H

#include <optional>
#include <string>
#include <vector>

#include "cursor/numbering.h"

namespace tool {

/// A line that says what the file is, and one for each log.
std::string cursorText(const std::vector<LogCursor> &cursors);

/// What the text holds. Throws Failure with `name` and what is wrong: a file that is not whole, or of another
/// version, is refused as a whole.
std::vector<LogCursor> parseCursors(const std::string &text, const std::string &name);

}  // namespace tool

#endif
