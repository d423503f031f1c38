// SPDX-License-Identifier: Apache-2.0
#include "ring_stats.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <numeric>

#include "failure.h"
#include "item_query.h"
#include "item_scanner.h"
#include "query_plan.h"
#include "regular_file.h"
#include "stored_line.h"

namespace tool {
namespace {

/// Whether every item of the file passes.
bool isWhole(const ItemFilter &filter, const FileDigest &digest) {
    return filter.levels.isAll() && filter.slots.isAny() && useOf(filter, digest) == FileUse::Summary;
}

void addTable(const FileDigest &digest, LevelTable *table) {
    for (size_t level = 0; level < table->cells.size(); ++level) {
        const JORN_LEVEL_STAT &stat = digest.info.levelStat[level];
        uint64_t other = stat.levelCount;
        for (size_t slot = 0; slot < LevelTable::kOtherSlot; ++slot) {
            table->cells[level][slot] += stat.slotCount[slot];
            other -= stat.slotCount[slot];
        }
        table->cells[level][LevelTable::kOtherSlot] += other;
    }
    table->otherLevels += digest.strayLevels;
}

template <class Take>
void forEachMatch(const RingFile &file, PieceFilter *filter, const Take &take) {
    DamageLog known;  // Every file was read for its digest, so its damage is told already.
    forEachItemLine(file, filter, &known, take);
}

/// The file's summary tells all but how its items lie in its hours.
ItemSpan addWhole(const RingFile &file, PieceFilter *filter, const FileDigest &digest, RingStats *stats) {
    addTable(digest, &stats->table);
    if (HourCounts::hourOf(digest.earliest) == HourCounts::hourOf(digest.latest)) {
        stats->hours.add(digest.earliest, digest.info.itemCount);
    } else {
        forEachMatch(file, filter, [&](const LineNumbers &item) { stats->hours.add(item.time); });
    }
    return {digest.info.itemCount, digest.earliest, digest.latest};
}

ItemSpan addMatches(const RingFile &file, PieceFilter *filter, RingStats *stats) {
    ItemSpan span;
    forEachMatch(file, filter, [&](const LineNumbers &item) {
        span.add(item.time);
        stats->table.add(item.level, item.slot);
        stats->hours.add(item.time);
    });
    return span;
}

void addFile(const RingFile &file, const ItemFilter &filter, PieceFilter *pieceFilter,
             const FileDigest &digest, RingStats *stats) {
    FileStats own{file.number, file.position, file.size, {}};
    if (isWhole(filter, digest)) {
        own.span = addWhole(file, pieceFilter, digest, stats);
    } else if (useOf(filter, digest) != FileUse::Skip) {
        own.span = addMatches(file, pieceFilter, stats);
    }
    stats->span.add(own.span);
    stats->bytes += own.bytes;
    stats->files.push_back(own);
}

/// Whatever it is: a link that leads nowhere, too.
bool isThere(const StoreDirectory &directory, const char *name) {
    struct stat status;
    return fstatat(directory.descriptor(), name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool canBeRead(const StoreDirectory &directory, const char *name) {
    try {
        return openRegular(directory, name).isOpen();
    } catch (const Failure &) {
        return false;
    }
}

}  // namespace

void ItemSpan::add(uint32_t time) { add(ItemSpan{1, time, time}); }

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

uint64_t LevelTable::totalOfLevel(size_t level) const {
    return std::accumulate(cells[level].begin(), cells[level].end(), uint64_t{0});
}

uint64_t LevelTable::totalOfSlot(size_t slot) const {
    return std::accumulate(cells.begin(), cells.end(), uint64_t{0},
                           [slot](uint64_t sum, const auto &level) { return sum + level[slot]; });
}

std::string describeIndex(const StoreDirectory &directory, const RingSurvey &survey) {
    if (survey.index) {
        return canBeRead(directory, "index.csv") ? "index.csv" : "index.bak, for want of index.csv";
    }
    const bool hasAny = isThere(directory, "index.csv") || isThere(directory, "index.bak");
    return hasAny ? "cannot be used; see jorn check" : "missing";
}

RingStats statsOf(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    RingStats stats;
    stats.index = describeIndex(view.directory(), view.survey());
    stats.ringSize = view.ringSize();
    stats.isRingSizeKnown = view.survey().hasWrapped();
    stats.oldest = view.plan().oldest;
    stats.newest = view.plan().latest;
    const std::vector<FileDigest> digests = digestsOf(view, damage);
    PieceFilter pieceFilter(filter);
    for (size_t i = 0; i < digests.size(); ++i) {
        addFile(view.files()[i], filter, &pieceFilter, digests[i], &stats);
    }
    return stats;
}

}  // namespace tool
