// SPDX-License-Identifier: Apache-2.0
#include "serve/text_matches.h"

#include <algorithm>

#include "log/damage.h"
#include "log/segment_reader.h"
#include "query/item_scanner.h"
#include "query/piece_filter.h"

namespace tool {
namespace {

std::shared_ptr<const RowBits> search(const std::shared_ptr<const RE2> &pattern, const LogBlock &block) {
    auto bits = std::make_shared<RowBits>(block.size());
    const std::vector<uint32_t> &offsets = block.columns->offsets;
    ItemFilter wanted;
    wanted.pattern = pattern;
    PieceFilter filter(wanted);
    const BlockReader opened(block);
    if (!opened.file().file.isOpen()) {
        throw StaleView();
    }
    BadLines ignored;  // A check finds them.
    SegmentReader reader(opened.file().file.get(), block.readTo, Order::OldestFirst, offsets.front());
    auto next = offsets.begin();
    for (Segment segment; reader.next(&segment);) {
        forEachMatch(opened.file(), segment, &filter, &ignored, [&](const Line &line) {
            next = std::lower_bound(next, offsets.end(), line.offset);
            if (next != offsets.end() && *next == line.offset) {
                bits->set(static_cast<size_t>(next - offsets.begin()));
            }
        });
    }
    if (reader.isCutShort() || !opened.isStill()) {
        throw StaleView();
    }
    return bits;
}

}  // namespace

std::shared_ptr<TextMatches::Found> TextMatches::foundFor(const ViewFilter &filter) {
    const std::lock_guard lock(mutex_);
    const std::string &pattern = filter.pattern->pattern();
    const auto known = std::find_if(found_.begin(), found_.end(), [&](const auto &found) {
        return found->pattern == pattern && found->isCaseIgnored == filter.isCaseIgnored;
    });
    if (known != found_.end()) {
        found_.splice(found_.begin(), found_, known);
        return found_.front();
    }
    auto found = std::make_shared<Found>();
    found->pattern = pattern;
    found->isCaseIgnored = filter.isCaseIgnored;
    found_.push_front(found);
    if (found_.size() > kMostPatterns) {
        found_.pop_back();
    }
    return found;
}

std::shared_ptr<const RowBits> TextMatches::of(const ViewFilter &filter, const LogBlock &block) {
    const std::shared_ptr<Found> found = foundFor(filter);
    const std::lock_guard lock(found->mutex);
    const auto known = found->blocks.find(block.columns->id);
    if (known != found->blocks.end()) {
        return known->second;
    }
    std::shared_ptr<const RowBits> bits = search(filter.pattern, block);
    if (found->bytes + bits->bytes() > kMostBytesEach) {
        // Mostly those of blocks that have grown or gone since.
        found->blocks.clear();
        found->bytes = 0;
    }
    found->bytes += bits->bytes();
    found->blocks.emplace(block.columns->id, bits);
    return bits;
}

}  // namespace tool
