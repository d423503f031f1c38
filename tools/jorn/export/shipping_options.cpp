// SPDX-License-Identifier: Apache-2.0
#include "export/shipping_options.h"

#include <array>
#include <string_view>
#include <utility>

#include "terminal/number_text.h"

namespace tool {

std::optional<std::chrono::milliseconds> parseInterval(const std::string &text) {
    constexpr int kSecond = 1000;
    constexpr int kMost = 24 * 3600 * kSecond;
    constexpr std::array<std::pair<std::string_view, int>, 5> kUnits = {
        {{"ms", 1}, {"s", kSecond}, {"m", 60 * kSecond}, {"h", 3600 * kSecond}, {"", kSecond}}};
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string_view unit = std::string_view(text).substr(digits);
    for (const auto &[name, milliseconds] : kUnits) {
        if (unit == name) {
            const auto number =
                numberBelow(std::string_view(text).substr(0, digits), kMost / milliseconds + 1);
            return number && *number > 0 ? std::optional(std::chrono::milliseconds(*number * milliseconds))
                                         : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace tool
