// SPDX-License-Identifier: Apache-2.0
// Names of single items that stay good over restarts of server and writer: LOG~TIME~FILE~OFFSET~HASH, with
// !NN for bytes of LOG that may not stand in such a word; %NN, which former versions wrote, is read as well.
// The hash is of the line's bytes, so that a name never leads to another item that has taken the place.
#ifndef JORN_TOOLS_CURSOR_H
#define JORN_TOOLS_CURSOR_H

#include <stdint.h>

#include <optional>
#include <string>
#include <string_view>

#include "serve/row_walk.h"
#include "serve/served_logs.h"

namespace tool {

struct ItemCursor {
    std::string log;
    uint32_t time = 0;
    int file = 0;
    uint32_t offset = 0;
    uint32_t hash = 0;
};

/// Of a line, without its line feed.
uint32_t lineHash(std::string_view line);

std::string textOf(const ItemCursor &cursor);

/// Nothing for a text that no textOf() returns.
std::optional<ItemCursor> cursorOf(const std::string &text);

/// The cursor of an item whose line was read.
ItemCursor cursorTo(const LogView &view, const LogBlock &block, const Line &line);

/// Where the item is; nothing when it is not in view any more. Throws StaleView.
std::optional<RowRef> find(const ItemCursor &cursor, const Snapshot &snapshot);

/// The same. Throws RequestError: 400 for a text that is no cursor, 410 for an item that is not in view, with
/// cursors of the oldest item of its log and of the one nearest to it in time.
RowRef findOrRefuse(const std::string &text, const Snapshot &snapshot);

}  // namespace tool

#endif
