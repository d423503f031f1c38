// SPDX-License-Identifier: Apache-2.0
#include "terminal/utf8.h"

namespace tool {
namespace {

/// Form of a character by its first byte: bytes, bits of the first byte, and the limits of the second byte,
/// which exclude overlong forms, surrogates and anything above U+10FFFF.
struct Form {
    size_t length;
    uint32_t mask;
    unsigned char secondLow;
    unsigned char secondHigh;
};

Form formOf(unsigned char first) {
    if (first < 0x80) {
        return {1, 0x7f, 0, 0};
    }
    if (first >= 0xc2 && first < 0xe0) {
        return {2, 0x1f, 0x80, 0xbf};
    }
    if (first >= 0xe0 && first < 0xf0) {
        const unsigned char low = first == 0xe0 ? 0xa0 : 0x80;
        const unsigned char high = first == 0xed ? 0x9f : 0xbf;
        return {3, 0x0f, low, high};
    }
    if (first >= 0xf0 && first < 0xf5) {
        const unsigned char low = first == 0xf0 ? 0x90 : 0x80;
        const unsigned char high = first == 0xf4 ? 0x8f : 0xbf;
        return {4, 0x07, low, high};
    }
    return {0, 0, 0, 0};
}

}  // namespace

Character firstCharacter(std::string_view text) {
    const auto byteAt = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const Form form = formOf(byteAt(0));
    if (form.length == 0) {
        return {0, 1, false};
    }
    uint32_t code = byteAt(0) & form.mask;
    for (size_t i = 1; i < form.length; ++i) {
        const unsigned char low = i == 1 ? form.secondLow : 0x80;
        const unsigned char high = i == 1 ? form.secondHigh : 0xbf;
        if (i == text.size() || byteAt(i) < low || byteAt(i) > high) {
            return {0, i, false};
        }
        code = code << 6 | (byteAt(i) & 0x3f);
    }
    return {code, form.length, true};
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
