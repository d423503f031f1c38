// SPDX-License-Identifier: Apache-2.0
#include "terminal/base64.h"

#include <stdint.h>

#include <algorithm>

namespace tool {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kBytes = 3;    ///< In a group,
constexpr size_t kLetters = 4;  ///< and the characters that encode it.

}  // namespace

std::string toBase64(std::string_view bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += kBytes) {
        const size_t count = std::min(kBytes, bytes.size() - i);
        uint32_t group = 0;
        for (size_t k = 0; k < kBytes; ++k) {
            group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (size_t k = 0; k < kLetters; ++k) {
            text += k <= count ? kDigits[group >> (18 - 6 * k) & 0x3f] : '=';
        }
    }
    return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
    std::string bytes;
    for (size_t i = 0; i + kLetters <= text.size(); i += kLetters) {
        uint32_t group = 0;
        size_t letters = 0;
        for (; letters < kLetters && text[i + letters] != '='; ++letters) {
            group = group << 6 | static_cast<uint32_t>(kDigits.find(text[i + letters]) & 0x3f);
        }
        group <<= 6 * (kLetters - letters);
        for (size_t k = 0; k + 1 < letters; ++k) {
            bytes += static_cast<char>(group >> (16 - 8 * k) & 0xff);
        }
    }
    return toBase64(bytes) == text ? std::optional(bytes) : std::nullopt;
}

}  // namespace tool
