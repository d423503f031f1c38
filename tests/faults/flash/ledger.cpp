// SPDX-License-Identifier: Apache-2.0
#include "ledger.h"

#include <algorithm>

namespace flash {

namespace {

constexpr int kDebugLevel = 3;
constexpr size_t kCacheMax = 64;

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
    file->text = test::modelText(bytes);
    for (const test::ModelLine &line : file->text->lines) {
        const auto item = numbers_.find(std::string(line.piece));
        file->lines.push_back({line.piece, line.seen, item != numbers_.end() ? item->second : kUnknownItem,
                               line.isItem(), line.isItem() && *line.parse.level <= kDebugLevel});
    }
    if (parsed_.size() >= kCacheMax) {
        parsed_.clear();
    }
    parsed_[bytes] = file;
    return file;
}

}  // namespace flash
