// SPDX-License-Identifier: Apache-2.0
#include "query/ring_stats.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "log/stored_line.h"
#include "query/item_scanner.h"

namespace tool {
namespace {

void addFile(const RingFile &file, PieceFilter *filter, RingStats *stats, DamageLog *damage) {
    FileStats own;
    own.number = file.number;
    own.position = file.position;
    own.bytes = file.size;
    forEachItemLine(file, filter, damage, [&](const LineNumbers &item) {
        own.span.add(item.time);
        stats->table.add(item.level, item.slot);
        stats->hours.add(item.time);
    });
    stats->span.add(own.span);
    stats->bytes += own.bytes;
    stats->files.push_back(own);
}

std::string describeIndex(const IndexLook &index) {
    if (index.positions()) {
        return index.isOfBackup() ? "index.bak, for want of index.csv" : kIndexName;
    }
    return index.hasAny() ? "cannot be used; see jorn check" : "missing";
}

}  // namespace

void ItemSpan::add(uint32_t time) {
    ItemSpan one;
    one.items = 1;
    one.earliest = time;
    one.latest = time;
    add(one);
}

void ItemSpan::add(const ItemSpan &other) {
    if (other.items == 0) {
        return;
    }
    earliest = items == 0 ? other.earliest : std::min(earliest, other.earliest);
    latest = items == 0 ? other.latest : std::max(latest, other.latest);
    items += other.items;
}

void LevelTable::add(int32_t level, int32_t slot) {
    if (level < 0 || level >= jorn::kLevelMax) {
        ++otherLevels;
        return;
    }
    const bool isKnown = slot >= 0 && slot < jorn::kSlotMax;
    ++cells[static_cast<size_t>(level)][isKnown ? static_cast<size_t>(slot) : kOtherSlot];
}

void LevelTable::add(const LevelTable &other) {
    for (size_t level = 0; level < cells.size(); ++level) {
        std::transform(cells[level].begin(), cells[level].end(), other.cells[level].begin(),
                       cells[level].begin(), std::plus<>());
    }
    otherLevels += other.otherLevels;
}

uint64_t LevelTable::totalOfLevel(size_t level) const {
    return std::accumulate(cells[level].begin(), cells[level].end(), uint64_t{0});
}

uint64_t LevelTable::totalOfSlot(size_t slot) const {
    return std::accumulate(cells.begin(), cells.end(), uint64_t{0},
                           [slot](uint64_t sum, const auto &level) { return sum + level[slot]; });
}

RingStats statsOf(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    RingStats stats;
    stats.index = describeIndex(view.index());
    stats.ringSize = view.ringSize();
    stats.isRingSizeKnown = view.look().hasWrapped();
    stats.oldest = view.plan().oldest;
    stats.newest = view.plan().latest;
    PieceFilter pieceFilter(filter);
    for (const RingFile &file : view.files()) {
        addFile(file, &pieceFilter, &stats, damage);
    }
    return stats;
}

}  // namespace tool
