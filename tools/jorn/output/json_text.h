// SPDX-License-Identifier: Apache-2.0
// Texts as JSON strings, for where there are so many that a tree of values for each would take most of the
// time. The bytes are those that nlohmann::json writes.
#ifndef JORN_TOOLS_JSON_TEXT_H
#define JORN_TOOLS_JSON_TEXT_H

#include <string>
#include <string_view>

namespace tool {

/// Appends a text with its quotes. Bytes that are no UTF-8 become U+FFFD, one for each beginning of a
/// character; with `isAscii`, all but printable ASCII is written as \uNNNN. Returns whether the text was
/// UTF-8.
bool appendJsonText(std::string *json, std::string_view text, bool isAscii);

}  // namespace tool

#endif
