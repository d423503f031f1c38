// SPDX-License-Identifier: Apache-2.0
#include "csvfile/file_summary.h"

#include <gtest/gtest.h>

#include <vector>

#include "csvfile/csvfile_support.h"

namespace test {
namespace {

constexpr jorn::ItemLimits kWhole = {4, 8};

using Fold = void (*)(const JORN_ITEM_INFO &item, jorn::ItemLimits limits, JORN_CSV_INFO *info);

std::string folded(Fold fold, const std::vector<JORN_ITEM_INFO> &items,
                   const jorn::ItemLimits &limits = kWhole) {
    JORN_CSV_INFO info = {};
    for (const JORN_ITEM_INFO &item : items) {
        fold(item, limits, &info);
    }
    return describe(info);
}

class FoldTest : public ::testing::TestWithParam<Fold> {};

TEST_P(FoldTest, Fold_ItemsOfSeveralLevelsAndSlots_CountsEachOnce) {
    EXPECT_EQ(folded(GetParam(), {{20, 1, 5, ""}, {10, 0, 0, ""}, {30, 1, 5, ""}, {25, 3, 7, ""}}),
              "4 items, 10 to 30, last 25; level 0: 1 (slot 0: 1); level 1: 2 (slot 5: 2); "
              "level 3: 1 (slot 7: 1)");
}

TEST_P(FoldTest, Fold_LevelsAroundTheLimits_CountInNoLevelOutside) {
    EXPECT_EQ(folded(GetParam(), {{5, -1, 0, ""}, {5, 2, 0, ""}, {5, 1, 0, ""}, {5, 3, 0, ""}}, {2, 8}),
              "4 items, 5 to 5, last 5; level 1: 1 (slot 0: 1)");
}

TEST_P(FoldTest, Fold_SlotsAroundTheLimits_CountInTheirLevelOnly) {
    EXPECT_EQ(folded(GetParam(), {{5, 1, -1, ""}, {5, 1, 2, ""}, {5, 1, 3, ""}, {5, 1, 8, ""}}, {4, 3}),
              "4 items, 5 to 5, last 5; level 1: 4 (slot 2: 1)");
}

TEST_P(FoldTest, Fold_LimitsOfAWholeSummary_ReachItsLastCounters) {
    EXPECT_EQ(folded(GetParam(), {{5, 3, 7, ""}, {5, 4, 7, ""}, {5, 3, 8, ""}}),
              "3 items, 5 to 5, last 5; level 3: 2 (slot 7: 1)");
}

INSTANTIATE_TEST_SUITE_P(, FoldTest, ::testing::Values(&jorn::foldReadItem, &jorn::foldAppendedItem),
                         [](const auto &row) {
                             return row.param == &jorn::foldReadItem ? "Read" : "Appended";
                         });

TEST(FileSummaryFoldTest, FoldReadItem_TimeZero_IsTakenAsNoSmallestTime) {
    EXPECT_EQ(folded(&jorn::foldReadItem, {{0, 0, 0, ""}, {9, 0, 0, ""}}),
              "2 items, 9 to 9, last 9; level 0: 2 (slot 0: 2)");
}

TEST(FileSummaryFoldTest, FoldAppendedItem_TimeZero_IsATimeLikeAnyOther) {
    EXPECT_EQ(folded(&jorn::foldAppendedItem, {{0, 0, 0, ""}, {9, 0, 0, ""}}),
              "2 items, 0 to 9, last 9; level 0: 2 (slot 0: 2)");
}

}  // namespace
}  // namespace test
