// SPDX-License-Identifier: Apache-2.0
#include "ring.h"

#include <gtest/gtest.h>

#include <vector>

namespace test {
namespace {

/// Every size that a ring may have.
constexpr int32_t kSmallest = 2;
constexpr int32_t kLargest = 90;

std::vector<int32_t> positionsOf(const jorn::Ring &ring) {
    const jorn::RingRange range = ring.range();
    std::vector<int32_t> positions;
    for (int32_t i = range.oldest; i <= range.latest; ++i) {
        positions.push_back(ring.position(i));
    }
    return positions;
}

TEST(RingTest, Position_InTheRing_IsItself) {
    for (int32_t size = kSmallest; size <= kLargest; ++size) {
        for (int32_t position = 0; position < size; ++position) {
            EXPECT_EQ(jorn::ringPosition(size, position), position) << size;
        }
    }
}

TEST(RingTest, Position_AnyNumber_ComesIntoTheRing) {
    EXPECT_EQ(jorn::ringPosition(5, 5), 0);
    EXPECT_EQ(jorn::ringPosition(5, 9), 4);
    EXPECT_EQ(jorn::ringPosition(5, -1), 4);
    EXPECT_EQ(jorn::ringPosition(5, -5), 0);
    EXPECT_EQ(jorn::ringPosition(5, -6), 4);
    EXPECT_EQ(jorn::ringPosition(5, INT32_MAX), 2);
    EXPECT_EQ(jorn::ringPosition(5, INT32_MIN), 2);
    EXPECT_EQ(jorn::ringPosition(90, INT32_MIN), 52);
    EXPECT_EQ(jorn::ringPosition(1, INT32_MIN), 0);
}

TEST(RingTest, Successor_InTheRing_IsTheNextAndTheFirstAfterTheLast) {
    for (int32_t size = kSmallest; size <= kLargest; ++size) {
        for (int32_t position = 0; position + 1 < size; ++position) {
            EXPECT_EQ(jorn::ringSuccessor(size, position), position + 1) << size;
        }
        EXPECT_EQ(jorn::ringSuccessor(size, size - 1), 0);
    }
}

TEST(RingTest, Successor_AnyNumber_FollowsItsPositionWithoutOverflow) {
    EXPECT_EQ(jorn::ringSuccessor(5, 5), 1);
    EXPECT_EQ(jorn::ringSuccessor(5, -1), 0);
    EXPECT_EQ(jorn::ringSuccessor(5, -2), 4);
    EXPECT_EQ(jorn::ringSuccessor(5, INT32_MAX), 3);
    EXPECT_EQ(jorn::ringSuccessor(5, INT32_MIN), 3);
    EXPECT_EQ(jorn::ringSuccessor(1, INT32_MAX), 0);
}

TEST(RingTest, Range_NotWrapped_IsThePositionsThemselves) {
    const jorn::RingRange range = jorn::Ring{5, 1, 3}.range();
    EXPECT_EQ(range.oldest, 1);
    EXPECT_EQ(range.latest, 3);
}

TEST(RingTest, Range_Wrapped_IsCountedOnBeyondTheRing) {
    const jorn::RingRange range = jorn::Ring{5, 3, 1}.range();
    EXPECT_EQ(range.oldest, 3);
    EXPECT_EQ(range.latest, 6);
    EXPECT_EQ(positionsOf({5, 3, 1}), (std::vector<int32_t>{3, 4, 0, 1}));
}

TEST(RingTest, Range_OneFile_IsThatFile) {
    EXPECT_EQ(positionsOf({5, 0, 0}), (std::vector<int32_t>{0}));
    EXPECT_EQ(positionsOf({5, 4, 4}), (std::vector<int32_t>{4}));
}

TEST(RingTest, Range_LatestJustBeforeTheOldest_IsTheWholeRing) {
    for (int32_t size = kSmallest; size <= kLargest; ++size) {
        for (int32_t oldest = 0; oldest < size; ++oldest) {
            const std::vector<int32_t> positions = positionsOf({size, oldest, oldest - 1});
            ASSERT_EQ(positions.size(), static_cast<size_t>(size)) << oldest;
            EXPECT_EQ(positions.front(), oldest);
            for (size_t i = 0; i + 1 < positions.size(); ++i) {
                EXPECT_EQ(positions[i + 1], jorn::ringSuccessor(size, positions[i]));
            }
        }
    }
}

TEST(RingTest, Range_PositionsOutsideTheRing_AreBroughtIn) {
    EXPECT_EQ(positionsOf({5, -1, 7}), (std::vector<int32_t>{4, 0, 1, 2}));
    EXPECT_EQ(positionsOf({5, INT32_MIN, INT32_MAX}), (std::vector<int32_t>{2}));
}

}  // namespace
}  // namespace test
