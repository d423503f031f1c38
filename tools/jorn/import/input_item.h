// SPDX-License-Identifier: Apache-2.0
// An item as read from an input.
#ifndef JORN_TOOLS_INPUT_ITEM_H
#define JORN_TOOLS_INPUT_ITEM_H

#include <stdint.h>

#include <functional>
#include <optional>

namespace tool {

/// Members that the input does not give are empty.
struct InputItem {
    std::optional<uint32_t> time;
    std::optional<int> level;
    std::optional<int> slot;
    const char *text = "";  ///< At most 198 bytes and a NUL; valid during the call that passes it.
};

using ItemSink = std::function<void(const InputItem &item)>;

/// What to do with a text that is too long for one item.
enum class LongText { Cut, Split };

}  // namespace tool

#endif
