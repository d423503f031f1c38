// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of counting: requirements by level, slot and days, all results of a count, and rings
// with one day per file.
#ifndef JORN_TESTS_QUERY_COUNTING_SUPPORT_H
#define JORN_TESTS_QUERY_COUNTING_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "query/counting.h"
#include "query/query_support.h"
#include "support/module_test.h"

namespace test {

inline constexpr int32_t kUnset = 77;

inline JORN_REQUIRE wanted(int32_t level, int32_t levelMode, int32_t slot) {
    JORN_REQUIRE require = anything();
    require.level = level;
    require.levelMode = levelMode;
    require.slot = slot;
    return require;
}

inline JORN_REQUIRE ofDays(int32_t lower, int32_t upper) {
    JORN_REQUIRE require = anything();
    require.dayDwLimit = lower;
    require.dayUpLimit = upper;
    return require;
}

/// All results of a count over the ring; one entry more than the tables have, to see what is left unchanged.
struct Counted {
    int32_t total;
    int32_t range[3];
    int32_t nums[91];

    /// Positions with a count: "3: 5 items, ...".
    std::string numsText() const {
        std::string text;
        for (int position = 0; position < 90; ++position) {
            if (nums[position] != 0) {
                text += (text.empty() ? "" : ", ") + std::to_string(position) + ": " +
                        std::to_string(nums[position]);
            }
        }
        return text;
    }
};

inline Counted count(JORN_OBJ *obj, const JORN_REQUIRE &require) {
    Counted counted;
    std::fill(std::begin(counted.range), std::end(counted.range), kUnset);
    std::fill(std::begin(counted.nums), std::end(counted.nums), kUnset);
    counted.total = jorn_CountRequireNumInAllCsv(obj, &require, counted.range, counted.nums);
    EXPECT_EQ(counted.range[2], kUnset);
    EXPECT_EQ(counted.nums[90], kUnset);
    return counted;
}

class CountAllTest : public ModuleTest {
protected:
    /// An object of 8 slots over this ring.
    HandMadeObject objectOf(const ModelRing &ring) {
        HandMadeObject object(dir_.path(), ring.csvNum, ring.slotMax);
        layOut(ring, dir_, object.get());
        platform().clearLog();
        return object;
    }

    /// Everything printed at the highest print level.
    std::vector<std::string> said(const ModelRing &ring, const JORN_REQUIRE &require) {
        HandMadeObject object = objectOf(ring);
        jorn_SetDebugPrintLevel(8);
        count(object.get(), require);
        return messages();
    }

    static std::vector<std::string> opened() { return platform().calls({"fopen"}); }
};

/// Days 100, 101 and so on at these positions, oldest first, each with this number of items.
inline ModelRing ringOfDays(int32_t csvNum, const std::vector<std::pair<int32_t, int>> &files) {
    ModelRing ring = {csvNum, 8, files.front().first, files.back().first, {}};
    uint32_t day = 100;
    for (const auto &[position, number] : files) {
        ring.files[position] = items(number, dayStart(day++), "p" + std::to_string(position) + "n");
    }
    return ring;
}

}  // namespace test

#endif
