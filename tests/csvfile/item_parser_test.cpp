// SPDX-License-Identifier: Apache-2.0
#include "csvfile/item_parser.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "csvfile/csvfile_support.h"
#include "csvfile/every_text.h"
#include "model/library_model.h"
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

// The same as the C library

void expectParseAsLibrary(const std::string &line) {
    const ModelParse wanted = libraryParse(line.c_str());
    JORN_ITEM_INFO item = unsetItem();
    const int32_t result = jorn_AnalyseOneItemInfo(line.c_str(), &item);
    const bool isSame =
        result == (wanted.isItem() ? 0 : -1) && item.time == wanted.time.value_or(kUnsetTime) &&
        item.level == wanted.level.value_or(kUnsetLevel) && item.slot == wanted.slot.value_or(kUnsetSlot) &&
        item.text == (wanted.isItem() ? line.c_str() + libraryTextOffset(line.c_str()) : kUnsetText);
    // Compared in one expression, because millions of comparisons run emulated.
    EXPECT_TRUE(isSame) << ::testing::PrintToString(line) << ": " << item.time << " " << item.level << " "
                        << item.slot;
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_EveryShortLine_IsWhatTheLibraryMakesOfIt) {
    jorn_SetDebugPrintLevel(0);
    constexpr char kAlphabet[] = ",07-+ \tx\n";
    for (size_t length = 0; length <= 5; ++length) {
        EveryText lines(kAlphabet, sizeof kAlphabet, length);
        do {
            expectParseAsLibrary(lines.text());
        } while (lines.next());
    }
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_EveryShortFieldInEachPlace_IsWhatTheLibraryMakesOfIt) {
    jorn_SetDebugPrintLevel(0);
    constexpr char kAlphabet[] = "09-+ \v\r.";
    EveryText fields(kAlphabet, sizeof kAlphabet - 1, 4);
    do {
        expectParseAsLibrary(fields.text() + ",1,2,x");
        expectParseAsLibrary("1," + fields.text() + "," + fields.text() + "\n");
    } while (fields.next());
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_EveryByteAroundANumber_IsWhatTheLibraryMakesOfIt) {
    jorn_SetDebugPrintLevel(0);
    for (int byte = 1; byte < 256; ++byte) {
        for (std::string line : {"@1,@-2,@+3,x", "1@2,-3@4,5@6,x", "-@7,+@8,@@9"}) {
            std::replace(line.begin(), line.end(), '@', static_cast<char>(byte));
            expectParseAsLibrary(line);
        }
    }
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_AnyByteAtEachPlaceOfATypicalLine_IsWhatTheLibraryMakesOfIt) {
    jorn_SetDebugPrintLevel(0);
    const std::string typical = "1700000000,1,5,x\n";
    for (size_t place = 0; place < typical.size(); ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string line = typical;
            line[place] = static_cast<char>(byte);
            expectParseAsLibrary(line);
            line.insert(place, 1, typical[place]);
            expectParseAsLibrary(line);
        }
        expectParseAsLibrary(typical.substr(0, place));
    }
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_NumbersAroundEveryLimit_AreWhatTheLibraryMakesOfThem) {
    jorn_SetDebugPrintLevel(0);
    for (const char *const number : {"999999999",
                                     "1000000000",
                                     "3999999999",
                                     "4000000000",
                                     "9999999999",
                                     "10000000000",
                                     "2147483647",
                                     "2147483648",
                                     "2147483649",
                                     "4294967295",
                                     "4294967296",
                                     "999999999999999999",
                                     "1844674407370955160",
                                     "1844674407370955161",
                                     "1844674407370955162",
                                     "9223372036854775806",
                                     "9223372036854775807",
                                     "9223372036854775808",
                                     "9223372036854775809",
                                     "18446744073709551606",
                                     "18446744073709551615",
                                     "18446744073709551616",
                                     "92233720368547758070",
                                     "99999999999999999999",
                                     "123456789012345678901234567890"}) {
        for (const std::string sign : {"", "-", "+", "0", "-000000000000000000000"}) {
            std::string line = sign + number + ",";
            expectParseAsLibrary(line + "1,5,x\n");
            line += line + line;
            expectParseAsLibrary(line + "x\n");
        }
    }
}

TEST_F(ItemParserTest, AnalyseOneItemInfo_NumberAcrossTheLastCharacter_IsWhatTheLibraryMakesOfIt) {
    jorn_SetDebugPrintLevel(0);
    for (size_t before = 235; before <= 260; ++before) {
        expectParseAsLibrary(std::string(before, ',') + "12,-34,  56,78\n");
        expectParseAsLibrary("1,2," + std::string(before - 4, ' ') + "-3456,x\n");
        expectParseAsLibrary(std::string(before, 'x') + ",12,345,6\n");
    }
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
