// SPDX-License-Identifier: Apache-2.0
#include "csvfile/tidying_plan.h"

#include <gmock/gmock.h>

#include "csvfile/csvfile_support.h"

namespace test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct Directory {
    DataFiles files;
    mutable std::vector<int32_t> asked;
};

bool hasFile(int32_t position, const void *context) {
    const Directory &directory = *static_cast<const Directory *>(context);
    directory.asked.push_back(position);
    return directory.files.count(position) != 0;
}

Directory directoryOf(const std::vector<int> &positions) {
    Directory directory;
    for (const int position : positions) {
        directory.files[position] = "x";
    }
    return directory;
}

std::vector<int> upTo(int last) {
    std::vector<int> positions;
    for (int position = 0; position <= last; ++position) {
        positions.push_back(position);
    }
    return positions;
}

/// "1>0 2>1 " and so on up to a position.
std::string everyFileOneDown(int last) {
    std::string text;
    for (int position = 1; position <= last; ++position) {
        text += std::to_string(position) + ">" + std::to_string(position - 1) + " ";
    }
    return text;
}

jorn::TidyingPlan plan(const jorn::RingBefore &ring, const Directory &directory) {
    jorn::TidyingPlan made;
    jorn::planTidying(ring, hasFile, &directory, &made);
    return made;
}

/// What moves, by position: "0>1" for a new position, "3x" for a deletion; then the new range.
std::string outcome(const jorn::TidyingPlan &plan) {
    std::string text;
    for (int position = 0; position < 90; ++position) {
        const int32_t entry = plan.moveTable[position];
        if (entry != position) {
            text += std::to_string(position) + (entry == 90 ? "x" : ">" + std::to_string(entry)) + " ";
        }
    }
    return text + "[" + std::to_string(plan.oldest) + "," + std::to_string(plan.latest) + "]";
}

struct Row {
    const char *name;
    jorn::RingBefore ring;
    std::vector<int> files;
    std::string outcome;
};

class TidyingPlanRowTest : public ::testing::TestWithParam<Row> {};

TEST_P(TidyingPlanRowTest, PlanTidying_Row_GivesItsMovesAndRange) {
    EXPECT_EQ(outcome(plan(GetParam().ring, directoryOf(GetParam().files))), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Whole, TidyingPlanRowTest,
    ::testing::Values(Row{"Full", {0, 4, 5}, {0, 1, 2, 3, 4}, "[0,4]"},
                      Row{"FullWrapped", {3, 2, 5}, {0, 1, 2, 3, 4}, "[3,2]"},
                      Row{"FullWrappedToTheLast", {1, 0, 2}, {0, 1}, "[1,0]"},
                      Row{"PartlyFilled", {0, 2, 5}, {0, 1, 2}, "[0,2]"},
                      Row{"OneFile", {0, 0, 5}, {0}, "[0,0]"}, Row{"NothingYet", {0, 0, 2}, {}, "[0,0]"},
                      Row{"LargestRing", {0, 89, 90}, upTo(89), "[0,89]"},
                      Row{"LargestRingWrapped", {45, 44, 90}, upTo(89), "[45,44]"},
                      Row{"OlderFilesOutsideTheRangeStay", {3, 5, 10}, {0, 1, 2, 3, 4, 5}, "[3,5]"},
                      Row{"ClearedRing", {3, 3, 5}, {0, 1, 2, 3, 4}, "[3,3]"}),
    [](const auto &row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Gaps, TidyingPlanRowTest,
    ::testing::Values(Row{"MiddleMissing", {0, 2, 5}, {0, 2}, "0>1 [1,2]"},
                      Row{"LatestMissing", {0, 2, 5}, {0, 1}, "0>1 1>2 [1,2]"},
                      Row{"OldestMissing", {0, 2, 5}, {1, 2}, "[1,2]"},
                      Row{"AllMissing", {2, 4, 5}, {}, "[4,4]"},
                      Row{"TwoGaps", {0, 4, 5}, {0, 2, 4}, "0>2 2>3 [2,4]"},
                      Row{"OnlyOlderFilesLeft", {2, 4, 5}, {0, 1}, "0>3 1>4 [4,4]"},
                      Row{"OlderFileMovesButStaysOutside", {2, 4, 5}, {0, 1, 4}, "0>2 1>3 [4,4]"},
                      Row{"GapAcrossTheWrap", {3, 1, 5}, {1, 3, 4}, "3>4 4>0 [4,1]"},
                      Row{"TargetsWrapBelowZero", {3, 0, 5}, {3, 4}, "3>4 4>0 [4,0]"}),
    [](const auto &row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Surplus, TidyingPlanRowTest,
    ::testing::Values(
        Row{"ReducedRing", {2, 8, 5}, {2, 3, 4, 5, 6, 7, 8}, "2x 3x 4>0 5>1 6>2 7>3 8>4 [0,4]"},
        Row{"ReducedWrappedRing", {7, 2, 5}, upTo(9), "3x 4x 5x 6x 7x 8>3 9>4 [3,2]"},
        Row{"LatestEqualToRingSize", {0, 5, 5}, upTo(5), "0x 1>0 2>1 3>2 4>3 5>4 [0,4]"},
        Row{"LatestLastOfRing", {0, 4, 5}, upTo(5), "5x [0,4]"},
        Row{"FileAboveTheRing", {0, 4, 5}, {0, 1, 2, 3, 4, 50}, "50x [0,4]"},
        Row{"FileAboveAPartlyFilledRing", {0, 2, 5}, {0, 1, 2, 50}, "50>4 [0,2]"},
        Row{"ReducedToTwoFromTheLastPosition", {88, 89, 2}, {0, 1, 89}, "0x 1>0 89>1 [1,1]"},
        Row{"ReducedLargestRing", {0, 89, 89}, upTo(89), "0x " + everyFileOneDown(89) + "[0,88]"}),
    [](const auto &row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Grown, TidyingPlanRowTest,
    ::testing::Values(Row{"UnwrappedRing", {0, 4, 10}, upTo(4), "[0,4]"},
                      Row{"WrappedRing", {2, 1, 10}, upTo(4), "2>7 3>8 4>9 [7,1]"},
                      Row{"WrappedRingWithAFileOutside", {3, 1, 10}, upTo(4), "2>7 3>8 4>9 [8,1]"}),
    [](const auto &row) { return row.param.name; });

// The former span is counted over 90 positions, not over the ring: this shows where a file beyond the ring is
// on the way.
INSTANTIATE_TEST_SUITE_P(
    Span, TidyingPlanRowTest,
    ::testing::Values(Row{"FileAtTheEndOfTheSpan", {1, 3, 5}, {1, 3}, "1>2 [2,3]"},
                      Row{"FileOneBeyondTheSpan", {2, 3, 5}, {1, 3}, "1>2 [3,3]"},
                      Row{"SpanOfOneVisit", {3, 3, 5}, {2, 3}, "[3,3]"},
                      Row{"WrappedSpanIsModulo90", {4, 1, 5}, {0, 1, 4}, "[4,1]"},
                      Row{"WrappedSpanReachesItsOldest", {60, 1, 5}, {1, 60}, "60>0 [0,1]"},
                      Row{"WrappedSpanEndsAtItsOldest", {61, 1, 5}, {1, 60}, "60>0 [1,1]"}),
    [](const auto &row) { return row.param.name; });

// An oldest position that no ring has: the span alone decides what stays visible.
INSTANTIATE_TEST_SUITE_P(StrangeOldest, TidyingPlanRowTest,
                         ::testing::Values(Row{"MinusOne", {-1, 3, 5}, {0, 1, 2, 3}, "[0,3]"},
                                           Row{"MinusOneAndNoFileThere", {-1, 3, 5}, {3}, "[3,3]"},
                                           Row{"Smallest", {INT32_MIN, 2, 5}, upTo(4), "[3,2]"},
                                           Row{"AboveTheRing", {7, 3, 5}, {0, 1, 2, 3}, "[0,3]"},
                                           Row{"AtNinety", {90, 3, 5}, {0, 1, 2, 3}, "[0,3]"}),
                         [](const auto &row) { return row.param.name; });

// A latest position that no ring has: the survey starts above every file, the last of a full ring included.
INSTANTIATE_TEST_SUITE_P(StrangeLatest, TidyingPlanRowTest,
                         ::testing::Values(Row{"BelowTheLargestRing", {0, -1, 90}, upTo(89), "[0,89]"},
                                           Row{"AboveTheLargestRing", {0, 90, 90}, upTo(89), "[0,89]"}),
                         [](const auto &row) { return row.param.name; });

TEST(TidyingPlanTest, PlanTidying_AnyRing_AsksForEach90PositionsOnceFromTheLatestDown) {
    const Directory directory = directoryOf({0, 1, 2});
    plan({0, 2, 5}, directory);
    std::vector<int32_t> expected = {2, 1, 0};
    for (int32_t position = 89; position > 2; --position) {
        expected.push_back(position);
    }
    EXPECT_EQ(directory.asked, expected);
}

struct StrangeRange {
    int32_t oldest;
    int32_t latest;
};

class TidyingPlanStrangeRangeTest : public ::testing::TestWithParam<StrangeRange> {};

TEST_P(TidyingPlanStrangeRangeTest, PlanTidying_WholeRing_EndsInsideAndTouchesNoFile) {
    const jorn::TidyingPlan made = plan({GetParam().oldest, GetParam().latest, 5}, directoryOf(upTo(4)));
    EXPECT_THAT(outcome(made), StartsWith("["));
    EXPECT_TRUE(made.oldest >= 0 && made.oldest < 5) << made.oldest;
    EXPECT_TRUE(made.latest >= 0 && made.latest < 5) << made.latest;
}

TEST_P(TidyingPlanStrangeRangeTest, PlanTidying_AnyFiles_PlansWithinTheRingAndDeletesNone) {
    const jorn::TidyingPlan made = plan({GetParam().oldest, GetParam().latest, 5}, directoryOf({1, 4, 60}));
    EXPECT_THAT(outcome(made), Not(HasSubstr("x")));
    for (const int position : {1, 4, 60}) {
        EXPECT_TRUE(made.moveTable[position] >= 0 && made.moveTable[position] < 5) << position;
    }
}

INSTANTIATE_TEST_SUITE_P(
    , TidyingPlanStrangeRangeTest,
    ::testing::Values(StrangeRange{-1, -1}, StrangeRange{0, -1}, StrangeRange{3, -2}, StrangeRange{-7, 2},
                      StrangeRange{90, 90}, StrangeRange{0, 90}, StrangeRange{90, 0}, StrangeRange{-1, 90},
                      StrangeRange{90, -1}, StrangeRange{5, 5}, StrangeRange{89, 89},
                      StrangeRange{INT32_MIN, INT32_MIN}, StrangeRange{INT32_MIN, INT32_MAX},
                      StrangeRange{INT32_MAX, INT32_MIN}, StrangeRange{INT32_MAX, INT32_MAX},
                      StrangeRange{INT32_MAX, 2}, StrangeRange{0, INT32_MAX}, StrangeRange{0, INT32_MIN}));

TEST(TidyingPlanTest, PlanTidying_DirectoriesOfAllKinds_AgreesWithTheModel) {
    RingGenerator generator(20231114);
    for (int i = 0; i < 5000; ++i) {
        const UntidyRing ring = generator.next();
        Directory directory;
        directory.files = ring.files;
        const TidyRing expected = tidyStepByStep(ring);
        const jorn::TidyingPlan made = plan(
            {static_cast<int32_t>(ring.oldest), static_cast<int32_t>(ring.latest), ring.csvNum}, directory);
        ASSERT_EQ(made.latest, expected.latest) << "directory " << i;
        ASSERT_EQ(made.oldest, expected.oldest) << "directory " << i;
        for (int position = 0; position < 90; ++position) {
            ASSERT_EQ(made.moveTable[position], expected.entries.at(position))
                << "directory " << i << " position " << position;
        }
    }
}

}  // namespace
}  // namespace test
