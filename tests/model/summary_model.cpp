// SPDX-License-Identifier: Apache-2.0
#include "model/summary_model.h"

#include <algorithm>

namespace test {
namespace {

void countByLevelAndSlot(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info) {
    if (item.level < 0 || item.level > 3) {
        return;
    }
    ++info->levelStat[item.level].levelCount;
    if (item.slot >= 0 && item.slot < slotMax) {
        ++info->levelStat[item.level].slotCount[item.slot];
    }
}

}  // namespace

void modelRead(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info) {
    info->timeMin = info->timeMin == 0 ? item.time : std::min(info->timeMin, item.time);
    info->timeMax = std::max(info->timeMax, item.time);
    info->timeLast = item.time;
    ++info->itemCount;
    countByLevelAndSlot(item, slotMax, info);
}

void modelAppend(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info) {
    const bool isEmpty = info->itemCount == 0;
    info->timeMin = isEmpty ? item.time : std::min(info->timeMin, item.time);
    info->timeMax = isEmpty ? item.time : std::max(info->timeMax, item.time);
    info->timeLast = item.time;
    ++info->itemCount;
    countByLevelAndSlot(item, slotMax, info);
}

int32_t modelCounted(const JORN_CSV_INFO &info, int32_t slotMax, const JORN_REQUIRE &require) {
    uint32_t count = 0;
    for (int32_t level = 0; level < 4; ++level) {
        const bool isWanted = require.level < 0 || require.level > 3 ? level <= 2
                              : require.levelMode >= 1               ? level == require.level
                                                                     : level <= require.level;
        const JORN_LEVEL_STAT &stat = info.levelStat[level];
        const bool isAnySlot = require.slot < 0 || require.slot >= slotMax;
        count += !isWanted ? 0 : isAnySlot ? stat.levelCount : stat.slotCount[require.slot];
    }
    return static_cast<int32_t>(count);
}

}  // namespace test
