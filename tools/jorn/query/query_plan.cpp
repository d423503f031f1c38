// SPDX-License-Identifier: Apache-2.0
#include "query/query_plan.h"

#include <algorithm>

#include "module_limits.h"
#include "query/file_locator.h"

namespace tool {
namespace {

constexpr int32_t kAny = -1;

struct Days {
    int32_t first = kAny;
    int32_t last = kAny;
};

/// The limits as whole days, if they are.
std::optional<Days> wholeDays(const ItemFilter &filter) {
    Days days;
    if (filter.since != 0) {
        if (filter.since % jorn::kSecondsPerDay != 0) {
            return std::nullopt;
        }
        days.first = static_cast<int32_t>(filter.since / jorn::kSecondsPerDay);
    }
    if (filter.until != UINT32_MAX) {
        if (filter.until % jorn::kSecondsPerDay != jorn::kSecondsPerDay - 1) {
            return std::nullopt;
        }
        days.last = static_cast<int32_t>(filter.until / jorn::kSecondsPerDay);
    }
    return days;
}

std::vector<int32_t> wantedLevels(const LevelSet &levels) {
    std::vector<int32_t> wanted;
    for (int32_t level = 0; level < jorn::kLevelMax; ++level) {
        if (levels.has(level)) {
            wanted.push_back(level);
        }
    }
    return wanted;
}

/// The slots as the module takes them one at a time.
std::vector<int32_t> wantedSlots(const SlotSet &slots) {
    if (slots.isAny()) {
        return {kAny};
    }
    std::vector<int32_t> wanted;
    for (int32_t slot = 0; slot < jorn::kSlotMax; ++slot) {
        if (slots.has(slot)) {
            wanted.push_back(slot);
        }
    }
    return wanted;
}

bool hasStray(const std::vector<FileDigest> &digests) {
    return std::any_of(digests.begin(), digests.end(),
                       [](const FileDigest &digest) { return digest.strayLevels > 0; });
}

bool hasTabledMatch(const ItemFilter &filter, const FileDigest &digest) {
    for (const int32_t level : wantedLevels(filter.levels)) {
        const JORN_LEVEL_STAT &stat = digest.info.levelStat[level];
        for (const int32_t slot : wantedSlots(filter.slots)) {
            if ((slot == kAny ? stat.levelCount : stat.slotCount[slot]) > 0) {
                return true;
            }
        }
    }
    return false;
}

/// Days alone.
JORN_REQUIRE requirementFor(const Days &days) {
    JORN_REQUIRE require;
    require.itemsPerPage = kAny;
    require.pageDisp = kAny;
    require.dayDwLimit = days.first;
    require.dayUpLimit = days.last;
    require.level = kAny;
    require.levelMode = kAny;
    require.slot = kAny;
    return require;
}

struct FileRange {
    size_t first = 0;
    size_t last = 0;
};

/// The range of files in which the module counts the items of these days, if it finds one.
std::optional<FileRange> rangeOfModule(const Days &days, const std::vector<FileDigest> &digests) {
    std::vector<JORN_CSV_INFO> infos;
    std::transform(digests.begin(), digests.end(), std::back_inserter(infos),
                   [](const FileDigest &digest) { return digest.info; });
    JORN_OBJ ring = {};
    ring.slot_max = jorn::kSlotMax;
    ring.level_max = jorn::kLevelMax;
    ring.csv_num = static_cast<int32_t>(infos.size());
    ring.csv_latest = ring.csv_num - 1;
    ring.csv_info = infos.data();
    const JORN_REQUIRE require = requirementFor(days);
    int32_t range[2];
    if (jorn_FindCsvByTime(&ring, &require, range) < 0) {
        return std::nullopt;
    }
    return FileRange{static_cast<size_t>(range[0]), static_cast<size_t>(range[1])};
}

FileUse useOf(const ItemFilter &filter, const FileDigest &digest) {
    if (digest.isEmpty() || digest.latest < filter.since || digest.earliest > filter.until) {
        return FileUse::Skip;
    }
    const bool hasStrayMatch = digest.strayLevels > 0 && filter.levels.hasStray();
    if (!hasStrayMatch && !hasTabledMatch(filter, digest)) {
        return FileUse::Skip;
    }
    if (filter.pattern != nullptr || digest.earliest < filter.since || digest.latest > filter.until) {
        return FileUse::Read;
    }
    const bool isEverything = filter.levels.isAll() && filter.slots.isAny();
    return hasStrayMatch && !isEverything ? FileUse::Read : FileUse::Summary;
}

}  // namespace

bool isModuleExact(const ItemFilter &filter, const std::vector<FileDigest> &digests) {
    if (digests.empty()) {
        return true;
    }
    const std::optional<Days> days = wholeDays(filter);
    const std::optional<FileRange> range = days ? rangeOfModule(*days, digests) : std::nullopt;
    if (!range) {
        return false;
    }
    for (size_t i = 0; i < digests.size(); ++i) {
        const FileDigest &digest = digests[i];
        const bool isOutside = i < range->first || i > range->last;
        const bool isBetween = i > range->first && i < range->last;
        const bool isWithin = digest.earliest >= filter.since && digest.latest <= filter.until;
        const bool isApart = digest.latest < filter.since || digest.earliest > filter.until;
        if (!digest.isReadable ||
            (!digest.isEmpty() && ((isOutside && !isApart) || (isBetween && !isWithin)))) {
            return false;
        }
    }
    return true;
}

CountPlan planCount(const ItemFilter &filter, const std::vector<FileDigest> &digests) {
    CountPlan plan;
    std::transform(digests.begin(), digests.end(), std::back_inserter(plan.files),
                   [&](const FileDigest &digest) { return useOf(filter, digest); });
    const bool isAnyRead = std::find(plan.files.begin(), plan.files.end(), FileUse::Read) != plan.files.end();
    plan.route = isAnyRead ? Route::Scan : Route::Summaries;
    return plan;
}

std::optional<JORN_REQUIRE> asRequirement(const ItemFilter &filter, const std::vector<FileDigest> &digests) {
    const std::optional<Days> days = wholeDays(filter);
    const std::vector<int32_t> levels = wantedLevels(filter.levels);
    const std::vector<int32_t> slots = wantedSlots(filter.slots);
    if (!days || filter.pattern != nullptr || levels.empty() || slots.size() != 1) {
        return std::nullopt;
    }
    // The module would wait for a writer where a pipe bears the name of a data file.
    if (!std::all_of(digests.begin(), digests.end(),
                     [](const FileDigest &file) { return file.isReadable; })) {
        return std::nullopt;
    }
    if (filter.levels.isAll() && hasStray(digests)) {
        return std::nullopt;
    }
    const bool isUpTo = filter.levels.has(-1);
    if (!isUpTo && levels.size() != 1) {
        return std::nullopt;
    }
    JORN_REQUIRE require = requirementFor(*days);
    require.level = levels.back();
    require.levelMode = isUpTo ? 0 : 1;
    require.slot = slots.front();
    return require;
}

}  // namespace tool
