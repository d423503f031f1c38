// SPDX-License-Identifier: Apache-2.0
#include "import/text_length.h"

#include "module_limits.h"
#include "terminal/escape.h"

namespace tool {
namespace {

bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

}  // namespace

size_t textLength(std::string_view text) {
    constexpr size_t kLongestCharacter = 4;
    text = text.substr(0, jorn::kTextMax + kTextAhead);
    size_t length = jorn::kTextMax;
    while (length > jorn::kTextMax - kLongestCharacter + 1 && isInsideCharacter(text[length])) {
        --length;
    }
    size_t end = length + 1;
    while (end < text.size() && isInsideCharacter(text[end])) {
        ++end;
    }
    return isUtf8(text.substr(0, end)) ? length : jorn::kTextMax;
}

}  // namespace tool
