// SPDX-License-Identifier: Apache-2.0
#include "terminal/escape.h"

#include <stdint.h>

namespace tool {
namespace {

struct Character {
    uint32_t code;
    size_t length;
    bool isValid;
};

/// Form of a UTF-8 character by its first byte: bytes, bits of the first byte, smallest code.
struct Form {
    size_t length;
    uint32_t mask;
    uint32_t smallest;
};

Form formOf(unsigned char first) {
    if (first < 0x80) {
        return {1, 0x7f, 0};
    }
    if (first >= 0xc2 && first < 0xe0) {
        return {2, 0x1f, 0x80};
    }
    if (first >= 0xe0 && first < 0xf0) {
        return {3, 0x0f, 0x800};
    }
    if (first >= 0xf0 && first < 0xf5) {
        return {4, 0x07, 0x10000};
    }
    return {0, 0, 0};
}

/// The character at the start of a text that is not empty. What is no character is one byte long.
Character firstCharacter(std::string_view text) {
    constexpr Character kInvalid = {0, 1, false};
    const auto byteAt = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const Form form = formOf(byteAt(0));
    if (form.length == 0 || form.length > text.size()) {
        return kInvalid;
    }
    uint32_t code = byteAt(0) & form.mask;
    for (size_t i = 1; i < form.length; ++i) {
        if ((byteAt(i) & 0xc0) != 0x80) {
            return kInvalid;
        }
        code = code << 6 | (byteAt(i) & 0x3f);
    }
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    const bool isValid = code >= form.smallest && code <= 0x10ffff && !isSurrogate;
    return isValid ? Character{code, form.length, true} : kInvalid;
}

bool isControl(uint32_t code) { return code < 0x20 || (code >= 0x7f && code < 0xa0); }

bool turnsDirection(uint32_t code) {
    return code == 0x061c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

/// U+2028 and U+2029, which some terminals take for a new line.
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

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const Character next = firstCharacter(text);
        if (!next.isValid) {
            return false;
        }
        text.remove_prefix(next.length);
    }
    return true;
}

}  // namespace tool
