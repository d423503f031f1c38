// SPDX-License-Identifier: Apache-2.0
// Numbers as users write them.
#ifndef JORN_TOOLS_NUMBER_TEXT_H
#define JORN_TOOLS_NUMBER_TEXT_H

#include <stdint.h>

#include <charconv>
#include <optional>
#include <string_view>

namespace tool {

/// The text as a decimal number; nothing unless all of it is one, from 0 to below the limit.
inline std::optional<int32_t> numberBelow(std::string_view text, int32_t limit) {
    int32_t number = -1;
    const char *const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    const bool isNumber = error == std::errc() && end == last;
    return isNumber && number >= 0 && number < limit ? std::optional(number) : std::nullopt;
}

}  // namespace tool

#endif
