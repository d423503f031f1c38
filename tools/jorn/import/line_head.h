// SPDX-License-Identifier: Apache-2.0
// What the beginning of a line says about the item: its severity, its time.
#ifndef JORN_TOOLS_LINE_HEAD_H
#define JORN_TOOLS_LINE_HEAD_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <string_view>

namespace tool {

/// How much of a line is examined.
inline constexpr size_t kMostHead = 256;

struct LineHead {
    std::optional<uint32_t> time;
    std::optional<int> level;
    size_t length = 0;  ///< Bytes to remove from the line; the text begins after them.
};

/// Reads heads of one form, line after line.
class LineHeadReader {
public:
    virtual ~LineHeadReader() = default;

    /// Reads the head from the first kMostHead bytes of a line or more, or from all of a shorter line.
    virtual LineHead read(std::string_view line) = 0;
};

}  // namespace tool

#endif
