// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include <cstring>

#include "csvfile/csvfile_support.h"
#include "support/module_test.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kUnsetTime = 77;
constexpr int32_t kUnsetLevel = 88;
constexpr int32_t kUnsetSlot = 99;
constexpr char kUnsetText[] = "unset";

JORN_ITEM_INFO unsetItem() { return {kUnsetTime, kUnsetLevel, kUnsetSlot, kUnsetText}; }

struct GoodLine {
    const char *name;
    std::string line;
    uint32_t time;
    int32_t level;
    int32_t slot;
};

class ItemParserGoodLineTest : public ModuleTest, public ::testing::WithParamInterface<GoodLine> {};

TEST_P(ItemParserGoodLineTest, AnalyseOneItemInfo_GoodLine_GivesItsNumbersWithoutAWord) {
    jorn_SetDebugPrintLevel(100);
    JORN_ITEM_INFO item = unsetItem();
    EXPECT_EQ(jorn_AnalyseOneItemInfo(GetParam().line.c_str(), &item), 0);
    EXPECT_EQ(item.time, GetParam().time);
    EXPECT_EQ(item.level, GetParam().level);
    EXPECT_EQ(item.slot, GetParam().slot);
    EXPECT_THAT(messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    , ItemParserGoodLineTest,
    ::testing::Values(GoodLine{"AsWritten", "1700000000,2,5,boot done\n", 1700000000, 2, 5},
                      GoodLine{"WithoutText", "1700000000,2,5\n", 1700000000, 2, 5},
                      GoodLine{"WithoutTextAndLineFeed", "1700000000,2,5", 1700000000, 2, 5},
                      GoodLine{"EmptyText", "1700000000,2,5,\n", 1700000000, 2, 5},
                      GoodLine{"CommasInText", "1,2,3,a,b,c", 1, 2, 3},
                      GoodLine{"TimeIsNoNumber", "abc,1,1,x", 0, 1, 1},
                      GoodLine{"LevelAndSlotAreNoNumbers", "5,one,two,x", 5, 0, 0},
                      GoodLine{"NumbersWithTrailingCharacters", "12abc,2z,3 4,x", 12, 2, 3},
                      GoodLine{"BlanksBeforeNumbers", " 7, 1,\t2,x", 7, 1, 2},
                      GoodLine{"EmptyFieldsFirst", ",,5,1,x", 5, 1, 0},
                      GoodLine{"EmptyFieldsBetween", "1,,2,,,3,x", 1, 2, 3},
                      GoodLine{"NegativeLevel", "1700000000,-1,0,x", 1700000000, -1, 0},
                      GoodLine{"NegativeSlot", "1700000000,0,-8,x", 1700000000, 0, -8},
                      GoodLine{"LevelAndSlotAboveTheLimits", "1,4,8,x", 1, 4, 8},
                      GoodLine{"LargestLevelAndSlot", "1,2147483647,2147483647,x", 1, INT32_MAX, INT32_MAX},
                      GoodLine{"SmallestLevelAndSlot", "1,-2147483648,-2147483648,x", 1, INT32_MIN,
                               INT32_MIN},
                      GoodLine{"LastSecondOf31Bits", "2147483647,1,2,x\n", 2147483647U, 1, 2},
                      GoodLine{"FirstSecondBeyond31Bits", "2147483648,1,2,x\n", 2147483648U, 1, 2},
                      GoodLine{"LastSecond", "4294967295,3,7,x\n", 4294967295U, 3, 7},
                      GoodLine{"FirstSecond", "0,0,0,x\n", 0, 0, 0},
                      GoodLine{"BytesAbove127", "\xff\x80,1,2,\xc3\xa4\n", 0, 1, 2},
                      GoodLine{"PieceOf255", padded("9,1,2,", 255), 9, 1, 2},
                      GoodLine{"PieceOf256", padded("9,1,2,", 256), 9, 1, 2},
                      GoodLine{"LineFarBeyondAPiece", padded("9,1,2,", 5000), 9, 1, 2}),
    [](const auto &row) { return row.param.name; });

struct BadLine {
    const char *name;
    std::string line;
    const char *message;
    uint32_t time;
    int32_t level;
};

class ItemParserBadLineTest : public ModuleTest, public ::testing::WithParamInterface<BadLine> {};

TEST_P(ItemParserBadLineTest, AnalyseOneItemInfo_MissingField_FailsAndKeepsTheFieldsBefore) {
    JORN_ITEM_INFO item = unsetItem();
    EXPECT_EQ(jorn_AnalyseOneItemInfo(GetParam().line.c_str(), &item), -1);
    EXPECT_EQ(item.time, GetParam().time);
    EXPECT_EQ(item.level, GetParam().level);
    EXPECT_EQ(item.slot, kUnsetSlot);
    EXPECT_EQ(item.text, kUnsetText);
    EXPECT_THAT(messages(), ElementsAre(GetParam().message));
}

TEST_P(ItemParserBadLineTest, AnalyseOneItemInfo_MissingField_IsReportedFromLevelOne) {
    expectMessageAt(1, GetParam().message, [&] {
        JORN_ITEM_INFO item;
        jorn_AnalyseOneItemInfo(GetParam().line.c_str(), &item);
    });
}

INSTANTIATE_TEST_SUITE_P(
    , ItemParserBadLineTest,
    ::testing::Values(
        BadLine{"Empty", "", "Time info error!", kUnsetTime, kUnsetLevel},
        BadLine{"OneComma", ",", "Time info error!", kUnsetTime, kUnsetLevel},
        BadLine{"CommasOnly", ",,,,,", "Time info error!", kUnsetTime, kUnsetLevel},
        BadLine{"OneField", "1700000000", "Level info error!", 1700000000, kUnsetLevel},
        BadLine{"OneFieldAndComma", "1700000000,", "Level info error!", 1700000000, kUnsetLevel},
        BadLine{"OneFieldAndLineFeed", "1700000000\n", "Level info error!", 1700000000, kUnsetLevel},
        BadLine{"PieceOf256WithoutComma", std::string(256, 'x'), "Level info error!", 0, kUnsetLevel},
        BadLine{"TwoFields", "1700000000,2", "Slot info error!", 1700000000, 2},
        BadLine{"TwoFieldsAndComma", "1700000000,2,", "Slot info error!", 1700000000, 2},
        BadLine{"TwoFieldsAndLineFeed", "1700000000,2\n", "Slot info error!", 1700000000, 2},
        BadLine{"NulBehindTheLevel", std::string("5,2\0,3,x\n", 9), "Slot info error!", 5, 2}),
    [](const auto &row) { return row.param.name; });

class ItemParserTest : public ModuleTest {};

TEST_F(ItemParserTest, AnalyseOneItemInfo_AnyLine_LeavesTheLineAsItIs) {
    char given[] = "1700000000,2,5,a,b,c\n";
    JORN_ITEM_INFO item;
    EXPECT_EQ(jorn_AnalyseOneItemInfo(given, &item), 0);
    EXPECT_EQ(memcmp(given, "1700000000,2,5,a,b,c\n", sizeof given), 0);
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_WithinTheCallersOwnSplitting_DoesNotDisturbIt) {
    char mine[] = "first;second";
    EXPECT_STREQ(strtok(mine, ";"), "first");
    JORN_ITEM_INFO item;
    EXPECT_EQ(jorn_AnalyseOneItemInfo("1,2,3,x", &item), 0);
    EXPECT_STREQ(strtok(nullptr, ";"), "second");
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_NumbersBeyondAllWidths_StillParses) {
    JORN_ITEM_INFO item = unsetItem();
    EXPECT_EQ(
        jorn_AnalyseOneItemInfo("99999999999999999999,99999999999999999999,-99999999999999999999,x", &item),
        0);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_SlotAcrossTheLastCharacter_SeesTheFirst255Characters) {
    JORN_ITEM_INFO item = unsetItem();
    EXPECT_EQ(jorn_AnalyseOneItemInfo((std::string(250, ',') + "1,2,3456\n").c_str(), &item), 0);
    EXPECT_EQ(item.slot, 3);
    EXPECT_EQ(jorn_AnalyseOneItemInfo((std::string(251, ',') + "1,2,3456\n").c_str(), &item), -1);
}

std::string textBehindTheSlot(const char *line) {
    jorn::LineSplitter splitter(line, 255);
    for (int field = 0; field < 3; ++field) {
        EXPECT_NE(splitter.nextField(), nullptr) << line;
    }
    return splitter.rest();
}

TEST(LineSplitterTest, Rest_AfterTheSlot_IsTheTextWithItsLineFeed) {
    EXPECT_EQ(textBehindTheSlot("1700000000,2,5,boot done\n"), "boot done\n");
}

TEST(LineSplitterTest, Rest_CommasInTheText_AreKept) {
    EXPECT_EQ(textBehindTheSlot("1,2,3,a,b,c"), "a,b,c");
    EXPECT_EQ(textBehindTheSlot("1,2,3,,a,\n"), ",a,\n");
}

TEST(LineSplitterTest, Rest_NoTextOnTheLine_IsEmpty) {
    EXPECT_EQ(textBehindTheSlot("1700000000,2,5\n"), "");
    EXPECT_EQ(textBehindTheSlot("1700000000,2,5"), "");
    EXPECT_EQ(textBehindTheSlot("1700000000,2,5,"), "");
}

TEST(LineSplitterTest, Rest_NoFieldTakenYet_IsEmpty) {
    const jorn::LineSplitter splitter("1,2,3,text", 255);
    EXPECT_STREQ(splitter.rest(), "");
}

TEST(LineSplitterTest, NextField_LineFeedAtTheEnd_StaysWithTheLastField) {
    jorn::LineSplitter splitter("1,2\n", 255);
    EXPECT_STREQ(splitter.nextField(), "1");
    EXPECT_STREQ(splitter.nextField(), "2\n");
    EXPECT_EQ(splitter.nextField(), nullptr);
}

TEST(LineSplitterTest, NextField_LineLongerThanAllowed_SeesTheAllowedCharactersOnly) {
    jorn::LineSplitter splitter("abc,def", 5);
    EXPECT_STREQ(splitter.nextField(), "abc");
    EXPECT_STREQ(splitter.nextField(), "d");
}

TEST(LineSplitterTest, NextField_LongestPiece_IsTakenWhole) {
    const std::string piece(256, '7');
    jorn::LineSplitter splitter(piece.c_str(), 256);
    EXPECT_EQ(splitter.nextField(), piece);
}

TEST(LineSplitterTest, NextField_EmptyLine_GivesNoFieldAndNoRest) {
    jorn::LineSplitter splitter("", 255);
    EXPECT_EQ(splitter.nextField(), nullptr);
    EXPECT_STREQ(splitter.rest(), "");
}

TEST(TimeToDayTest, TimeToDay_EdgesOfDays_ChangesAtMidnight) {
    EXPECT_EQ(jorn_TimeToDay(0), 0U);
    EXPECT_EQ(jorn_TimeToDay(86399), 0U);
    EXPECT_EQ(jorn_TimeToDay(86400), 1U);
    EXPECT_EQ(jorn_TimeToDay(172799), 1U);
    EXPECT_EQ(jorn_TimeToDay(172800), 2U);
}

TEST(TimeToDayTest, TimeToDay_TimesBeyond31Bits_AreUnsigned) {
    EXPECT_EQ(jorn_TimeToDay(2147483648U), 24855U);
    EXPECT_EQ(jorn_TimeToDay(4294943999U), 49709U);
    EXPECT_EQ(jorn_TimeToDay(4294944000U), 49710U);
    EXPECT_EQ(jorn_TimeToDay(4294967295U), 49710U);
}

}  // namespace
}  // namespace test
