// SPDX-License-Identifier: Apache-2.0
#include "query/file_digest.h"

#include <algorithm>

namespace tool {
namespace {

constexpr jorn::ItemLimits kWidest = {jorn::kLevelMax, jorn::kSlotMax};

}  // namespace

void fold(const LineNumbers &item, FileDigest *digest) {
    const bool isFirst = digest->info.itemCount == 0;
    digest->earliest = isFirst ? item.time : std::min(digest->earliest, item.time);
    digest->latest = isFirst ? item.time : std::max(digest->latest, item.time);
    digest->strayLevels += item.level < 0 || item.level >= jorn::kLevelMax ? 1 : 0;
    jorn::foldReadItem({item.time, item.level, item.slot, nullptr}, kWidest, &digest->info);
}

FileDigest digestOf(const RingFile &file, DamageLog *damage) {
    return digestOf(file, damage, [](const LineNumbers &) {});
}

}  // namespace tool
