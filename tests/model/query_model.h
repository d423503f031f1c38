// SPDX-License-Identifier: Apache-2.0
// A slow model of locating, counting and paging that works on the items themselves.
#ifndef JORN_TESTS_MODEL_QUERY_MODEL_H
#define JORN_TESTS_MODEL_QUERY_MODEL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "jorn.h"

namespace test {

/// Items of one file in the ring's order, as the tests of queries see them.
struct ModelItem {
    uint32_t time;
    int32_t level;
    int32_t slot;
    std::string text;
};

using ModelFile = std::vector<ModelItem>;

/// A ring, made from the items of its files. Files that are not in the table do not exist.
struct ModelRing {
    int32_t csvNum;
    int32_t slotMax;
    int32_t oldest;
    int32_t latest;
    std::map<int32_t, ModelFile> files;
    /// The files were summarised by reading them: a smallest time of 0 then gives way to the next time.
    bool isSummarisedByReading = false;

    const ModelFile &at(int32_t position) const {
        static const ModelFile nothing;
        const auto found = files.find(position);
        return found == files.end() ? nothing : found->second;
    }

    /// Positions of the valid range, newest first.
    std::vector<int32_t> newestFirst() const {
        std::vector<int32_t> positions = {latest};
        while (positions.back() != oldest) {
            positions.push_back(positions.back() == 0 ? csvNum - 1 : positions.back() - 1);
        }
        return positions;
    }
};

/// Whether a line's item is wanted.
inline bool modelAccepts(const ModelItem &item, const JORN_REQUIRE &require) {
    const int64_t day = item.time / 86400U;
    const bool isDay = (require.dayDwLimit < 0 || day >= require.dayDwLimit) &&
                       (require.dayUpLimit < 0 || day <= require.dayUpLimit);
    const bool isLevel = require.level < 0        ? item.level < 3
                         : require.levelMode >= 1 ? item.level == require.level
                                                  : item.level <= require.level;
    return isDay && isLevel && (require.slot < 0 || item.slot == require.slot);
}

/// Whether an item counts for a file that is counted from memory: levels and slots beyond the object's
/// own mean "below the debug level" and "any slot".
inline bool modelCounts(const ModelItem &item, const ModelRing &ring, const JORN_REQUIRE &require) {
    if (item.level < 0 || item.level > 3) {
        return false;
    }
    const bool isLevel = require.level < 0 || require.level > 3 ? item.level <= 2
                         : require.levelMode >= 1               ? item.level == require.level
                                                                : item.level <= require.level;
    return isLevel && (require.slot < 0 || require.slot >= ring.slotMax || item.slot == require.slot);
}

/// What a query finds, file by file.
struct ModelCount {
    std::vector<int32_t> range;       ///< Positions of the day range, newest first.
    std::map<int32_t, int32_t> nums;  ///< Matches by position; positions without a match are left out.
    int32_t total = 0;
};

/// The positions that can hold items of the day range, newest first; none when no file can. `all` are those
/// of the ring's range, newest first; the two functions return the smallest and the largest time of each.
template <class FirstTime, class LastTime>
std::vector<int32_t> modelDayRange(const std::vector<int32_t> &all, FirstTime firstTime, LastTime lastTime,
                                   const JORN_REQUIRE &require) {
    const auto firstDay = [&](int32_t position) { return int64_t{firstTime(position) / 86400U}; };
    const auto lastDay = [&](int32_t position) { return int64_t{lastTime(position) / 86400U}; };
    const int64_t lower = require.dayDwLimit < 0 ? firstDay(all.back()) : require.dayDwLimit;
    const int64_t upper = require.dayUpLimit < 0 ? lastDay(all.front()) : require.dayUpLimit;
    if (upper < lower) {
        return {};
    }
    size_t newest = 0;
    while (require.dayUpLimit >= 0 && newest < all.size() && firstDay(all[newest]) > upper) {
        ++newest;
    }
    size_t end = newest;
    while (end < all.size() && (require.dayDwLimit < 0 || lastDay(all[end]) >= lower)) {
        ++end;
    }
    return {all.begin() + static_cast<std::ptrdiff_t>(newest),
            all.begin() + static_cast<std::ptrdiff_t>(end)};
}

/// The same from the items of a ring.
inline std::vector<int32_t> modelRange(const ModelRing &ring, const JORN_REQUIRE &require) {
    const auto firstTime = [&](int32_t position) {
        uint32_t smallest = ring.isSummarisedByReading ? 0 : UINT32_MAX;
        for (const ModelItem &item : ring.at(position)) {
            const bool isUnset = ring.isSummarisedByReading && smallest == 0;
            smallest = isUnset ? item.time : std::min(smallest, item.time);
        }
        return ring.at(position).empty() ? 0 : smallest;
    };
    const auto lastTime = [&](int32_t position) {
        uint32_t largest = 0;
        for (const ModelItem &item : ring.at(position)) {
            largest = std::max(largest, item.time);
        }
        return largest;
    };
    return modelDayRange(ring.newestFirst(), firstTime, lastTime, require);
}

/// Counts a ring; nothing when no file can hold items of the day range.
inline std::optional<ModelCount> modelCount(const ModelRing &ring, const JORN_REQUIRE &require) {
    ModelCount count;
    count.range = modelRange(ring, require);
    if (count.range.empty()) {
        return std::nullopt;
    }
    for (const int32_t position : count.range) {
        const bool isEnd = position == count.range.front() || position == count.range.back();
        const ModelFile &file = ring.at(position);
        const auto num =
            static_cast<int32_t>(std::count_if(file.begin(), file.end(), [&](const ModelItem &item) {
                return isEnd ? modelAccepts(item, require) : modelCounts(item, ring, require);
            }));
        if (num > 0) {
            count.nums[position] = num;
            count.total += num;
        }
    }
    return count;
}

/// One page: the result, and the texts, newest first.
struct ModelPage {
    int32_t result;
    std::vector<std::string> texts;
};

/// Numbers all matches from 1 at the newest, file by file by their counts, and takes the page's numbers.
/// Item k of a file with count n (k from 1 at its oldest) has the number base + n - k; a file with fewer
/// matching lines than its count has no text for its last ones.
inline ModelPage modelPage(const ModelRing &ring, const JORN_REQUIRE &require) {
    if (require.itemsPerPage <= 0) {
        return {-1, {}};
    }
    const std::optional<ModelCount> count = modelCount(ring, require);
    if (!count || count->total == 0) {
        return {-1, {}};
    }
    if (require.pageDisp == 0) {
        return {0, {}};
    }
    const int32_t perPage = std::min(require.itemsPerPage, 20);
    const int32_t pages = (count->total + perPage - 1) / perPage;
    const int32_t page = require.pageDisp < 0 ? pages : std::min(require.pageDisp, pages);
    const int32_t first = (page - 1) * perPage + 1;
    const int32_t last = std::min(page * perPage, count->total);

    ModelPage shown = {page, {}};
    int32_t base = 1;
    for (const int32_t position : count->range) {
        const auto num = count->nums.find(position);
        if (num == count->nums.end()) {
            continue;
        }
        std::vector<std::string> matching;
        for (const ModelItem &item : ring.at(position)) {
            if (modelAccepts(item, require)) {
                matching.push_back(item.text);
            }
        }
        for (int32_t k = num->second; k >= 1; --k) {
            const int32_t number = base + num->second - k;
            if (number >= first && number <= last && k <= static_cast<int32_t>(matching.size())) {
                shown.texts.push_back(matching[static_cast<size_t>(k - 1)]);
            }
        }
        base += num->second;
    }
    return shown;
}

}  // namespace test

#endif
