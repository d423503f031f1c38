// SPDX-License-Identifier: Apache-2.0
#include "terminal/escape.h"

#include <stdint.h>

namespace tool {
namespace {

/// A tab is harmless to a terminal.
bool isControl(uint32_t code) { return (code < 0x20 && code != '\t') || (code >= 0x7f && code < 0xa0); }

bool turnsDirection(uint32_t code) {
    return code == 0x061c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

/// U+2028 and U+2029, which some terminals treat as a line break.
bool endsLine(uint32_t code) { return code == 0x2028 || code == 0x2029; }

void appendEscaped(std::string *out, std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *out += "\\x";
        *out += kDigits[byte >> 4];
        *out += kDigits[byte & 0xf];
    }
}

}  // namespace

std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Character next = firstCharacter(text);
        const std::string_view bytes = text.substr(0, next.length);
        const bool isShown =
            next.isValid && !isControl(next.code) && !turnsDirection(next.code) && !endsLine(next.code);
        if (isShown) {
            out += bytes;
        } else {
            appendEscaped(&out, bytes);
        }
        text.remove_prefix(next.length);
    }
    return out;
}

}  // namespace tool
