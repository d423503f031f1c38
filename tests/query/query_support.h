// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of queries: a ring laid out by hand, and a slow model of locating, counting and paging
// that works on the items themselves.
#ifndef JORN_TESTS_QUERY_QUERY_SUPPORT_H
#define JORN_TESTS_QUERY_QUERY_SUPPORT_H

#include <semLib.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "registry/registry.h"
#include "support/module_test.h"

namespace test {

inline std::string csvName(int32_t position) { return std::to_string(position) + ".csv"; }

/// Whether another task could take the file mutex now.
inline bool isMutexFree() {
    bool isTaken = false;
    std::thread([&] {
        isTaken = semTake(logSemCsvRW_ID, NO_WAIT) == OK;
        if (isTaken) {
            semGive(logSemCsvRW_ID);
        }
    }).join();
    return isTaken;
}

/// Items of one file in the ring's order, as the tests of queries see them.
struct ModelItem {
    uint32_t time;
    int32_t level;
    int32_t slot;
    std::string text;
};

using ModelFile = std::vector<ModelItem>;

/// A ring, from the files' items up. Files that are not in the table do not exist.
struct ModelRing {
    int32_t csvNum;
    int32_t slotMax;
    int32_t oldest;
    int32_t latest;
    std::map<int32_t, ModelFile> files;

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

/// Puts a ring's files and summaries in place of what a directory and an object hold.
inline void layOut(const ModelRing &ring, const TempDir &directory, JORN_OBJ *obj) {
    obj->csv_oldest = ring.oldest;
    obj->csv_latest = ring.latest;
    for (int32_t position = 0; position < ring.csvNum; ++position) {
        JORN_CSV_INFO info = {};
        std::string bytes;
        for (const ModelItem &item : ring.at(position)) {
            bytes += line(item.time, item.level, item.slot, item.text);
            info.timeMin = info.itemCount == 0 ? item.time : std::min(info.timeMin, item.time);
            info.timeMax = std::max(info.timeMax, item.time);
            info.timeLast = item.time;
            ++info.itemCount;
            if (item.level >= 0 && item.level <= 3) {
                ++info.levelStat[item.level].levelCount;
                if (item.slot >= 0 && item.slot < ring.slotMax) {
                    ++info.levelStat[item.level].slotCount[item.slot];
                }
            }
        }
        obj->csv_info[position] = info;
        directory.remove(csvName(position));
        if (ring.files.count(position) != 0) {
            directory.write(csvName(position), bytes);
        }
    }
}

/// `count` items a second apart, of level 1 and slot 2, texts "<prefix>0" and so on.
inline ModelFile items(int count, uint32_t firstTime, const std::string &prefix, int32_t level = 1,
                       int32_t slot = 2) {
    ModelFile file;
    for (int i = 0; i < count; ++i) {
        file.push_back({firstTime + static_cast<uint32_t>(i), level, slot, prefix + std::to_string(i)});
    }
    return file;
}

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
    std::map<int32_t, int32_t> nums;  ///< Matches by position, positions without a match left out.
    int32_t total = 0;
};

/// The positions that serve the day range, newest first; none when nothing serves it.
inline std::vector<int32_t> modelRange(const ModelRing &ring, const JORN_REQUIRE &require) {
    const std::vector<int32_t> all = ring.newestFirst();
    const auto firstDay = [&](int32_t position) {
        uint32_t smallest = UINT32_MAX;
        for (const ModelItem &item : ring.at(position)) {
            smallest = std::min(smallest, item.time);
        }
        return ring.at(position).empty() ? 0 : static_cast<int64_t>(smallest / 86400U);
    };
    const auto lastDay = [&](int32_t position) {
        uint32_t largest = 0;
        for (const ModelItem &item : ring.at(position)) {
            largest = std::max(largest, item.time);
        }
        return static_cast<int64_t>(largest / 86400U);
    };
    const int64_t lower = require.dayDwLimit < 0 ? firstDay(ring.oldest) : require.dayDwLimit;
    const int64_t upper = require.dayUpLimit < 0 ? lastDay(ring.latest) : require.dayUpLimit;
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

/// Counts a ring; nothing when no file serves the day range.
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
    const std::optional<ModelCount> count = modelCount(ring, require);
    if (!count || count->total == 0) {
        return {-1, {}};
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

/// Small rings and requirements of all kinds from a fixed seed. Times follow each other along the ring.
class QueryGenerator {
public:
    explicit QueryGenerator(uint32_t seed) : random_(seed) {}

    ModelRing nextRing() {
        ModelRing ring = {2 + below(7), 1 + below(8), 0, 0, {}};
        ring.oldest = below(ring.csvNum);
        ring.latest = below(ring.csvNum);
        uint32_t time = 86400U * static_cast<uint32_t>(kFirstDay + below(3));
        std::vector<int32_t> oldestFirst = ring.newestFirst();
        std::reverse(oldestFirst.begin(), oldestFirst.end());
        for (const int32_t position : oldestFirst) {
            if (below(12) != 0) {
                ring.files[position] = nextFile(&time);
            }
        }
        return ring;
    }

    JORN_REQUIRE nextRequirement() {
        JORN_REQUIRE require = {1 + below(24), below(9) - 1, -1, -1, -1, below(5) - 2, -1};
        if (require.pageDisp == 0) {
            require.pageDisp = 1;
        }
        if (below(2) == 0) {
            require.dayDwLimit = kFirstDay - 1 + below(12);
        }
        if (below(2) == 0) {
            require.dayUpLimit = kFirstDay - 1 + below(12);
        }
        if (below(3) != 0) {
            require.level = below(7) - 1;
        }
        if (below(2) == 0) {
            require.slot = below(10) - 1;
        }
        return require;
    }

private:
    static constexpr int32_t kFirstDay = 49690;

    int32_t below(int32_t limit) { return static_cast<int32_t>(random_() % static_cast<uint32_t>(limit)); }

    ModelFile nextFile(uint32_t *time) {
        ModelFile file;
        for (int32_t i = below(13); i > 0; --i) {
            *time += static_cast<uint32_t>(below(4) == 0 ? below(90000) : below(3));
            const int32_t level = below(8) == 0 ? below(9) - 3 : below(4);
            const int32_t slot = below(6) == 0 ? below(13) - 2 : below(4);
            file.push_back({*time, level, slot, "item" + std::to_string(++itemsMade_)});
        }
        return file;
    }

    std::mt19937 random_;
    int itemsMade_ = 0;
};

}  // namespace test

#endif
