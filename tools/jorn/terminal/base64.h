// SPDX-License-Identifier: Apache-2.0
// Base64 (RFC 4648), with padding and without line breaks.
#ifndef JORN_TOOLS_BASE64_H
#define JORN_TOOLS_BASE64_H

#include <optional>
#include <string>
#include <string_view>

namespace tool {

std::string toBase64(std::string_view bytes);

/// Nothing unless the text is exactly what toBase64() returns for some bytes.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace tool

#endif
