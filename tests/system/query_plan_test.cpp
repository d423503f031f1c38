// SPDX-License-Identifier: Apache-2.0
// How a query is answered, decided from summaries written by hand.
#include "query/query_plan.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "common_values.h"

namespace test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using tool::FileUse;
using tool::ItemFilter;
using tool::LevelSet;
using tool::Route;

struct SummarisedItem {
    uint32_t time;
    int32_t level;
    int32_t slot;
};

/// A digest of items that were written one by one.
tool::FileDigest digest(const std::vector<SummarisedItem> &items) {
    tool::FileDigest digest;
    for (const SummarisedItem &item : items) {
        const bool isFirst = digest.info.itemCount++ == 0;
        digest.earliest = digest.info.timeMin = isFirst ? item.time : std::min(digest.earliest, item.time);
        digest.latest = digest.info.timeMax = std::max(digest.latest, item.time);
        if (item.level < 0 || item.level > 3) {
            ++digest.strayLevels;
            continue;
        }
        ++digest.info.levelStat[item.level].levelCount;
        ++digest.info.levelStat[item.level].slotCount[item.slot];
    }
    return digest;
}

class QueryPlanTest : public ::testing::Test {
protected:
    static constexpr uint32_t kNoon = kMidnight + kDay / 2;
    const std::vector<tool::FileDigest> three_ = {
        digest({{kNoon, 0, 1}, {kNoon + kDay, 1, 2}}),
        digest({{kNoon + kDay, 0, 1}, {kNoon + 2 * kDay, 3, 2}}),
        digest({{kNoon + 2 * kDay, 2, 7}, {kNoon + 3 * kDay, 1, 2}}),
    };
    ItemFilter filter_;
};

TEST_F(QueryPlanTest, PlanCount_NoLimits_SummariesAlone) {
    const tool::CountPlan plan = tool::planCount(filter_, three_);
    EXPECT_EQ(plan.route, Route::Summaries);
    EXPECT_THAT(plan.files, Each(FileUse::Summary));
}

TEST_F(QueryPlanTest, UseOf_EachLimit_SkipsWhatCannotMatch) {
    filter_.levels = LevelSet::range(3, 3);
    EXPECT_EQ(tool::planCount(filter_, three_).files,
              (std::vector{FileUse::Skip, FileUse::Summary, FileUse::Skip}));
    filter_ = {};
    filter_.slots.add(7);
    EXPECT_EQ(tool::planCount(filter_, three_).files,
              (std::vector{FileUse::Skip, FileUse::Skip, FileUse::Summary}));
    filter_ = {};
    filter_.since = kNoon + 2 * kDay;
    EXPECT_EQ(tool::planCount(filter_, three_).files,
              (std::vector{FileUse::Skip, FileUse::Read, FileUse::Summary}));
    filter_ = {};
    filter_.pattern = std::make_shared<const RE2>("x");
    filter_.levels = LevelSet::range(2, 2);
    EXPECT_EQ(tool::planCount(filter_, three_).files,
              (std::vector{FileUse::Skip, FileUse::Skip, FileUse::Read}));
}

TEST_F(QueryPlanTest, PlanCount_WholeDaysOfSeveralLevelsAndSlots_ReadsTheFilesAtTheEndsOnly) {
    filter_.since = kMidnight + kDay;
    filter_.until = kMidnight + 3 * kDay - 1;
    filter_.levels = LevelSet::range(0, 1);
    filter_.slots.add(1);
    filter_.slots.add(2);
    const tool::CountPlan plan = tool::planCount(filter_, three_);
    EXPECT_EQ(plan.route, Route::Scan);
    EXPECT_THAT(plan.files, ElementsAre(FileUse::Read, FileUse::Summary, FileUse::Read));
}

TEST_F(QueryPlanTest, IsModuleExact_DaysThatTheFilesKeepTo_OrNot) {
    filter_.since = kMidnight + kDay;
    filter_.until = kMidnight + 3 * kDay - 1;
    EXPECT_TRUE(tool::isModuleExact(filter_, three_));
    // Not a whole day.
    filter_.until = kMidnight + 3 * kDay;
    EXPECT_FALSE(tool::isModuleExact(filter_, three_));
    // The clock was set back: the file between the ends extends beyond the days.
    filter_.until = kMidnight + 4 * kDay - 1;
    EXPECT_TRUE(tool::isModuleExact(filter_, three_));
    std::vector<tool::FileDigest> back = three_;
    back[1] = digest({{kNoon, 0, 1}, {kNoon + 2 * kDay, 3, 2}});
    EXPECT_FALSE(tool::isModuleExact(filter_, back));
}

TEST_F(QueryPlanTest, AsRequirement_OneQuestionOfTheModule_OrNone) {
    auto require = tool::asRequirement(filter_, three_);
    ASSERT_TRUE(require);
    EXPECT_EQ(require->level, 3);
    EXPECT_EQ(require->levelMode, 0);
    EXPECT_EQ(require->slot, -1);
    EXPECT_EQ(require->dayDwLimit, -1);
    EXPECT_EQ(require->dayUpLimit, -1);
    filter_.levels = LevelSet::range(2, 2);
    filter_.slots.add(5);
    require = tool::asRequirement(filter_, three_);
    ASSERT_TRUE(require);
    EXPECT_EQ(require->level, 2);
    EXPECT_EQ(require->levelMode, 1);
    EXPECT_EQ(require->slot, 5);
    filter_.slots.add(6);
    EXPECT_FALSE(tool::asRequirement(filter_, three_));
    filter_ = {};
    filter_.levels = LevelSet::range(1, 2);
    EXPECT_FALSE(tool::asRequirement(filter_, three_));
    filter_ = {};
    filter_.since = 1;
    EXPECT_FALSE(tool::asRequirement(filter_, three_));
    filter_ = {};
    filter_.pattern = std::make_shared<const RE2>("x");
    EXPECT_FALSE(tool::asRequirement(filter_, three_));
    filter_ = {};
    EXPECT_FALSE(tool::asRequirement(filter_, {digest({{kNoon, 7, 1}})}));
}

}  // namespace
}  // namespace test
