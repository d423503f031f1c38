// SPDX-License-Identifier: Apache-2.0
#include "ledger.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace flash {

namespace {

constexpr size_t kPieceMax = 256;
constexpr int kDebugLevel = 3;
constexpr size_t kCacheMax = 64;

/// The next field of a line: what stands before the next comma, empty ones not counting. Takes it off `text`.
std::string_view takeField(std::string_view &text) {
    text.remove_prefix(std::min(text.find_first_not_of(','), text.size()));
    const size_t end = std::min(text.find(','), text.size());
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return field;
}

void splitFields(Line *line) {
    std::string_view text = line->text.substr(0, line->text.find('\0'));
    const std::string_view time = takeField(text);
    line->level = takeField(text);
    line->slot = takeField(text);
    line->rest = text;
    const bool isBlank = line->text[0] == '\n' || line->text[0] == '\r';
    line->isItem = !isBlank && !line->slot.empty();
    if (line->isItem) {
        line->time = static_cast<uint32_t>(strtoll(std::string(time).c_str(), nullptr, 10));
        line->isShown = atoi(std::string(line->level).c_str()) <= kDebugLevel;
    }
}

}  // namespace

int Ledger::submit(size_t object, const std::string &line) {
    const auto [found, isNew] = numbers_.try_emplace(line, static_cast<int>(items_.size()));
    if (isNew) {
        counts_.resize(std::max(counts_.size(), object + 1));
        items_.push_back({object, counts_[object]++, line});
    }
    return found->second;
}

size_t Ledger::itemsOf(size_t object) const { return object < counts_.size() ? counts_[object] : 0; }

std::shared_ptr<const ParsedFile> Ledger::parse(const std::string &bytes) const {
    const auto known = parsed_.find(bytes);
    if (known != parsed_.end()) {
        return known->second;
    }
    const auto file = std::make_shared<ParsedFile>();
    file->bytes = bytes;
    const std::string_view all = file->bytes;
    for (size_t begin = 0; begin < all.size();) {
        const size_t lineEnd = std::min(all.find('\n', begin), all.size() - 1) + 1;
        Line line;
        line.text = all.substr(begin, std::min(lineEnd - begin, kPieceMax));
        begin += line.text.size();
        const auto item = numbers_.find(std::string(line.text));
        line.item = item != numbers_.end() ? item->second : kUnknownItem;
        splitFields(&line);
        file->lines.push_back(line);
    }
    if (parsed_.size() >= kCacheMax) {
        parsed_.clear();
    }
    parsed_[bytes] = file;
    return file;
}

}  // namespace flash
