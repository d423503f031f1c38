// SPDX-License-Identifier: Apache-2.0
#include "query/requirement_filter.h"

#include <cstring>

#include "support/module_test.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kTooEarly[] = "Not require because of dayDwLimit!";
constexpr char kTooLate[] = "Not require because of dayUpLimit!";
constexpr char kOtherLevel[] = "Not require because of level!";
constexpr char kOtherSlot[] = "Not require because of slot!";

JORN_REQUIRE days(int32_t lower, int32_t upper) {
    JORN_REQUIRE require = anything();
    require.dayDwLimit = lower;
    require.dayUpLimit = upper;
    return require;
}

JORN_REQUIRE levels(int32_t level, int32_t levelMode) {
    JORN_REQUIRE require = anything();
    require.level = level;
    require.levelMode = levelMode;
    return require;
}

JORN_REQUIRE slotOnly(int32_t slot) {
    JORN_REQUIRE require = anything();
    require.slot = slot;
    return require;
}

class RequirementFilterTest : public ModuleTest {
protected:
    static int32_t judge(const std::string &given, const JORN_REQUIRE &require) {
        return jorn_WhetherItemRequireOrNot(given.c_str(), &require);
    }

    /// Everything printed about a line at the highest print level.
    static std::vector<std::string> saidAbout(const std::string &given, const JORN_REQUIRE &require) {
        jorn_SetDebugPrintLevel(100);
        platform().clearLog();
        judge(given, require);
        return messages();
    }
};

// Lines that hold no item.

TEST_F(RequirementFilterTest, Filter_BlankLine_IsRejectedWithoutAWord) {
    for (const char *blank : {"\n", "\r\n", "\r", "\r1700000000,1,2,x\n"}) {
        EXPECT_EQ(judge(blank, anything()), -1);
        EXPECT_THAT(saidAbout(blank, anything()), IsEmpty());
    }
}

TEST_F(RequirementFilterTest, Filter_EmptyLine_IsRejectedByTheParser) {
    EXPECT_EQ(judge("", anything()), -1);
    EXPECT_THAT(messages(), ElementsAre("Time info error!", "Error: item info analyse failed: "));
}

TEST_F(RequirementFilterTest, Filter_LineWithoutLevel_IsReportedWithItsLineEnd) {
    EXPECT_EQ(judge("1700000000\n", anything()), -1);
    EXPECT_THAT(messages(),
                ElementsAre("Level info error!", "Error: item info analyse failed: 1700000000\n"));
}

TEST_F(RequirementFilterTest, Filter_LineWithoutSlot_IsReportedWithItsLineEnd) {
    EXPECT_EQ(judge("1700000000,2\n", anything()), -1);
    EXPECT_THAT(messages(),
                ElementsAre("Slot info error!", "Error: item info analyse failed: 1700000000,2\n"));
}

TEST_F(RequirementFilterTest, Filter_LineThatDoesNotParse_IsReportedFromLevelOne) {
    expectMessageAt(1, "Error: item info analyse failed: bad\n", [] { judge("bad\n", anything()); });
}

TEST_F(RequirementFilterTest, Filter_LongestPieceThatDoesNotParse_IsReportedWhole) {
    const std::string piece(256, 'x');
    judge(piece, anything());
    EXPECT_THAT(messages(), ElementsAre("Level info error!", "Error: item info analyse failed: " + piece));
}

TEST_F(RequirementFilterTest, Filter_FieldsThatAreNoNumbers_CountAsZero) {
    EXPECT_EQ(judge("abc,def,ghi,x\n", days(0, 0)), 0);
    EXPECT_EQ(judge("abc,def,ghi,x\n", levels(0, 1)), 0);
    EXPECT_EQ(judge("abc,def,ghi,x\n", slotOnly(0)), 0);
}

TEST_F(RequirementFilterTest, Filter_LineWithoutText_IsJudgedByItsNumbers) {
    EXPECT_EQ(judge("1700000000,1,2\n", slotOnly(2)), 0);
    EXPECT_EQ(judge("1700000000,1,2\n", slotOnly(3)), -1);
}

TEST_F(RequirementFilterTest, Filter_PieceOf256Characters_IsJudgedByItsNumbers) {
    const std::string start = "1700000000,1,2,";
    const std::string piece = start + std::string(256 - start.size(), '\xff');
    EXPECT_EQ(judge(piece, slotOnly(2)), 0);
    EXPECT_EQ(judge(piece, slotOnly(3)), -1);
}

TEST_F(RequirementFilterTest, Filter_WantedItem_SaysNothing) {
    EXPECT_EQ(judge(line(1700000000, 1, 2, "x"), anything()), 0);
    EXPECT_THAT(saidAbout(line(1700000000, 1, 2, "x"), anything()), IsEmpty());
}

// Days.

struct DayRow {
    const char *name;
    int32_t lower;
    int32_t upper;
    uint32_t time;
    const char *rejection;  ///< Null when the item is wanted.
};

class RequirementFilterDayTest : public RequirementFilterTest,
                                 public ::testing::WithParamInterface<DayRow> {};

TEST_P(RequirementFilterDayTest, Filter_Day_IsWantedOrRejected) {
    const DayRow &row = GetParam();
    const std::string item = line(row.time, 1, 2, "x");
    EXPECT_EQ(judge(item, days(row.lower, row.upper)), row.rejection == nullptr ? 0 : -1);
    const std::vector<std::string> expected =
        row.rejection == nullptr ? std::vector<std::string>{} : std::vector<std::string>{row.rejection};
    EXPECT_EQ(saidAbout(item, days(row.lower, row.upper)), expected);
}

INSTANTIATE_TEST_SUITE_P(
    , RequirementFilterDayTest,
    ::testing::Values(DayRow{"LastSecondBefore", 100, 100, 8639999, kTooEarly},
                      DayRow{"FirstSecondOfTheDay", 100, 100, 8640000, nullptr},
                      DayRow{"LastSecondOfTheDay", 100, 100, 8726399, nullptr},
                      DayRow{"FirstSecondAfter", 100, 100, 8726400, kTooLate},
                      DayRow{"LowerOnlyBefore", 100, -1, 8639999, kTooEarly},
                      DayRow{"LowerOnlyAt", 100, -1, 8640000, nullptr},
                      DayRow{"LowerOnlyFarAfter", 100, -1, 4294967295U, nullptr},
                      DayRow{"UpperOnlyFarBefore", -1, 100, 0, nullptr},
                      DayRow{"UpperOnlyAt", -1, 100, 8726399, nullptr},
                      DayRow{"UpperOnlyAfter", -1, 100, 8726400, kTooLate},
                      DayRow{"BothOpenFirstSecond", -1, -1, 0, nullptr},
                      DayRow{"BothOpenLastSecond", -1, -1, 4294967295U, nullptr},
                      DayRow{"SmallestLimitsAreOpen", INT32_MIN, INT32_MIN, 8640000, nullptr},
                      DayRow{"DayZero", 0, 0, 86399, nullptr},
                      DayRow{"DayAfterDayZero", 0, 0, 86400, kTooLate},
                      DayRow{"LastDay", 49710, 49710, 4294967295U, nullptr},
                      DayRow{"BeforeTheLastDay", 49710, 49710, 4294943999U, kTooEarly},
                      DayRow{"LastDayBeyondTheUpperLimit", -1, 49709, 4294967295U, kTooLate},
                      DayRow{"DayBeyond31Bits", 24855, 24855, 2147483648U, nullptr},
                      DayRow{"LargestLowerLimit", INT32_MAX, -1, 4294967295U, kTooEarly},
                      DayRow{"LargestUpperLimit", -1, INT32_MAX, 4294967295U, nullptr},
                      DayRow{"ContradictingBelow", 101, 100, 8640000, kTooEarly},
                      DayRow{"ContradictingAbove", 101, 100, 8726400, kTooLate}),
    [](const auto &row) { return row.param.name; });

// Levels.

struct LevelRow {
    int32_t level;
    int32_t levelMode;
    int32_t itemLevel;
    bool isWanted;
};

class RequirementFilterLevelTest : public RequirementFilterTest,
                                   public ::testing::WithParamInterface<LevelRow> {};

TEST_P(RequirementFilterLevelTest, Filter_Level_IsWantedOrRejected) {
    const LevelRow &row = GetParam();
    const std::string item = line(1700000000, row.itemLevel, 2, "x");
    EXPECT_EQ(judge(item, levels(row.level, row.levelMode)), row.isWanted ? 0 : -1)
        << "level " << row.level << " mode " << row.levelMode << " item " << row.itemLevel;
}

INSTANTIATE_TEST_SUITE_P(BelowDebug, RequirementFilterLevelTest,
                         ::testing::Values(LevelRow{-1, 0, 0, true}, LevelRow{-1, 0, 2, true},
                                           LevelRow{-1, 0, 3, false}, LevelRow{-1, 0, 4, false},
                                           LevelRow{-1, 0, INT32_MAX, false}, LevelRow{-1, 0, -1, true},
                                           LevelRow{-1, 0, INT32_MIN, true}, LevelRow{-1, 1, 0, true},
                                           LevelRow{-1, 1, 2, true}, LevelRow{-1, 1, 3, false},
                                           LevelRow{-1, -1, 3, false}, LevelRow{INT32_MIN, 7, 2, true},
                                           LevelRow{INT32_MIN, 7, 3, false}));

INSTANTIATE_TEST_SUITE_P(UpToALevel, RequirementFilterLevelTest,
                         ::testing::Values(LevelRow{3, 0, 3, true}, LevelRow{3, 0, 0, true},
                                           LevelRow{3, 0, 4, false}, LevelRow{0, 0, 0, true},
                                           LevelRow{0, 0, 1, false}, LevelRow{0, 0, -1, true},
                                           LevelRow{2, -7, 2, true}, LevelRow{2, -7, 1, true},
                                           LevelRow{2, -7, 3, false}, LevelRow{100, 0, 100, true},
                                           LevelRow{100, 0, 3, true}, LevelRow{100, 0, 101, false},
                                           LevelRow{INT32_MAX, INT32_MIN, INT32_MAX, true}));

INSTANTIATE_TEST_SUITE_P(ExactlyOneLevel, RequirementFilterLevelTest,
                         ::testing::Values(LevelRow{2, 7, 2, true}, LevelRow{2, 7, 1, false},
                                           LevelRow{2, 7, 3, false}, LevelRow{2, 1, 2, true},
                                           LevelRow{2, 1, 1, false}, LevelRow{0, 1, 0, true},
                                           LevelRow{0, 1, -1, false}, LevelRow{3, 1, 3, true},
                                           LevelRow{3, 1, 2, false}, LevelRow{100, 1, 100, true},
                                           LevelRow{100, INT32_MAX, 99, false}));

TEST_F(RequirementFilterTest, Filter_DebugLevelNotAskedFor_TellsTheItemsLevel) {
    EXPECT_THAT(saidAbout(line(1, 3, 2, "x"), levels(-1, 0)),
                ElementsAre("Not require because level=3, >=debug-level!"));
    EXPECT_THAT(saidAbout(line(1, 77, 2, "x"), levels(-5, 1)),
                ElementsAre("Not require because level=77, >=debug-level!"));
}

TEST_F(RequirementFilterTest, Filter_OtherLevel_SaysTheSameInBothModes) {
    EXPECT_THAT(saidAbout(line(1, 2, 2, "x"), levels(1, 0)), ElementsAre(kOtherLevel));
    EXPECT_THAT(saidAbout(line(1, 2, 2, "x"), levels(1, 1)), ElementsAre(kOtherLevel));
}

// Slots.

TEST_F(RequirementFilterTest, Filter_OtherLevel_EachModePrintsFromALineOfItsOwn) {
    saidAbout(line(1700000000, 3, 2, "x"), levels(2, 1));
    const std::string exactPrefix = platform().pieces().at(0);
    saidAbout(line(1700000000, 3, 2, "x"), levels(2, 0));
    const std::string upToPrefix = platform().pieces().at(0);
    EXPECT_NE(exactPrefix, upToPrefix);
}

TEST_F(RequirementFilterTest, Filter_NegativeSlot_WantsEverySlot) {
    for (const int32_t slot : {0, 7, 8, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(judge(line(1, 1, slot, "x"), slotOnly(-3)), 0) << slot;
        EXPECT_EQ(judge(line(1, 1, slot, "x"), slotOnly(INT32_MIN)), 0) << slot;
    }
}

TEST_F(RequirementFilterTest, Filter_SlotZero_WantsSlotZeroOnly) {
    EXPECT_EQ(judge(line(1, 1, 0, "x"), slotOnly(0)), 0);
    EXPECT_EQ(judge(line(1, 1, 1, "x"), slotOnly(0)), -1);
    EXPECT_EQ(judge(line(1, 1, -1, "x"), slotOnly(0)), -1);
}

TEST_F(RequirementFilterTest, Filter_SlotBeyondAllObjects_WantsExactlyThat) {
    EXPECT_EQ(judge(line(1, 1, 9, "x"), slotOnly(9)), 0);
    EXPECT_EQ(judge(line(1, 1, 8, "x"), slotOnly(9)), -1);
}

// Messages, and the order of the tests.

TEST_F(RequirementFilterTest, Filter_Rejections_AreToldFromLevelEight) {
    const std::string item = line(dayStart(100), 2, 2, "x");
    expectMessageAt(8, kTooEarly, [&] { judge(item, days(101, -1)); });
    expectMessageAt(8, kTooLate, [&] { judge(item, days(-1, 99)); });
    expectMessageAt(8, kOtherLevel, [&] { judge(item, levels(1, 0)); });
    expectMessageAt(8, kOtherLevel, [&] { judge(item, levels(1, 1)); });
    expectMessageAt(8, "Not require because level=3, >=debug-level!",
                    [&] { judge(line(1, 3, 2, "x"), anything()); });
    expectMessageAt(8, kOtherSlot, [&] { judge(item, slotOnly(1)); });
}

TEST_F(RequirementFilterTest, Filter_SeveralReasons_TellsTheFirstOnly) {
    const std::string item = line(dayStart(100), 2, 2, "x");
    EXPECT_THAT(saidAbout(item, {20, 1, 101, 99, 1, 1, 1}), ElementsAre(kTooEarly));
    EXPECT_THAT(saidAbout(item, {20, 1, 100, 99, 1, 1, 1}), ElementsAre(kTooLate));
    EXPECT_THAT(saidAbout(item, {20, 1, 100, 100, 1, 1, 1}), ElementsAre(kOtherLevel));
    EXPECT_THAT(saidAbout(item, {20, 1, 100, 100, 2, 1, 1}), ElementsAre(kOtherSlot));
    EXPECT_THAT(saidAbout(item, {20, 1, 100, 100, 2, 1, 2}), IsEmpty());
}

TEST_F(RequirementFilterTest, Filter_PageFields_AreNotRead) {
    JORN_REQUIRE require = anything();
    require.itemsPerPage = -5;
    require.pageDisp = 0;
    EXPECT_EQ(judge(line(1, 1, 1, "x"), require), 0);
}

TEST_F(RequirementFilterTest, Filter_AnyLine_LeavesItsArgumentsAndCallsNothing) {
    char given[] = "1700000000,1,2,a,b\n";
    const JORN_REQUIRE require = days(0, 49710);
    const JORN_REQUIRE copy = require;
    EXPECT_EQ(jorn_WhetherItemRequireOrNot(given, &require), 0);
    EXPECT_EQ(memcmp(given, "1700000000,1,2,a,b\n", sizeof given), 0);
    EXPECT_EQ(memcmp(&require, &copy, sizeof require), 0);
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(RequirementFilterTest, Record_Layout_IsSevenWordsInTheirOrder) {
    EXPECT_EQ(sizeof(JORN_REQUIRE), 28U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, itemsPerPage), 0U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, pageDisp), 4U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, dayDwLimit), 8U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, dayUpLimit), 12U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, level), 16U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, levelMode), 20U);
    EXPECT_EQ(offsetof(JORN_REQUIRE, slot), 24U);
}

}  // namespace
}  // namespace test
