// SPDX-License-Identifier: Apache-2.0
#include "query/file_locator.h"

#include "support/module_test.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int32_t kNoAnswer = 77;

class FileLocatorTest : public ModuleTest {
protected:
    /// An object over a ring of this size; the files' days are set by setDays().
    HandMadeObject ringOf(int32_t csvNum, int32_t oldest, int32_t latest) {
        HandMadeObject object(dir_.path(), csvNum);
        object.setRange(oldest, latest);
        return object;
    }
};

/// The file's first item is late on its first day and its last one early on its last day, so that a
/// comparison of seconds cannot pass for one of days.
void setDays(HandMadeObject &object, int32_t position, uint32_t firstDay, uint32_t lastDay) {
    JORN_CSV_INFO &info = object.info(position);
    info.itemCount = 1;
    info.timeMin = dayStart(firstDay) + (firstDay == lastDay ? 10 : 86399);
    info.timeMax = dayStart(lastDay) + (firstDay == lastDay ? 20 : 0);
}

/// Ten files of one day each: day 100 at the oldest position, day 109 at the latest.
void setTenDays(HandMadeObject &object) {
    for (int32_t i = 0; i < 10; ++i) {
        const uint32_t day = 100 + static_cast<uint32_t>(i);
        setDays(object, (object->csv_oldest + i) % object->csv_num, day, day);
    }
}

struct Located {
    int32_t result;
    int32_t oldestSide;
    int32_t newestSide;

    bool operator==(const Located &other) const {
        return result == other.result && oldestSide == other.oldestSide && newestSide == other.newestSide;
    }
};

std::ostream &operator<<(std::ostream &out, const Located &located) {
    return out << located.result << " [" << located.oldestSide << "," << located.newestSide << "]";
}

constexpr Located kNotFound = {-1, -1, -1};

Located found(int32_t oldestSide, int32_t newestSide) { return {0, oldestSide, newestSide}; }

Located locate(JORN_OBJ *obj, int32_t dayDwLimit, int32_t dayUpLimit) {
    JORN_REQUIRE require = anything();
    require.dayDwLimit = dayDwLimit;
    require.dayUpLimit = dayUpLimit;
    int32_t range[2] = {kNoAnswer, kNoAnswer};
    const int32_t result = jorn_FindCsvByTime(obj, &require, range);
    return {result, range[0], range[1]};
}

// One day per file.

struct LimitRow {
    const char *name;
    int32_t lower;
    int32_t upper;
    Located expected;
};

class FileLocatorLimitTest : public FileLocatorTest, public ::testing::WithParamInterface<LimitRow> {};

TEST_P(FileLocatorLimitTest, Find_TenFilesOfADay_GivesTheFilesOfTheLimits) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    EXPECT_EQ(locate(object.get(), GetParam().lower, GetParam().upper), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    , FileLocatorLimitTest,
    ::testing::Values(
        LimitRow{"BothOpen", -1, -1, {0, 0, 9}},
        LimitRow{"SmallestLimitsAreOpen", INT32_MIN, INT32_MIN, {0, 0, 9}},
        LimitRow{"Middle", 103, 105, {0, 3, 5}}, LimitRow{"OneDay", 103, 103, {0, 3, 3}},
        LimitRow{"FirstDay", 100, 100, {0, 0, 0}}, LimitRow{"LastDay", 109, 109, {0, 9, 9}},
        LimitRow{"WholeRange", 100, 109, {0, 0, 9}}, LimitRow{"BeyondBothEnds", 0, INT32_MAX, {0, 0, 9}},
        LimitRow{"OneDayBeyondBothEnds", 99, 110, {0, 0, 9}}, LimitRow{"LowerOnly", 104, -1, {0, 4, 9}},
        LimitRow{"LowerOnlyAtTheLastDay", 109, -1, {0, 9, 9}},
        LimitRow{"LowerOnlyBeforeTheFirstDay", 99, -1, {0, 0, 9}}, LimitRow{"UpperOnly", -1, 104, {0, 0, 4}},
        LimitRow{"UpperOnlyAtTheFirstDay", -1, 100, {0, 0, 0}},
        LimitRow{"UpperOnlyAfterTheLastDay", -1, 110, {0, 0, 9}},
        LimitRow{"UpperOnlyBeforeTheFirstDay", -1, 99, {-1, -1, -1}},
        LimitRow{"LowerOnlyAfterTheLastDay", 110, -1, {-1, -1, -1}},
        LimitRow{"LargestLowerLimit", INT32_MAX, -1, {-1, -1, -1}},
        LimitRow{"UpperLimitZero", -1, 0, {-1, -1, -1}}, LimitRow{"Contradicting", 105, 104, {-1, -1, -1}},
        LimitRow{"BothBefore", 50, 60, {-1, -1, -1}}, LimitRow{"BothAfter", 110, 120, {-1, -1, -1}}),
    [](const auto &row) { return row.param.name; });

// Files over several days, and days between files.

TEST_F(FileLocatorTest, Find_DaySharedByTwoFiles_GivesBoth) {
    HandMadeObject object = ringOf(4, 0, 2);
    setDays(object, 0, 100, 102);
    setDays(object, 1, 102, 104);
    setDays(object, 2, 105, 106);
    EXPECT_EQ(locate(object.get(), 102, 102), found(0, 1));
}

TEST_F(FileLocatorTest, Find_DayWithinAFile_GivesThatFile) {
    HandMadeObject object = ringOf(4, 0, 1);
    setDays(object, 0, 100, 104);
    setDays(object, 1, 105, 109);
    EXPECT_EQ(locate(object.get(), 101, 103), found(0, 0));
    EXPECT_EQ(locate(object.get(), 101, 107), found(0, 1));
}

TEST_F(FileLocatorTest, Find_FirstDayOfAll_IsALimitLikeAnyOther) {
    HandMadeObject object = ringOf(4, 0, 1);
    setDays(object, 0, 0, 0);
    setDays(object, 1, 5, 5);
    EXPECT_EQ(locate(object.get(), -1, 0), found(0, 0));
    EXPECT_EQ(locate(object.get(), 0, 0), found(0, 0));
    EXPECT_EQ(locate(object.get(), 0, -1), found(0, 1));
}

TEST_F(FileLocatorTest, Find_DayBetweenTwoFiles_FindsNone) {
    HandMadeObject object = ringOf(4, 0, 1);
    setDays(object, 0, 100, 100);
    setDays(object, 1, 105, 105);
    EXPECT_EQ(locate(object.get(), 102, 103), kNotFound);
    EXPECT_THAT(messages(), ElementsAre("Can not find CSV file, dayDwLimit=102"));
}

TEST_F(FileLocatorTest, Find_LowerWalk_StopsAtTheFirstFileThatEndsTooEarly) {
    HandMadeObject object = ringOf(4, 0, 3);
    setDays(object, 0, 100, 200);
    setDays(object, 1, 101, 101);
    setDays(object, 2, 150, 150);
    setDays(object, 3, 160, 160);
    EXPECT_EQ(locate(object.get(), 150, -1), found(2, 3));
}

TEST_F(FileLocatorTest, Find_UpperWalk_StopsAtTheFirstFileThatBeginsEarlyEnough) {
    HandMadeObject object = ringOf(4, 0, 3);
    setDays(object, 0, 100, 100);
    setDays(object, 1, 101, 101);
    setDays(object, 2, 90, 150);
    setDays(object, 3, 160, 160);
    EXPECT_EQ(locate(object.get(), -1, 101), found(0, 2));
}

TEST_F(FileLocatorTest, Find_OneFile_ServesItsDays) {
    HandMadeObject object = ringOf(2, 1, 1);
    setDays(object, 1, 100, 109);
    EXPECT_EQ(locate(object.get(), -1, -1), found(1, 1));
    EXPECT_EQ(locate(object.get(), 109, 109), found(1, 1));
    EXPECT_EQ(locate(object.get(), -1, 99), kNotFound);
}

// Rings that wrap.

TEST_F(FileLocatorTest, Find_WrappedRing_GivesPositionsThroughTheWrap) {
    HandMadeObject object = ringOf(10, 7, 2);  // days 100 to 105 at 7, 8, 9, 0, 1, 2
    for (uint32_t i = 0; i < 6; ++i) {
        setDays(object, static_cast<int32_t>((7 + i) % 10), 100 + i, 100 + i);
    }
    EXPECT_EQ(locate(object.get(), -1, -1), found(7, 2));
    EXPECT_EQ(locate(object.get(), 102, 103), found(9, 0));
    EXPECT_EQ(locate(object.get(), 103, 104), found(0, 1));
    EXPECT_EQ(locate(object.get(), -1, 101), found(7, 8));
    EXPECT_EQ(locate(object.get(), 105, -1), found(2, 2));
}

TEST_F(FileLocatorTest, Find_WrappedRing_NeverLooksOutsideTheRange) {
    HandMadeObject object = ringOf(10, 7, 2);
    for (int32_t position = 3; position < 7; ++position) {
        setDays(object, position, 1, 999);
    }
    for (uint32_t i = 0; i < 6; ++i) {
        setDays(object, static_cast<int32_t>((7 + i) % 10), 100 + i, 100 + i);
    }
    EXPECT_EQ(locate(object.get(), 50, 60), kNotFound);
    EXPECT_EQ(locate(object.get(), 500, 600), kNotFound);
    EXPECT_EQ(locate(object.get(), 0, 600), found(7, 2));
}

TEST_F(FileLocatorTest, Find_LargestRingFullyWrapped_IsWalkedOnce) {
    HandMadeObject object = ringOf(90, 45, 44);
    for (uint32_t i = 0; i < 90; ++i) {
        setDays(object, static_cast<int32_t>((45 + i) % 90), 100 + i, 100 + i);
    }
    EXPECT_EQ(locate(object.get(), -1, -1), found(45, 44));
    EXPECT_EQ(locate(object.get(), 144, 145), found(89, 0));
    EXPECT_EQ(locate(object.get(), 10, 99), kNotFound);
}

// Empty and missing files.

TEST_F(FileLocatorTest, Find_EmptyFileOnTheWayFromAbove_QualifiesForTheUpperSide) {
    HandMadeObject object = ringOf(4, 0, 3);
    setDays(object, 0, 100, 100);
    setDays(object, 1, 101, 101);
    setDays(object, 3, 103, 103);
    EXPECT_EQ(locate(object.get(), -1, 101), found(0, 2));
}

TEST_F(FileLocatorTest, Find_EmptyFileOnTheWayDown_EndsTheWalkForTheLowerSide) {
    HandMadeObject object = ringOf(4, 0, 3);
    setDays(object, 0, 100, 100);
    setDays(object, 2, 102, 102);
    setDays(object, 3, 103, 103);
    EXPECT_EQ(locate(object.get(), 100, -1), found(2, 3));
    EXPECT_EQ(locate(object.get(), 0, -1), found(0, 3));
}

TEST_F(FileLocatorTest, Find_EmptyOldestFile_OpensTheLowerSideAtDayZero) {
    HandMadeObject object = ringOf(4, 0, 1);
    setDays(object, 1, 101, 101);
    EXPECT_EQ(locate(object.get(), -1, 50), found(0, 0));
}

TEST_F(FileLocatorTest, Find_EmptyLatestFile_ClosesTheUpperSideAtDayZero) {
    HandMadeObject object = ringOf(4, 0, 1);
    setDays(object, 0, 100, 100);
    EXPECT_EQ(locate(object.get(), -1, -1), kNotFound);
    EXPECT_THAT(messages(),
                ElementsAre("dayUpLimit=0, dayDwLimit=100",
                            probe::kBare + std::string("Error! Required date is not exist!\r\n")));
}

TEST_F(FileLocatorTest, Find_NothingStored_GivesTheEmptyFileForOpenLimits) {
    HandMadeObject object = ringOf(4, 0, 0);
    EXPECT_EQ(locate(object.get(), -1, -1), found(0, 0));
    EXPECT_EQ(locate(object.get(), 0, 0), found(0, 0));
    EXPECT_EQ(locate(object.get(), 1, 1), kNotFound);
}

// Times up to the last second.

TEST_F(FileLocatorTest, Find_DaysBeyond31BitsOfSeconds_AreFound) {
    HandMadeObject object = ringOf(4, 0, 2);
    setDays(object, 0, 24854, 24855);
    setDays(object, 1, 24856, 49709);
    setDays(object, 2, 49710, 49710);
    EXPECT_EQ(locate(object.get(), 49710, 49710), found(2, 2));
    EXPECT_EQ(locate(object.get(), 24855, 24856), found(0, 1));
    EXPECT_EQ(locate(object.get(), -1, -1), found(0, 2));
}

TEST_F(FileLocatorTest, Find_LastSecond_IsDay49710) {
    HandMadeObject object = ringOf(2, 0, 0);
    object.info(0).timeMin = 4294967295U;
    object.info(0).timeMax = 4294967295U;
    EXPECT_EQ(locate(object.get(), -1, 49709), kNotFound);
    EXPECT_EQ(locate(object.get(), 49710, -1), found(0, 0));
    EXPECT_EQ(locate(object.get(), 49711, -1), kNotFound);
}

// Messages.

TEST_F(FileLocatorTest, Find_UpperBeforeTheOldest_TellsBothDaysAndTheError) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    locate(object.get(), -1, 99);
    EXPECT_THAT(messages(),
                ElementsAre("dayUpLimit=99, dayDwLimit=100",
                            probe::kBare + std::string("Error! Required date is not exist!\r\n")));
}

TEST_F(FileLocatorTest, Find_LowerAfterTheNewest_TellsBothDaysAndTheError) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    locate(object.get(), 110, -1);
    EXPECT_THAT(messages(),
                ElementsAre("dayUpLimit=109, dayDwLimit=110",
                            probe::kBare + std::string("Error! Required date is not exist!\r\n")));
}

TEST_F(FileLocatorTest, Find_Contradiction_IsReportedFromLevelOne) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    const auto contradict = [&] { locate(object.get(), 105, 104); };
    expectMessageAt(1, "dayUpLimit=104, dayDwLimit=105", contradict);
    expectMessageAt(1, probe::kBare + std::string("Error! Required date is not exist!\r\n"), contradict);
}

TEST_F(FileLocatorTest, Find_NoFileBeginsEarlyEnough_IsReportedFromLevelOne) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    locate(object.get(), 50, 60);
    EXPECT_THAT(messages(), ElementsAre("Can not find CSV file, dayUpLimit=60"));
    expectMessageAt(1, "Can not find CSV file, dayUpLimit=60", [&] { locate(object.get(), 50, 60); });
}

TEST_F(FileLocatorTest, Find_NewestFileEndsTooEarly_IsReportedFromLevelOne) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    locate(object.get(), 110, 120);
    EXPECT_THAT(messages(), ElementsAre("Can not find CSV file, dayDwLimit=110"));
    expectMessageAt(1, "Can not find CSV file, dayDwLimit=110", [&] { locate(object.get(), 110, 120); });
}

TEST_F(FileLocatorTest, Find_NullObject_FailsAndLeavesTheRange) {
    EXPECT_EQ(locate(nullptr, -1, -1), (Located{-1, kNoAnswer, kNoAnswer}));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileLocatorTest, Find_AnyRange_OpensNoFileAndSaysNothing) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    jorn_SetDebugPrintLevel(100);
    EXPECT_EQ(locate(object.get(), 103, 105), found(3, 5));
    EXPECT_THAT(platform().calls(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileLocatorTest, Find_OtherFieldsOfTheRequirement_AreNotRead) {
    HandMadeObject object = ringOf(10, 0, 9);
    setTenDays(object);
    const JORN_REQUIRE require = {-1, 0, 103, 105, 99, 99, 99};
    int32_t range[2];
    EXPECT_EQ(jorn_FindCsvByTime(object.get(), &require, range), 0);
    EXPECT_THAT(range, ElementsAre(3, 5));
}

TEST_F(FileLocatorTest, Find_PositionsOutsideTheRing_GivesPositionsInside) {
    for (const int32_t strange : {-1, -7, 10, 89, 90, INT32_MIN, INT32_MAX}) {
        HandMadeObject object = ringOf(10, strange, strange);
        const Located located = locate(object.get(), -1, -1);
        EXPECT_EQ(located.result, 0) << strange;
        EXPECT_TRUE(located.oldestSide >= 0 && located.oldestSide < 10) << located.oldestSide;
        EXPECT_EQ(located.newestSide, located.oldestSide);
    }
}

}  // namespace
}  // namespace test
