// SPDX-License-Identifier: Apache-2.0
#include "query/file_digest.h"

#include <algorithm>

#include "log/stored_line.h"
#include "query/item_scanner.h"

namespace tool {
namespace {

void countLevelAndSlot(const LineNumbers &item, FileDigest *digest) {
    if (item.level < 0 || item.level >= jorn::kLevelMax) {
        ++digest->strayLevels;
        return;
    }
    JORN_LEVEL_STAT &stat = digest->info.levelStat[item.level];
    ++stat.levelCount;
    if (item.slot >= 0 && item.slot < jorn::kSlotMax) {
        ++stat.slotCount[item.slot];
    }
}

void fold(const LineNumbers &item, FileDigest *digest) {
    JORN_CSV_INFO &info = digest->info;
    const bool isFirst = info.itemCount == 0;
    digest->earliest = isFirst ? item.time : std::min(digest->earliest, item.time);
    digest->latest = isFirst ? item.time : std::max(digest->latest, item.time);
    info.timeMin = info.timeMin == 0 ? item.time : std::min(info.timeMin, item.time);
    info.timeMax = std::max(info.timeMax, item.time);
    info.timeLast = item.time;
    ++info.itemCount;
    countLevelAndSlot(item, digest);
}

}  // namespace

FileDigest digestOf(const RingFile &file, DamageLog *damage) {
    EveryPiece filter;
    FileDigest digest;
    digest.isReadable =
        forEachItemLine(file, &filter, damage, [&digest](const LineNumbers &item) { fold(item, &digest); });
    return digest;
}

}  // namespace tool
