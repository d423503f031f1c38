// SPDX-License-Identifier: Apache-2.0
#include "load/clock_model.h"

#include <algorithm>

namespace load {

namespace {

int64_t dayOf(uint32_t time) { return time / 86400U; }

bool isLevelWanted(int32_t level, const JORN_REQUIRE &require) {
    if (require.level < 0) {
        return level < JORN_LEVEL_DEBUG;
    }
    return require.levelMode > 0 ? level == require.level : level <= require.level;
}

bool isSlotWanted(int32_t slot, const JORN_REQUIRE &require) {
    return require.slot < 0 || slot == require.slot;
}

/// An end file of the range is read.
bool isReadAsWanted(const ClockItem &item, const JORN_REQUIRE &require) {
    const int64_t day = dayOf(item.time);
    return (require.dayDwLimit < 0 || day >= require.dayDwLimit) &&
           (require.dayUpLimit < 0 || day <= require.dayUpLimit) && isLevelWanted(item.level, require) &&
           isSlotWanted(item.slot, require);
}

/// A file between the ends counts from memory: whatever its days are, and without levels below 0.
bool isCountedInMemory(const ClockItem &item, const JORN_REQUIRE &require) {
    return item.level >= 0 && isLevelWanted(item.level, require) && isSlotWanted(item.slot, require);
}

}  // namespace

void ClockRing::layOutFile(int32_t position, std::vector<ClockItem> items) {
    ClockFile &file = files_[static_cast<size_t>(position)];
    file.exists = true;
    file.items = std::move(items);
}

void ClockRing::start() {
    finalTime_ = 0;
    for (const int32_t position : newestFirst()) {
        ClockFile &file = files_[static_cast<size_t>(position)];
        FileTimes times;
        for (const ClockItem &item : file.items) {
            // A smallest time of 0 counts as none.
            if (times.smallest == 0 || item.time < times.smallest) {
                times.smallest = item.time;
            }
            times.largest = std::max(times.largest, item.time);
            times.last = item.time;
            ++times.count;
        }
        file.times = times;
        if (times.count > 0 && finalTime_ == 0) {
            finalTime_ = times.last;
        }
        maxTime_ = std::max(maxTime_, times.largest);
    }
}

void ClockRing::append(const ClockItem &item) {
    if (at(latest_).times.count >= JORN_CSV_ITEM_MAX) {
        latest_ = (latest_ + 1) % size();
        if (latest_ == oldest_) {
            oldest_ = (oldest_ + 1) % size();
        }
        files_[static_cast<size_t>(latest_)] = ClockFile();
    }
    ClockFile &file = files_[static_cast<size_t>(latest_)];
    file.exists = true;
    file.items.push_back(item);
    FileTimes &times = file.times;
    const bool isFirst = times.count == 0;
    times.smallest = isFirst ? item.time : std::min(times.smallest, item.time);
    times.largest = isFirst ? item.time : std::max(times.largest, item.time);
    times.last = item.time;
    ++times.count;
}

std::vector<int32_t> ClockRing::newestFirst() const {
    std::vector<int32_t> positions = {latest_};
    while (positions.back() != oldest_) {
        positions.push_back((positions.back() + size() - 1) % size());
    }
    return positions;
}

std::vector<int32_t> ClockRing::range(const JORN_REQUIRE &require) const {
    const int64_t lower =
        require.dayDwLimit < 0 ? dayOf(at(oldest_).times.smallest) : int64_t{require.dayDwLimit};
    const int64_t upper =
        require.dayUpLimit < 0 ? dayOf(at(latest_).times.largest) : int64_t{require.dayUpLimit};
    if (upper < lower) {
        return {};
    }
    std::vector<int32_t> files = newestFirst();
    if (require.dayUpLimit >= 0) {
        const auto begins = std::find_if(files.begin(), files.end(), [&](int32_t position) {
            return dayOf(at(position).times.smallest) <= upper;
        });
        files.erase(files.begin(), begins);
    }
    if (require.dayDwLimit >= 0) {
        const auto ends = std::find_if(files.begin(), files.end(), [&](int32_t position) {
            return dayOf(at(position).times.largest) < lower;
        });
        files.erase(ends, files.end());
    }
    return files;
}

std::optional<std::vector<ClockRing::Share>> ClockRing::shares(const JORN_REQUIRE &require) const {
    const std::vector<int32_t> files = range(require);
    if (files.empty()) {
        return std::nullopt;
    }
    std::vector<Share> result;
    for (const int32_t position : files) {
        const bool isEnd = position == files.front() || position == files.back();
        const std::vector<ClockItem> &items = at(position).items;
        const auto count = std::count_if(items.begin(), items.end(), [&](const ClockItem &item) {
            return isEnd ? isReadAsWanted(item, require) : isCountedInMemory(item, require);
        });
        result.push_back({position, static_cast<int32_t>(count)});
    }
    return result;
}

int32_t ClockRing::count(const JORN_REQUIRE &require) const {
    const auto found = shares(require);
    if (!found) {
        return -1;
    }
    int32_t total = 0;
    for (const Share &share : *found) {
        total += share.count;
    }
    return total;
}

// Matches are numbered from 1 at the newest, each file taking as many numbers as it counts for. A file that
// has fewer matching lines than it counts for gives those that it has, its oldest ones.
ClockPage ClockRing::page(const JORN_REQUIRE &require) const {
    const auto found = shares(require);
    const int32_t total = count(require);
    if (!found || total <= 0) {
        return {-1, {}};
    }
    const int32_t perPage = std::min(require.itemsPerPage, JORN_REQUIRE_PAGE_MAX);
    const int32_t pages = (total + perPage - 1) / perPage;
    const int32_t number = require.pageDisp < 0 ? pages : std::min(require.pageDisp, pages);
    const int32_t first = (number - 1) * perPage + 1;
    const int32_t last = std::min(number * perPage, total);

    ClockPage shown = {number, {}};
    int32_t base = 1;
    for (const Share &share : *found) {
        std::vector<const ClockItem *> lines;
        for (const ClockItem &item : at(share.position).items) {
            if (isReadAsWanted(item, require)) {
                lines.push_back(&item);
            }
        }
        for (int32_t k = share.count; k >= 1; --k) {
            const int32_t itemNumber = base + share.count - k;
            if (itemNumber >= first && itemNumber <= last && k <= static_cast<int32_t>(lines.size())) {
                shown.items.push_back(*lines[static_cast<size_t>(k - 1)]);
            }
        }
        base += share.count;
    }
    return shown;
}

}  // namespace load
