// SPDX-License-Identifier: Apache-2.0
#include "query/expression_pool.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace test {
namespace {

using tool::ExpressionPool;

constexpr int64_t kUsual = ExpressionPool::kUsualBytes;

TEST(ExpressionPoolTest, Get_SameAgain_IsShared) {
    ExpressionPool pool;
    const auto expression = pool.get("door", false);
    EXPECT_EQ(pool.get("door", false), expression);
    EXPECT_NE(pool.get("door", true), expression);
    EXPECT_FALSE(RE2::PartialMatch("DOOR", *expression));
    EXPECT_TRUE(RE2::PartialMatch("DOOR", *pool.get("door", true)));
    EXPECT_EQ(pool.bytes(), 2 * kUsual);
}

TEST(ExpressionPoolTest, Get_ManyOneAfterTheOther_ThoseAskedForLastAreKept) {
    ExpressionPool pool(4 * kUsual + 1);
    std::vector<std::weak_ptr<const RE2>> expressions;
    for (int i = 0; i < 50; ++i) {
        expressions.emplace_back(pool.get("door" + std::to_string(i), false));
        EXPECT_NE(pool.get("door0", false), nullptr);
        EXPECT_LE(pool.bytes(), 4 * kUsual);
    }
    EXPECT_EQ(pool.get("door0", false), expressions[0].lock());
    for (size_t i = 1; i < expressions.size(); ++i) {
        EXPECT_EQ(expressions[i].expired(), i < 47) << i;
    }
}

TEST(ExpressionPoolTest, Get_AllInUse_IsNullUntilOneIsGivenBack) {
    ExpressionPool pool(2 * kUsual);
    auto door = pool.get("door", false);
    const auto gate = pool.get("gate", false);
    EXPECT_EQ(pool.get("lamp", false), nullptr);
    EXPECT_EQ(pool.get("door", false), door);
    door.reset();
    EXPECT_NE(pool.get("lamp", false), nullptr);
    EXPECT_EQ(pool.bytes(), 2 * kUsual);
}

TEST(ExpressionPoolTest, Get_LargeExpression_TakesMoreAndMayBeTooLarge) {
    ExpressionPool pool;
    EXPECT_TRUE(pool.get("\\pL{100}", false)->ok());
    EXPECT_EQ(pool.bytes(), ExpressionPool::kMostBytesEach);
    EXPECT_EQ(pool.get("\\pL{1000}", false)->error_code(), RE2::ErrorPatternTooLarge);
    EXPECT_EQ(pool.bytes(), ExpressionPool::kMostBytesEach);
}

TEST(ExpressionPoolTest, Get_NoExpression_HasItsErrorAndTakesNothing) {
    ExpressionPool pool;
    EXPECT_EQ(pool.get("door(", false)->error(), "missing ): door(");
    EXPECT_EQ(pool.bytes(), 0);
}

TEST(ExpressionPoolTest, Bytes_PoolIsGone_ExpressionInUseRemains) {
    std::shared_ptr<const RE2> door;
    {
        ExpressionPool pool;
        door = pool.get("door", false);
    }
    EXPECT_TRUE(RE2::PartialMatch("a door", *door));
}

}  // namespace
}  // namespace test
