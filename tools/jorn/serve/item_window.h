// SPDX-License-Identifier: Apache-2.0
// A window on the items that pass a filter: around an item, from a rank, or from a time on.
#ifndef JORN_TOOLS_ITEM_WINDOW_H
#define JORN_TOOLS_ITEM_WINDOW_H

#include <stdint.h>

#include <optional>
#include <vector>

#include "serve/row_walk.h"

namespace tool {

/// Where the window is; nothing given is rank 0. Ranks count from 0 in the order that the filter asks for.
struct WindowWish {
    std::optional<RowRef> item;
    std::optional<uint32_t> time;
    uint64_t rank = 0;
    uint64_t before = 0;
    uint64_t after = 0;            ///< Not counting the item itself.
    std::optional<RowRef> anchor;  ///< An item whose rank is asked for besides.
};

struct ItemWindow {
    uint64_t total = 0;
    uint64_t rank = 0;                   ///< Of the first one in the window.
    std::optional<uint64_t> anchorRank;  ///< Nothing where the anchor does not pass.
    std::vector<RowRef> rows;            ///< The oldest first, whatever the order of the ranks.
};

/// Throws StaleView, RequestError.
ItemWindow windowOf(const ViewQuestion &question, const WindowWish &wish);

}  // namespace tool

#endif
