// SPDX-License-Identifier: Apache-2.0
// Counting and paging.
#include <algorithm>
#include <limits>

#include "model/ring_files.h"
#include "model/store_model.h"
#include "model/summary_model.h"

namespace test {

namespace {

constexpr int32_t kPageMax = 20;

std::string number(int64_t value) { return std::to_string(value); }

}  // namespace

std::vector<int32_t> StoreModel::dayRange(const ModelObject &object, const JORN_REQUIRE &require) {
    return modelDayRange(
        object.newestFirst(), [&](int32_t position) { return object.at(position).timeMin; },
        [&](int32_t position) { return object.at(position).timeMax; }, require);
}

bool StoreModel::isWanted(const ModelLine &line, const JORN_REQUIRE &require) {
    if (line.isBlank) {
        return false;
    }
    if (!line.isItem()) {
        say(line.parse.message);
        say("Error: item info analyse failed: " + std::string(line.seen));
        return false;
    }
    return modelAccepts(line.item(), require);
}

int32_t StoreModel::countFile(const ModelObject &object, int32_t position, const JORN_REQUIRE &require) {
    if (!open(object.path(position), "r", "open a data file to count its items")) {
        say("Open file error: " + csvName(position) + "!\n");
        return 0;
    }
    int32_t found = 0;
    readLines(object.path(position), "read a line to count it", std::numeric_limits<int32_t>::max(),
              [&](const ModelLine &line) {
                  const bool isTaken = isWanted(line, require);
                  found += isTaken ? 1 : 0;
                  return isTaken;
              });
    return found;
}

int32_t StoreModel::countAll(const ModelObject &object, const JORN_REQUIRE &require, Tally *tally) {
    const std::vector<int32_t> range = dayRange(object, require);
    if (range.empty()) {
        if (require.dayDwLimit < 0 && require.dayUpLimit < 0) {
            say("dayUpLimit=" + number(object.at(object.index.latest).timeMax / 86400) +
                ", dayDwLimit=" + number(object.at(object.index.oldest).timeMin / 86400));
            say(std::string(probe::kBare) + "Error! Required date is not exist!\r\n");
        }
        return -1;
    }
    std::map<int32_t, int32_t> counts;
    counts[range.front()] = countFile(object, range.front(), require);
    if (range.size() > 1) {
        counts[range.back()] = countFile(object, range.back(), require);
    }
    for (const int32_t position : range) {
        if (counts.count(position) == 0) {
            counts[position] = modelCounted(object.at(position), object.slotMax, require);
        }
        tally->files.emplace_back(position, counts[position]);
        tally->total += counts[position];
    }
    return tally->total;
}

int32_t StoreModel::count(int32_t handle, const JORN_REQUIRE &require) {
    const ModelObject *const object = find(handle);
    if (object == nullptr) {
        say("hanld_id = " + number(handle) + ", not found!");
        return -1;
    }
    Tally tally;
    fault({"semTake -1"}, "lock a query");
    const int32_t total = countAll(*object, require, &tally);
    fault({"semGive"}, "give the mutex");
    return total;
}

int32_t StoreModel::page(int32_t handle, const JORN_REQUIRE &require, std::vector<ModelShown> *shown) {
    shown->clear();
    const ModelObject *const object = find(handle);
    if (object == nullptr) {
        say(" hanld_id = " + number(handle) + ", not found!");
        return -1;
    }
    Tally tally;
    fault({"semTake -1"}, "lock a query");
    const int32_t total = countAll(*object, require, &tally);
    int32_t result = -1;
    if (total <= 0) {
        say(" error: totalItem = " + number(total) + "!");
    } else {
        const int32_t perPage = std::min(require.itemsPerPage, kPageMax);
        const int32_t pages = (total + perPage - 1) / perPage;
        result = require.pageDisp < 0 ? pages : std::min(require.pageDisp, pages);
        const int32_t first = (result - 1) * perPage + 1;
        fillPage(*object, require, tally, {first, std::min(first + perPage - 1, total)}, shown);
    }
    fault({"semGive"}, "give the mutex");
    return result;
}

/// Matches are numbered from 1 at the newest, each file taking as many numbers as it counts for.
void StoreModel::fillPage(const ModelObject &object, const JORN_REQUIRE &require, const Tally &tally,
                          std::pair<int32_t, int32_t> numbers, std::vector<ModelShown> *shown) {
    int32_t base = 1;
    for (const auto &[position, items] : tally.files) {
        if (base > numbers.second) {
            break;
        }
        const int32_t last = base > numbers.first ? items : items - (numbers.first - base);
        const int32_t first = std::max(items - (numbers.second - base), 1);
        if (last > 0) {
            readRecords(object, require, position, {first, last}, shown);
        }
        base += items;
    }
}

/// Matches of a file by number, from its oldest on. Those that the file no longer holds are missing.
void StoreModel::readRecords(const ModelObject &object, const JORN_REQUIRE &require, int32_t position,
                             std::pair<int32_t, int32_t> items, std::vector<ModelShown> *shown) {
    if (!open(object.path(position), "r", "open a data file of the page")) {
        say("Open file error: " + csvName(position) + "!\n");
        return;
    }
    std::vector<ModelShown> records;
    int32_t found = 0;
    readLines(object.path(position), "read a line of the page", items.second, [&](const ModelLine &line) {
        const bool isTaken = isWanted(line, require);
        found += isTaken ? 1 : 0;
        if (isTaken && found >= items.first) {
            records.push_back({std::string(line.seen), passes({"ctime"}, "show a time")});
        }
        return isTaken;
    });
    shown->insert(shown->end(), records.rbegin(), records.rend());
}

}  // namespace test
