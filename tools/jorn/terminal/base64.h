// SPDX-License-Identifier: Apache-2.0
// Bytes as printable characters by RFC 4648, with padding and without line ends.
#ifndef JORN_TOOLS_BASE64_H
#define JORN_TOOLS_BASE64_H

#include <optional>
#include <string>
#include <string_view>

namespace tool {

std::string toBase64(std::string_view bytes);

/// Nothing when the text is not what toBase64() makes of some bytes.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace tool

#endif
