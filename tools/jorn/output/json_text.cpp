// SPDX-License-Identifier: Apache-2.0
#include "output/json_text.h"

#include <stdint.h>
#include <string.h>

#include "terminal/utf8.h"

namespace tool {
namespace {

constexpr uint32_t kReplacement = 0xfffd;

constexpr uint64_t inEachByte(unsigned char byte) { return UINT64_MAX / 0xff * byte; }

/// Sets the highest bit of some byte if and only if a byte is zero. (Bytes above a zero may have it set too.)
constexpr uint64_t zeroIn(uint64_t bytes) { return (bytes - inEachByte(1)) & ~bytes & inEachByte(0x80); }

/// Whether all eight bytes are written unchanged: printable ASCII except quotes and backslashes.
bool arePlain(uint64_t bytes) {
    // Only bytes below 0x20 have none of the three highest bits.
    const uint64_t low = zeroIn(bytes & inEachByte(0xe0));
    const uint64_t others =
        zeroIn(bytes ^ inEachByte('"')) | zeroIn(bytes ^ inEachByte('\\')) | zeroIn(bytes ^ inEachByte(0x7f));
    return (low | others | (bytes & inEachByte(0x80))) == 0;
}

bool isPlain(char c) { return c >= ' ' && c < '\x7f' && c != '"' && c != '\\'; }

size_t plainLength(std::string_view text) {
    size_t length = 0;
    uint64_t bytes = 0;
    for (; length + sizeof bytes <= text.size(); length += sizeof bytes) {
        memcpy(&bytes, text.data() + length, sizeof bytes);
        if (!arePlain(bytes)) {
            break;
        }
    }
    while (length < text.size() && isPlain(text[length])) {
        ++length;
    }
    return length;
}

void appendUnit(std::string *json, uint32_t unit) {
    constexpr char kDigits[] = "0123456789abcdef";
    *json += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        *json += kDigits[unit >> shift & 0xf];
    }
}

/// Appends a character as UTF-16, in two units where one is not enough.
void appendCode(std::string *json, uint32_t code) {
    constexpr uint32_t kFirstBeyond = 0x10000;
    if (code < kFirstBeyond) {
        appendUnit(json, code);
        return;
    }
    appendUnit(json, 0xd800 + ((code - kFirstBeyond) >> 10));
    appendUnit(json, 0xdc00 + ((code - kFirstBeyond) & 0x3ff));
}

/// The letter that stands for a character after a backslash; 0 where there is none.
char shortEscape(uint32_t code) {
    switch (code) {
        case '"':
        case '\\':
            return static_cast<char>(code);
        case '\b':
            return 'b';
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\f':
            return 'f';
        case '\r':
            return 'r';
        default:
            return 0;
    }
}

void appendCharacter(std::string *json, const Character &character, std::string_view bytes, bool isAscii) {
    if (const char letter = shortEscape(character.code)) {
        *json += '\\';
        *json += letter;
    } else if (character.code < ' ' || (isAscii && character.code >= 0x7f)) {
        appendCode(json, character.code);
    } else {
        *json += bytes;
    }
}

}  // namespace

bool appendJsonText(std::string *json, std::string_view text, bool isAscii) {
    bool isUtf8 = true;
    *json += '"';
    for (;;) {
        const size_t plain = plainLength(text);
        *json += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        const Character next = firstCharacter(text);
        if (next.isValid) {
            appendCharacter(json, next, text.substr(0, next.length), isAscii);
        } else {
            isUtf8 = false;
            appendCharacter(json, {kReplacement, 3, true}, "\xef\xbf\xbd", isAscii);
        }
        text.remove_prefix(next.length);
    }
    *json += '"';
    return isUtf8;
}

}  // namespace tool
