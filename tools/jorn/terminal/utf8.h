// SPDX-License-Identifier: Apache-2.0
// UTF-8 characters as RFC 3629 defines them: no overlong forms, no surrogates, nothing above U+10FFFF.
#ifndef JORN_TOOLS_UTF8_H
#define JORN_TOOLS_UTF8_H

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace tool {

struct Character {
    uint32_t code;
    size_t length;  ///< When invalid: the bytes that could begin a character, at least 1.
    bool isValid;
};

/// The character at the start of a text that is not empty.
Character firstCharacter(std::string_view text);

/// Whether the whole text is UTF-8.
bool isUtf8(std::string_view text);

}  // namespace tool

#endif
