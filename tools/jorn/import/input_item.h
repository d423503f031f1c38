// SPDX-License-Identifier: Apache-2.0
// An item as an input gives it.
#ifndef JORN_TOOLS_INPUT_ITEM_H
#define JORN_TOOLS_INPUT_ITEM_H

#include <stdint.h>

#include <functional>
#include <optional>

namespace tool {

/// What the input leaves open is nothing here.
struct InputItem {
    std::optional<uint32_t> time;
    std::optional<int> level;
    std::optional<int> slot;
    const char *text = "";  ///< At most 198 bytes and a NUL; good during the call that gets it.
};

using ItemSink = std::function<void(const InputItem &item)>;

/// What becomes of a text that is longer than an item's.
enum class LongText { Cut, Split };

}  // namespace tool

#endif
