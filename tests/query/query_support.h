// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of queries: a ring laid out by hand, and rings and requirements of all kinds.
#ifndef JORN_TESTS_QUERY_QUERY_SUPPORT_H
#define JORN_TESTS_QUERY_QUERY_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "model/query_model.h"
#include "model/ring_files.h"
#include "registry/registry.h"
#include "support/file_mutex.h"
#include "support/module_test.h"

namespace test {

/// Replaces what a directory and an object hold by a ring's files and summaries.
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
