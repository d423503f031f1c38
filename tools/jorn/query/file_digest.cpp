// SPDX-License-Identifier: Apache-2.0
#include "query/file_digest.h"

#include <algorithm>

#include "log/stored_line.h"
#include "query/item_scanner.h"

namespace tool {
namespace {

constexpr jorn::ItemLimits kWidest = {jorn::kLevelMax, jorn::kSlotMax};

void fold(const LineNumbers &item, FileDigest *digest) {
    const bool isFirst = digest->info.itemCount == 0;
    digest->earliest = isFirst ? item.time : std::min(digest->earliest, item.time);
    digest->latest = isFirst ? item.time : std::max(digest->latest, item.time);
    digest->strayLevels += item.level < 0 || item.level >= jorn::kLevelMax ? 1 : 0;
    jorn::foldReadItem({item.time, item.level, item.slot, nullptr}, kWidest, &digest->info);
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
