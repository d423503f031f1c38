// SPDX-License-Identifier: Apache-2.0
// How a line becomes a record.
#include <cstddef>
#include <cstring>

#include "query/retrieval_support.h"

namespace test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RecordTest : public RetrievalTest {
protected:
    void SetUp() override {
        RetrievalTest::SetUp();
        memset(&record_, kUntouched, sizeof record_);
    }

    int32_t breakDown(const std::string &given) {
        return jorn_BreakDownOneItemString(given.c_str(), &record_);
    }

    JORN_LOG_DISP record_;
};

/// A field's bytes, with everything after its text 0.
template <size_t size>
std::string bytesOf(const char (&field)[size]) {
    return {field, size};
}

std::string filled(const std::string &text, size_t size) {
    return text + std::string(size - text.size(), '\0');
}

TEST_F(RecordTest, BreakDown_LineAsWritten_GivesTimeLevelSlotAndText) {
    EXPECT_EQ(breakDown("1700000000,2,5,boot done\n"), 0);
    EXPECT_STREQ(record_.timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_STREQ(record_.levelStr, "2");
    EXPECT_STREQ(record_.slotStr, "5");
    EXPECT_STREQ(record_.logStr, "boot done\n");
}

TEST_F(RecordTest, BreakDown_ShortFields_AreFilledWithNuls) {
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_EQ(bytesOf(record_.levelStr), filled("2", 16));
    EXPECT_EQ(bytesOf(record_.slotStr), filled("5", 12));
}

TEST_F(RecordTest, BreakDown_TimeText_LosesItsLineFeed) {
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_EQ(record_.timeStr[24], '\0');
    EXPECT_EQ(strlen(record_.timeStr), 24U);
}

TEST_F(RecordTest, BreakDown_OtherTimeZone_ShowsLocalTime) {
    UtcTime::set("XYZ-2");
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, "Wed Nov 15 00:13:20 2023");
}

struct TimeRow {
    const char *field;
    const char *timeStr;
};

class RecordTimeTest : public RecordTest, public ::testing::WithParamInterface<TimeRow> {};

TEST_P(RecordTimeTest, BreakDown_Time_IsShownAsItsDate) {
    EXPECT_EQ(breakDown(std::string(GetParam().field) + ",2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, GetParam().timeStr);
}

INSTANTIATE_TEST_SUITE_P(, RecordTimeTest,
                         ::testing::Values(TimeRow{"0", "Thu Jan  1 00:00:00 1970"},
                                           TimeRow{"abc", "Thu Jan  1 00:00:00 1970"},
                                           TimeRow{"2147483647", "Tue Jan 19 03:14:07 2038"},
                                           TimeRow{"2147483648", "Tue Jan 19 03:14:08 2038"},
                                           TimeRow{"4294967295", "Sun Feb  7 06:28:15 2106"}));

TEST_F(RecordTest, BreakDown_TimeTextOf28AndMore_IsCutAt27Characters) {
    // The last second that the C library can show: its year has ten digits.
    EXPECT_EQ(breakDown("67767976233532799,2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, "Tue Dec 31 23:59:59 2147483");
    EXPECT_STREQ(record_.levelStr, "2");
}

TEST_F(RecordTest, BreakDown_TimeAcrossTheLastCharacterOfALine_IsReadUpToIt) {
    EXPECT_EQ(breakDown(std::string(255, ' ') + "12,2,5,x\n"), -1);
    EXPECT_STREQ(record_.timeStr, "Thu Jan  1 00:00:01 1970");
}

TEST_F(RecordTest, BreakDown_LongTimeTextAndNoLevel_LeavesTheFieldsBehindIt) {
    EXPECT_EQ(breakDown("67767976233532799"), -1);
    EXPECT_TRUE(isUntouched(record_.levelStr));
}

TEST_F(RecordTest, BreakDown_TimeBeyondTheCalendar_GivesAnEmptyTimeText) {
    EXPECT_EQ(breakDown("9223372036854775807,2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, "");
    EXPECT_STREQ(record_.logStr, "x\n");
}

TEST_F(RecordTest, BreakDown_TimeCannotBeShown_GivesAnEmptyTimeTextAndTheRest) {
    platform().fail("ctime");
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_THAT(record_.timeStr, Each('\0'));
    EXPECT_STREQ(record_.levelStr, "2");
    EXPECT_STREQ(record_.slotStr, "5");
    EXPECT_STREQ(record_.logStr, "x\n");
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RecordTest, BreakDown_TimeCannotBeShown_TouchesNothingBeforeTheRecord) {
    struct {
        unsigned char before;
        JORN_LOG_DISP record;
    } guarded;
    static_assert(offsetof(decltype(guarded), record) == 1, "nothing may lie between");
    memset(&guarded, kUntouched, sizeof guarded);
    platform().fail("ctime");
    EXPECT_EQ(jorn_BreakDownOneItemString("1700000000,2,5,x\n", &guarded.record), 0);
    EXPECT_EQ(guarded.before, kUntouched);
}

TEST_F(RecordTest, BreakDown_LevelText_IsCopiedAsItStands) {
    EXPECT_EQ(breakDown("1, -01z,+5 ,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, " -01z");
    EXPECT_STREQ(record_.slotStr, "+5 ");
}

TEST_F(RecordTest, BreakDown_LevelsAroundTheFieldsSize_AreCutAt15) {
    EXPECT_EQ(breakDown("1,abcdefghijklmno,2,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, "abcdefghijklmno");
    EXPECT_EQ(breakDown("1,abcdefghijklmnop,2,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, "abcdefghijklmno");
    EXPECT_EQ(breakDown("1,abcdefghijklmnopqrstuvwxyz,2,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, "abcdefghijklmno");
    EXPECT_STREQ(record_.slotStr, "2");
}

TEST_F(RecordTest, BreakDown_SlotsAroundTheFieldsSize_AreCutAt11) {
    EXPECT_EQ(breakDown("1,1,-2147483648,x\n"), 0);
    EXPECT_STREQ(record_.slotStr, "-2147483648");
    EXPECT_EQ(breakDown("1,1,abcdefghijkl,x\n"), 0);
    EXPECT_STREQ(record_.slotStr, "abcdefghijk");
    EXPECT_STREQ(record_.logStr, "x\n");
}

TEST_F(RecordTest, BreakDown_LongestStoredText_IsKeptWithItsLineFeed) {
    EXPECT_EQ(breakDown("1,1,1," + std::string(198, 't') + "\n"), 0);
    EXPECT_EQ(record_.logStr, std::string(198, 't') + "\n");
}

TEST_F(RecordTest, BreakDown_LongerTexts_AreCutAt199) {
    EXPECT_EQ(breakDown("1,1,1," + std::string(199, 't') + "\n"), 0);
    EXPECT_EQ(record_.logStr, std::string(199, 't'));
    EXPECT_EQ(breakDown("1,1,1," + std::string(250, 'u')), 0);
    EXPECT_EQ(record_.logStr, std::string(199, 'u'));
}

TEST_F(RecordTest, BreakDown_LongestPiece_IsTakenToItsLastCharacter) {
    const std::string start = "1," + std::string(100, 'v') + ",1,";
    const std::string text = std::string(256 - start.size() - 1, 't') + "!";
    EXPECT_EQ(breakDown(start + text), 0);
    EXPECT_EQ(record_.logStr, text);
}

TEST_F(RecordTest, BreakDown_CommasInTheText_AreKept) {
    EXPECT_EQ(breakDown("1,2,3,a,b,,c\n"), 0);
    EXPECT_STREQ(record_.logStr, "a,b,,c\n");
}

TEST_F(RecordTest, BreakDown_LineWithoutText_GivesAnEmptyText) {
    EXPECT_EQ(breakDown("1700000000,2,5\n"), 0);
    EXPECT_STREQ(record_.slotStr, "5\n");
    EXPECT_STREQ(record_.logStr, "");
    memset(&record_, kUntouched, sizeof record_);
    EXPECT_EQ(breakDown("1700000000,2,5"), 0);
    EXPECT_STREQ(record_.slotStr, "5");
    EXPECT_STREQ(record_.logStr, "");
}

TEST_F(RecordTest, BreakDown_EmptyFieldsBefore_AreNotSeen) {
    EXPECT_EQ(breakDown(",,5,1,x,y\n"), 0);
    EXPECT_STREQ(record_.levelStr, "1");
    EXPECT_STREQ(record_.slotStr, "x");
    EXPECT_STREQ(record_.logStr, "y\n");
}

TEST_F(RecordTest, BreakDown_AnyLine_LeavesTheLineAsItIs) {
    char given[] = "1700000000,2,5,a,b\n";
    EXPECT_EQ(jorn_BreakDownOneItemString(given, &record_), 0);
    EXPECT_EQ(bytesOf(given), std::string("1700000000,2,5,a,b\n", sizeof given));
}

TEST_F(RecordTest, BreakDown_NoField_FailsAndLeavesTheRecord) {
    for (const char *given : {"", ",", ",,,"}) {
        platform().clearLog();
        EXPECT_EQ(breakDown(given), -1);
        EXPECT_TRUE(isUntouched(record_));
        EXPECT_THAT(messages(), ElementsAre("Time string error!\n"));
    }
}

TEST_F(RecordTest, BreakDown_NoLevel_FailsAndKeepsTheTime) {
    EXPECT_EQ(breakDown("1700000000,"), -1);
    EXPECT_STREQ(record_.timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_TRUE(isUntouched(record_.levelStr));
    EXPECT_TRUE(isUntouched(record_.slotStr));
    EXPECT_TRUE(isUntouched(record_.logStr));
    EXPECT_THAT(messages(), ElementsAre("Level string error!\n"));
}

TEST_F(RecordTest, BreakDown_NoSlot_FailsAndKeepsTimeAndLevel) {
    EXPECT_EQ(breakDown("1700000000,2\n"), -1);
    EXPECT_STREQ(record_.timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_STREQ(record_.levelStr, "2\n");
    EXPECT_TRUE(isUntouched(record_.slotStr));
    EXPECT_TRUE(isUntouched(record_.logStr));
    EXPECT_THAT(messages(), ElementsAre("Slot string error!\n"));
}

TEST_F(RecordTest, BreakDown_MissingFields_AreReportedFromLevelOne) {
    expectMessageAt(1, "Time string error!\n", [&] { breakDown(""); });
    expectMessageAt(1, "Level string error!\n", [&] { breakDown("1"); });
    expectMessageAt(1, "Slot string error!\n", [&] { breakDown("1,2"); });
}

TEST_F(RecordTest, Get_StoredItem_GivesItsRecord) {
    handle_ = createAtRest(4);
    platform().setTime(4294967295U);
    ASSERT_EQ(JORN_AddOneLog(handle_, 1, 5, "door open, left"), 0);
    settle();
    ASSERT_EQ(get(anything()), 1);
    EXPECT_EQ(page_.itemsNum, 1);
    EXPECT_STREQ(page_.disp[0].timeStr, "Sun Feb  7 06:28:15 2106");
    EXPECT_STREQ(page_.disp[0].levelStr, "1");
    EXPECT_STREQ(page_.disp[0].slotStr, "5");
    EXPECT_STREQ(page_.disp[0].logStr, "door open, left\n");
}

}  // namespace
}  // namespace test
