// SPDX-License-Identifier: Apache-2.0
// One item from end to end: handle 2, level 1, slot 5, "door open" at 1700000000, with the bytes at each
// stage of its way.
#include <posixPort.h>
#include <tickLib.h>

#include "registry/registry.h"
#include "support/module_test.h"
#include "support/utc_zone.h"

namespace {

using test::platform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kInitLineOfTwo[] = "1699990000,3,0,Log start init!\n";
constexpr char kDoorLine[] = "1700000000,1,5,door open\n";

/// Two objects at rest, "one" with handle 1 and "two" with handle 2; the time is that of the item.
class TypicalItemTest : public test::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        platform().setTime(1699990000);
        jorn_SetDebugPrintLevel(0);
        ASSERT_EQ(JORN_Create((dir_.path() + "/one").c_str(), 8, 3), 1);
        ASSERT_EQ(JORN_Create((dir_.path() + "/two").c_str(), 8, 3), 2);
        settle();
        jorn_SetDebugPrintLevel(1);
        platform().setTime(1700000000);
        platform().clearLog();
    }

    static void submit() { ASSERT_EQ(JORN_AddOneLog(2, 1, 5, "door open"), 0); }

    /// Lets ticks pass until the store task waits again; nothing else is logged.
    static void ticks(int count) {
        platform().clearLog();
        for (int i = 0; i < count; ++i) {
            tickAnnounce();
        }
        posixPortSettle();
    }

    static void submitAndStore() {
        submit();
        settle();
    }

    const test::UtcZone utc_;
};

TEST_F(TypicalItemTest, Submission_Accepted_QueueReceivesItsTextAndNoFileIsTouched) {
    submit();
    EXPECT_THAT(platform().calls(), ElementsAre("time", "msgQSend 28 0 0 2,1700000000,1,5,door open\n"));
    EXPECT_EQ(dir_.read("two/0.csv"), kInitLineOfTwo);
}

TEST_F(TypicalItemTest, StoreTask_99TicksLater_StillPauses) {
    submit();
    ticks(99);
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(TypicalItemTest, StoreTask_100TicksLater_AppendsTheLineUnderTheMutex) {
    submit();
    ticks(100);
    EXPECT_THAT(platform().calls(), ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1",
                                                "fopen 0.csv a", "fwrite 25x1", "semGive", "taskDelay 100"));
}

TEST_F(TypicalItemTest, StoreTask_100TicksLater_SummaryCountsTheItem) {
    submit();
    ticks(100);
    const JORN_CSV_INFO &info = FindObj(2)->csv_info[0];
    EXPECT_EQ(info.itemCount, 2U);
    EXPECT_EQ(info.timeMin, 1699990000U);
    EXPECT_EQ(info.timeMax, 1700000000U);
    EXPECT_EQ(info.timeLast, 1700000000U);
    EXPECT_EQ(info.levelStat[1].levelCount, 1U);
    EXPECT_EQ(info.levelStat[1].slotCount[5], 1U);
}

TEST_F(TypicalItemTest, StoreTask_200TicksLater_ClosesTheFile) {
    submit();
    ticks(100);
    ticks(100);
    EXPECT_THAT(platform().calls(), ElementsAre("msgQNumMsgs", "fclose", "taskDelay 100"));
}

TEST_F(TypicalItemTest, StoreTask_Done_FileHoldsTheLineWithoutItsHandle) {
    submitAndStore();
    EXPECT_EQ(dir_.read("two/0.csv"), std::string(kInitLineOfTwo) + kDoorLine);
    EXPECT_THAT(dir_.names(), ElementsAre("one", "two"));
}

TEST_F(TypicalItemTest, StoreTask_Done_IndexAndTheOtherObjectAreAsBefore) {
    submitAndStore();
    EXPECT_EQ(dir_.read("two/index.csv"), "version:1\n0,0\n");
    EXPECT_EQ(dir_.read("one/0.csv"), kInitLineOfTwo);
    EXPECT_EQ(FindObj(1)->csv_info[0].itemCount, 1U);
}

TEST_F(TypicalItemTest, StoreTask_Done_PrintsNothing) {
    jorn_SetDebugPrintLevel(INT32_MAX);
    submitAndStore();
    EXPECT_THAT(platform().pieces(), IsEmpty());
}

TEST_F(TypicalItemTest, Query_FirstPageOfTen_GivesTheItemAsTexts) {
    submitAndStore();
    JORN_REQUIRE require = test::anything();
    require.itemsPerPage = 10;
    JORN_LOG_PAGE page = {};
    EXPECT_EQ(JORN_GetRequireLog(2, require, &page), 1);
    ASSERT_EQ(page.itemsNum, 1);
    EXPECT_STREQ(page.disp[0].timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_STREQ(page.disp[0].levelStr, "1");
    EXPECT_STREQ(page.disp[0].slotStr, "5");
    EXPECT_STREQ(page.disp[0].logStr, "door open\n");
}

TEST_F(TypicalItemTest, Query_NewerItemsDoNotMatch_StillGivesTheItemFirst) {
    ASSERT_EQ(JORN_AddOneLog(2, 1, 5, "door closed"), 0);
    submit();
    ASSERT_EQ(JORN_AddOneLog(2, 3, 5, "debug"), 0);
    settle();
    JORN_LOG_PAGE page = {};
    EXPECT_EQ(JORN_GetRequireLog(2, test::anything(), &page), 1);
    EXPECT_THAT(test::texts(page), ElementsAre("door open", "door closed"));
}

TEST_F(TypicalItemTest, Query_ByItsDayLevelAndSlot_CountsTheItem) {
    submitAndStore();
    const JORN_REQUIRE exact = {10, 1, 19675, 19675, 1, 1, 5};  // 1700000000 is on day 19675
    EXPECT_EQ(JORN_CountRequireTotalNum(2, exact), 1);
    JORN_REQUIRE otherSlot = exact;
    otherSlot.slot = 4;
    EXPECT_EQ(JORN_CountRequireTotalNum(2, otherSlot), 0);
    JORN_REQUIRE otherDay = exact;
    otherDay.dayDwLimit = otherDay.dayUpLimit = 19676;
    EXPECT_EQ(JORN_CountRequireTotalNum(2, otherDay), -1);
}

TEST_F(TypicalItemTest, Query_FileStillOpen_SeesTheItemOnceItIsClosed) {
    submit();
    ticks(100);
    EXPECT_EQ(JORN_CountRequireTotalNum(2, test::anything()), 0);
    ticks(100);
    EXPECT_EQ(JORN_CountRequireTotalNum(2, test::anything()), 1);
}

TEST_F(TypicalItemTest, Query_OtherObject_DoesNotSeeTheItem) {
    submitAndStore();
    EXPECT_EQ(JORN_CountRequireTotalNum(1, test::anything()), 0);
}

}  // namespace
