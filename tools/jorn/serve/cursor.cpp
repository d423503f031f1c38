// SPDX-License-Identifier: Apache-2.0
#include "serve/cursor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "terminal/number_text.h"

namespace tool {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

// Begins a byte of a log's name that is written in hexadecimal digits. "%" would not do: cursors are sent in
// headers too, where it is decoded on the way. Cursors in old links have it.
constexpr char kEscape = '!';
constexpr char kFormerEscape = '%';

bool isPlain(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '_' || c == '.';
}

std::string encoded(const std::string &name) {
    std::string text;
    for (const char c : name) {
        if (isPlain(c)) {
            text += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        text += kEscape;
        text += kHexDigits[byte >> 4];
        text += kHexDigits[byte & 0xf];
    }
    return text;
}

std::optional<std::string> decoded(std::string_view text) {
    std::string name;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned byte = 0;
        if (text[i] != kEscape && text[i] != kFormerEscape) {
            name += text[i];
            continue;
        }
        const char *const digits = text.data() + i + 1;
        if (i + 2 >= text.size() || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
            return std::nullopt;
        }
        name += static_cast<char>(byte);
        i += 2;
    }
    return name;
}

std::vector<std::string_view> fieldsOf(std::string_view text) {
    std::vector<std::string_view> fields;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find('~', begin), text.size());
        fields.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return fields;
}

std::optional<uint32_t> numberOf(std::string_view text, int base) {
    uint32_t number = 0;
    const char *const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number, base);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

std::string hexOf(uint32_t hash) {
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) {
        text += kHexDigits[hash >> shift & 0xf];
    }
    return text;
}

/// The cursor of an item in view. Throws StaleView.
std::string cursorTextAt(const LogView &view, const RowRef &place) {
    const LogBlock &block = view.blocks[place.block];
    BlockReader reader(block);
    const ItemCursor cursor = cursorTo(view, block, reader.lineAt(block.columns->offsets[place.row]));
    if (!reader.isStill()) {
        throw StaleView();
    }
    return textOf(cursor);
}

/// The item of a view with the time nearest to one; of several the oldest.
RowRef nearest(const LogView &view, uint32_t time) {
    RowRef best;
    uint32_t least = UINT32_MAX;
    for (size_t block = 0; block < view.blocks.size(); ++block) {
        const std::vector<uint32_t> &times = view.blocks[block].columns->times;
        for (size_t row = 0; row < times.size(); ++row) {
            const uint32_t distance = times[row] > time ? times[row] - time : time - times[row];
            if (distance < least) {
                least = distance;
                best = {0, block, row};
            }
        }
    }
    return best;
}

/// The row of a block at an offset, if it has the cursor's time and line. Throws StaleView.
std::optional<size_t> rowIn(const LogBlock &block, const ItemCursor &cursor) {
    const std::vector<uint32_t> &offsets = block.columns->offsets;
    const auto found = std::lower_bound(offsets.begin(), offsets.end(), cursor.offset);
    const auto row = static_cast<size_t>(found - offsets.begin());
    if (found == offsets.end() || *found != cursor.offset || block.columns->times[row] != cursor.time) {
        return std::nullopt;
    }
    BlockReader reader(block);
    const uint32_t hash = lineHash(withoutLineFeed(reader.lineAt(cursor.offset).bytes));
    if (!reader.isStill()) {
        throw StaleView();
    }
    return hash == cursor.hash ? std::optional(row) : std::nullopt;
}

size_t indexOfLog(const Snapshot &snapshot, const std::string &name) {
    const auto found = std::find_if(snapshot.logs.begin(), snapshot.logs.end(),
                                    [&](const auto &view) { return view->log->name == name; });
    return static_cast<size_t>(found - snapshot.logs.begin());
}

[[noreturn]] void refuseGone(const ItemCursor &cursor, const Snapshot &snapshot) {
    std::string oldest = "null";
    std::string near = "null";
    const size_t log = indexOfLog(snapshot, cursor.log);
    if (log < snapshot.logs.size() && !snapshot.logs[log]->blocks.empty()) {
        const LogView &view = *snapshot.logs[log];
        oldest = jsonText(cursorTextAt(view, {}));
        near = jsonText(cursorTextAt(view, nearest(view, cursor.time)));
    }
    throw RequestError(410, "this item is no longer in view", ",\"oldest\":" + oldest + ",\"near\":" + near);
}

}  // namespace

uint32_t lineHash(std::string_view line) {
    uint64_t hash = 14695981039346656037U;
    for (const char c : line) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    return static_cast<uint32_t>(hash ^ hash >> 32);
}

std::string textOf(const ItemCursor &cursor) {
    return encoded(cursor.log) + "~" + std::to_string(cursor.time) + "~" + std::to_string(cursor.file) + "~" +
           std::to_string(cursor.offset) + "~" + hexOf(cursor.hash);
}

std::optional<ItemCursor> cursorOf(const std::string &text) {
    const std::vector<std::string_view> fields = fieldsOf(text);
    if (fields.size() != 5 || fields[4].size() != 8) {
        return std::nullopt;
    }
    const std::optional<std::string> log = decoded(fields[0]);
    const auto time = numberOf(fields[1], 10);
    const auto file = numberBelow(fields[2], jorn::kSurveySize);
    const auto offset = numberOf(fields[3], 10);
    const auto hash = numberOf(fields[4], 16);
    if (!log || !time || !file || !offset || !hash) {
        return std::nullopt;
    }
    return ItemCursor{*log, *time, *file, *offset, *hash};
}

ItemCursor cursorTo(const LogView &view, const LogBlock &block, const Line &line) {
    return {view.log->name, line.numbers.time, block.number, static_cast<uint32_t>(line.offset),
            lineHash(withoutLineFeed(line.bytes))};
}

std::optional<RowRef> find(const ItemCursor &cursor, const Snapshot &snapshot) {
    const size_t log = indexOfLog(snapshot, cursor.log);
    if (log == snapshot.logs.size()) {
        return std::nullopt;
    }
    const std::vector<LogBlock> &blocks = snapshot.logs[log]->blocks;
    // The file may have got another number at a start of the store, so that all files are looked at.
    for (const bool isOfNumber : {true, false}) {
        for (size_t block = 0; block < blocks.size(); ++block) {
            if ((blocks[block].number == cursor.file) != isOfNumber) {
                continue;
            }
            if (const std::optional<size_t> row = rowIn(blocks[block], cursor)) {
                return RowRef{log, block, *row};
            }
        }
    }
    return std::nullopt;
}

RowRef findOrRefuse(const std::string &text, const Snapshot &snapshot) {
    const std::optional<ItemCursor> cursor = cursorOf(text);
    if (!cursor) {
        refuseParameter("cursor", "not a cursor");
    }
    const std::optional<RowRef> found = find(*cursor, snapshot);
    if (!found) {
        refuseGone(*cursor, snapshot);
    }
    return *found;
}

}  // namespace tool
