// SPDX-License-Identifier: Apache-2.0
#include "serve/stream_position.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "serve/cursor.h"
#include "serve/item_texts.h"
#include "serve/row_walk.h"

namespace tool {
namespace {

constexpr std::string_view kNoItem = "~-~";

std::vector<std::string> wordsOf(const std::string &text) {
    std::vector<std::string> words;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

/// A place in a log without any item.
struct EmptyPlace {
    std::string log;  ///< As in a cursor.
    int64_t next = 0;
};

std::optional<EmptyPlace> emptyPlaceOf(const std::string &word) {
    const size_t end = word.find(kNoItem);
    if (end == 0 || end == std::string::npos) {
        return std::nullopt;
    }
    EmptyPlace place{word.substr(0, end), 0};
    const char *const last = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data() + end + kNoItem.size(), last, place.next);
    return error == std::errc() && rest == last ? std::optional(place) : std::nullopt;
}

/// A log's name as in a cursor.
std::string logPartOf(const std::string &log) {
    const std::string text = textOf(ItemCursor{log, 0, 0, 0, 0});
    return text.substr(0, text.find('~'));
}

/// The item of a log before a number; nothing where there is none in view.
std::optional<RowRef> rowBefore(const Snapshot &snapshot, size_t log, int64_t next) {
    const std::vector<LogBlock> &blocks = snapshot.logs[log]->blocks;
    for (size_t block = blocks.size(); block-- > 0;) {
        if (blocks[block].firstSerial < next) {
            const int64_t end = std::min(next, blocks[block].endSerial());
            return RowRef{log, block, static_cast<size_t>(end - blocks[block].firstSerial) - 1};
        }
    }
    return std::nullopt;
}

/// Moves to where a log had no items; false when some have left since.
bool moveTo(const EmptyPlace &place, const Snapshot &snapshot, StreamPosition *position) {
    for (size_t log = 0; log < snapshot.logs.size(); ++log) {
        const LogView &view = *snapshot.logs[log];
        if (place.log != logPartOf(view.log->name)) {
            continue;
        }
        const bool isKnown = place.next <= view.nextSerial && view.isCompleteFrom(place.next);
        position->places[log].next = isKnown ? view.serialFrom(place.next) : view.nextSerial;
        return isKnown;
    }
    return true;
}

/// Moves past an item; false when it is not in view.
bool moveAfter(const ItemCursor &cursor, const Snapshot &snapshot, StreamPosition *position) {
    const std::optional<RowRef> row = find(cursor, snapshot);
    if (row) {
        position->places[row->log].next = snapshot.logs[row->log]->serialFrom(serialOf(snapshot, *row) + 1);
    }
    return row.has_value();
}

}  // namespace

StreamPosition StreamPosition::newest(const Snapshot &snapshot) {
    StreamPosition position;
    for (const auto &view : snapshot.logs) {
        position.places.push_back({view->epoch, view->nextSerial});
    }
    return position;
}

size_t StreamPosition::mostBytesFor(const std::vector<std::string> &names) {
    size_t bytes = 0;
    for (const std::string &name : names) {
        bytes += textOf(ItemCursor{name, UINT32_MAX, jorn::kSurveySize - 1, UINT32_MAX, 0}).size() + 1;
    }
    return bytes;
}

bool StreamPosition::isText(const std::string &text) {
    const std::vector<std::string> words = wordsOf(text);
    return std::all_of(words.begin(), words.end(),
                       [](const std::string &word) { return emptyPlaceOf(word) || cursorOf(word); });
}

StreamPosition StreamPosition::find(const std::string &text, const Snapshot &snapshot, bool *isPassed) {
    StreamPosition position = newest(snapshot);
    *isPassed = false;
    for (const std::string &word : wordsOf(text)) {
        const std::optional<EmptyPlace> empty = emptyPlaceOf(word);
        const std::optional<ItemCursor> cursor = cursorOf(word);
        const bool isGood = (!empty || moveTo(*empty, snapshot, &position)) &&
                            (!cursor || moveAfter(*cursor, snapshot, &position));
        *isPassed = *isPassed || !isGood;
    }
    return position;
}

std::string StreamPosition::text(const Snapshot &snapshot) const {
    std::string text;
    for (size_t log = 0; log < places.size(); ++log) {
        const std::optional<RowRef> row = rowBefore(snapshot, log, places[log].next);
        text += text.empty() ? "" : ",";
        if (!row) {
            text += logPartOf(snapshot.logs[log]->log->name) + std::string(kNoItem) +
                    std::to_string(places[log].next);
            continue;
        }
        readRows(snapshot, {*row}, [&](const LogView &view, const LogBlock &block, const Line &line) {
            text += textOf(cursorTo(view, block, line));
        });
    }
    return text;
}

}  // namespace tool
