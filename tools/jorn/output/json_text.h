// SPDX-License-Identifier: Apache-2.0
// Texts as JSON strings, for output so large that building a tree of values for each item would take most of
// the time. The bytes are those that nlohmann::json writes.
#ifndef JORN_TOOLS_JSON_TEXT_H
#define JORN_TOOLS_JSON_TEXT_H

#include <string>
#include <string_view>

namespace tool {

/// Appends a text with its quotes. Bytes that are not UTF-8 become U+FFFD, one for each incomplete character;
/// with `isAscii`, everything except printable ASCII is written as \uNNNN. Returns whether the text was
/// UTF-8.
bool appendJsonText(std::string *json, std::string_view text, bool isAscii);

}  // namespace tool

#endif
