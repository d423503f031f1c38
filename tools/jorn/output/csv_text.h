// SPDX-License-Identifier: Apache-2.0
// Texts in CSV.
#ifndef JORN_TOOLS_CSV_TEXT_H
#define JORN_TOOLS_CSV_TEXT_H

#include <string>

namespace tool {

/// The text as one field of a CSV line by RFC 4180: quoted where it must be.
inline std::string csvField(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string field = "\"";
    for (const char c : text) {
        field.append(c == '"' ? 2 : 1, c);
    }
    return field + "\"";
}

}  // namespace tool

#endif
