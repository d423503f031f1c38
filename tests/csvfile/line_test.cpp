// SPDX-License-Identifier: Apache-2.0
#include "csvfile/line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "csvfile/every_text.h"
#include "model/library_model.h"

namespace test {
namespace {

/// A line as it is built, without the NUL that ends it.
std::string built(uint32_t time, int32_t level, int32_t slot, const std::string &text) {
    char line[jorn::kLineSize + 1];
    memset(line, '#', sizeof line);
    const char *const end = jorn::appendLine(line, time, level, slot, text.c_str());
    EXPECT_EQ(end[-1], '\0');
    EXPECT_EQ(*end, '#') << "nothing is written after the NUL";
    return {line, static_cast<size_t>(end - line) - 1};
}

// Building

TEST(LineTest, AppendLine_TypicalItem_IsTheFourFieldsAndALineFeed) {
    EXPECT_EQ(built(1700000000, 1, 5, "door open"), "1700000000,1,5,door open\n");
}

TEST(LineTest, AppendLine_EmptyText_EndsWithTheThirdComma) { EXPECT_EQ(built(0, 0, 0, ""), "0,0,0,\n"); }

TEST(LineTest, AppendLine_LongestFields_FillTheLineExactly) {
    const std::string line = built(UINT32_MAX, INT32_MIN, INT32_MIN, std::string(300, 'z'));
    EXPECT_EQ(line, "4294967295,-2147483648,-2147483648," + std::string(198, 'z') + "\n");
    EXPECT_EQ(line.size(), 234U);
    EXPECT_EQ(line.size() + 1, jorn::kLineSize);
}

TEST(LineTest, AppendLine_NumbersAroundEveryPowerOfTen_AreAsPrinted) {
    for (uint32_t power = 1; power < 1000000000; power *= 10) {
        for (const uint32_t number : {power - 1, power, power + 1}) {
            const auto asSigned = -static_cast<int32_t>(number);
            EXPECT_EQ(built(number, asSigned, static_cast<int32_t>(number), "x"),
                      std::to_string(number) + "," + std::to_string(asSigned) + "," + std::to_string(number) +
                          ",x\n");
        }
    }
}

TEST(LineTest, AppendLine_LineEndsAndCommasInTheText_BecomeBlanksAndStay) {
    EXPECT_EQ(built(1, 2, 3, "\r\na,b\n"), "1,2,3,  a,b \n");
}

// Round trip

TEST(LineTest, ParseLine_LineThatWasBuilt_GivesWhatItWasBuiltFrom) {
    for (const uint32_t time : {0U, 1U, 1700000000U, 2147483648U, UINT32_MAX}) {
        for (const int32_t level : {INT32_MIN, -1, 0, 3, INT32_MAX}) {
            const std::string line = built(time, level, ~level, "a,b");
            JORN_ITEM_INFO item = {};
            ASSERT_EQ(jorn::parseLine(line.c_str(), jorn::kParsedChars, &item), jorn::ParsedLine::Whole)
                << line;
            EXPECT_EQ(item.time, time);
            EXPECT_EQ(item.level, level);
            EXPECT_EQ(item.slot, ~level);
            EXPECT_STREQ(item.text, "a,b\n");
        }
    }
}

// Near misses

TEST(LineTest, ParseLine_FieldMissing_SaysWhichAndKeepsThoseBefore) {
    JORN_ITEM_INFO item = {77, 88, 99, nullptr};
    EXPECT_EQ(jorn::parseLine(",,", 255, &item), jorn::ParsedLine::NoTime);
    EXPECT_EQ(item.time, 77U);
    EXPECT_EQ(jorn::parseLine("5,", 255, &item), jorn::ParsedLine::NoLevel);
    EXPECT_EQ(item.time, 5U);
    EXPECT_EQ(item.level, 88);
    EXPECT_EQ(jorn::parseLine("6,2", 255, &item), jorn::ParsedLine::NoSlot);
    EXPECT_EQ(item.time, 6U);
    EXPECT_EQ(item.level, 2);
    EXPECT_EQ(item.slot, 99);
    EXPECT_EQ(item.text, nullptr);
}

TEST(LineTest, ParseLine_LineLongerThanAllowed_SeesTheAllowedCharactersOnly) {
    JORN_ITEM_INFO item = {};
    EXPECT_EQ(jorn::parseLine("1,2,345", 7, &item), jorn::ParsedLine::Whole);
    EXPECT_EQ(item.slot, 345);
    EXPECT_EQ(jorn::parseLine("1,2,345", 6, &item), jorn::ParsedLine::Whole);
    EXPECT_EQ(item.slot, 34);
    EXPECT_EQ(jorn::parseLine("1,2,345", 4, &item), jorn::ParsedLine::NoSlot);
}

TEST(LineTest, OwnItems_Texts_AreThoseThatReadersKnow) {
    EXPECT_STREQ(jorn::kStartText, "Log start init!");
    EXPECT_STREQ(jorn::kClearedText, "Log all cleared!");
}

TEST(BlankLineTest, IsBlankLine_LineFeedOrCarriageReturnFirst_IsBlank) {
    EXPECT_TRUE(jorn::isBlankLine("\n"));
    EXPECT_TRUE(jorn::isBlankLine("\r\n"));
    EXPECT_TRUE(jorn::isBlankLine("\r"));
    EXPECT_TRUE(jorn::isBlankLine("\r1700000000,1,2,text\n"));
}

TEST(BlankLineTest, IsBlankLine_EmptyText_IsNotBlank) { EXPECT_FALSE(jorn::isBlankLine("")); }

TEST(BlankLineTest, IsBlankLine_AnyOtherStart_IsNotBlank) {
    EXPECT_FALSE(jorn::isBlankLine(" \n"));
    EXPECT_FALSE(jorn::isBlankLine("\t\n"));
    EXPECT_FALSE(jorn::isBlankLine("1700000000,1,2,text\n"));
}

void expectSplitAsLibrary(const std::string &line, size_t maxChars) {
    const ModelFields wanted = libraryFields(line.c_str(), maxChars, 3);
    jorn::LineSplitter splitter(line.c_str(), maxChars);
    for (const std::string &field : wanted.fields) {
        EXPECT_EQ(splitter.takeField(), field) << ::testing::PrintToString(line);
    }
    if (wanted.fields.size() < 3) {
        EXPECT_TRUE(splitter.takeField().empty()) << ::testing::PrintToString(line);
    } else {
        EXPECT_EQ(splitter.rest(), wanted.rest) << ::testing::PrintToString(line);
    }
}

TEST(LineSplitterTest, TakeField_EveryShortLine_IsWhatTheTokenizerGives) {
    constexpr char kAlphabet[] = ",a\n";
    for (size_t length = 0; length <= 8; ++length) {
        EveryText lines(kAlphabet, sizeof kAlphabet, length);
        do {
            expectSplitAsLibrary(lines.text(), 255);
            expectSplitAsLibrary(lines.text(), 5);
        } while (lines.next());
    }
}

std::string textBehindTheSlot(const char *line) {
    jorn::LineSplitter splitter(line, 255);
    for (int field = 0; field < 3; ++field) {
        EXPECT_FALSE(splitter.takeField().empty()) << line;
    }
    return std::string(splitter.rest());
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

TEST(LineSplitterTest, Rest_LineLongerThanAllowed_EndsWithTheAllowedCharacters) {
    jorn::LineSplitter splitter("1,2345", 4);
    EXPECT_EQ(splitter.takeField(), "1");
    EXPECT_EQ(splitter.rest(), "23");
}

TEST(LineSplitterTest, TakeField_LineFeedAtTheEnd_StaysWithTheLastField) {
    jorn::LineSplitter splitter("1,2\n", 255);
    EXPECT_EQ(splitter.takeField(), "1");
    EXPECT_EQ(splitter.takeField(), "2\n");
    EXPECT_EQ(splitter.takeField(), "");
}

TEST(LineSplitterTest, TakeField_LineLongerThanAllowed_SeesTheAllowedCharactersOnly) {
    jorn::LineSplitter splitter("abc,def", 5);
    EXPECT_EQ(splitter.takeField(), "abc");
    EXPECT_EQ(splitter.takeField(), "d");
    EXPECT_EQ(splitter.takeField(), "");
}

TEST(LineSplitterTest, TakeField_LongestPiece_IsTakenWhole) {
    const std::string piece(256, '7');
    jorn::LineSplitter splitter(piece.c_str(), 256);
    EXPECT_EQ(splitter.takeField(), piece);
}

TEST(LineSplitterTest, TakeField_EmptyLine_GivesNoFieldAndNoRest) {
    jorn::LineSplitter splitter("", 255);
    EXPECT_EQ(splitter.takeField(), "");
    EXPECT_EQ(splitter.rest(), "");
}

TEST(LineSplitterTest, TakeNumber_FieldsOfBothKinds_CanBeMixed) {
    jorn::LineSplitter splitter("7,a,-8\n", 255);
    int64_t number = 0;
    EXPECT_TRUE(splitter.takeNumber(&number));
    EXPECT_EQ(number, 7);
    EXPECT_EQ(splitter.takeField(), "a");
    EXPECT_TRUE(splitter.takeNumber(&number));
    EXPECT_EQ(number, -8);
    EXPECT_FALSE(splitter.takeNumber(&number));
    EXPECT_EQ(number, -8);
}

/// What parseLine() has to give: the same by the splitter alone.
jorn::ParsedLine parsedSlowly(const std::string &line, size_t maxChars, JORN_ITEM_INFO *item) {
    jorn::LineSplitter splitter(line.c_str(), maxChars);
    int64_t time = 0;
    if (!splitter.takeNumber(&time)) {
        return jorn::ParsedLine::NoTime;
    }
    item->time = static_cast<uint32_t>(time);
    if (!splitter.takeInt(&item->level)) {
        return jorn::ParsedLine::NoLevel;
    }
    if (!splitter.takeInt(&item->slot)) {
        return jorn::ParsedLine::NoSlot;
    }
    item->text = splitter.restBegin();
    return jorn::ParsedLine::Whole;
}

void expectParsedAsSlowly(const std::string &line, size_t maxChars) {
    JORN_ITEM_INFO wanted = {77, 88, 99, nullptr};
    JORN_ITEM_INFO item = wanted;
    const jorn::ParsedLine how = parsedSlowly(line, maxChars, &wanted);
    EXPECT_EQ(jorn::parseLine(line.c_str(), maxChars, &item), how) << line << " of " << maxChars;
    EXPECT_EQ(item.time, wanted.time) << line << " of " << maxChars;
    EXPECT_EQ(item.level, wanted.level) << line << " of " << maxChars;
    EXPECT_EQ(item.slot, wanted.slot) << line << " of " << maxChars;
    EXPECT_EQ(item.text, wanted.text) << line << " of " << maxChars;
}

// A plain line is parsed in another way than the others, with the same results.

TEST(LineTest, ParseLine_EveryShortLine_IsAsSplit) {
    constexpr char kAlphabet[] = "9,-\n";
    for (size_t length = 0; length <= 8; ++length) {
        EveryText lines(kAlphabet, sizeof kAlphabet - 1, length);
        do {
            expectParsedAsSlowly(lines.text(), 255);
        } while (lines.next());
    }
}

TEST(LineTest, ParseLine_CharactersBesideDigitsAndCommas_AreAsSplit) {
    for (const char other : {'/', ':', '+', '-', ' ', '.', '\x7f'}) {
        for (size_t place = 0; place < 8; ++place) {
            std::string line = "123,2,7,text\n";
            line[place] = other;
            expectParsedAsSlowly(line, 255);
        }
    }
}

TEST(LineTest, ParseLine_TimesOfAllLengths_AreAsSplit) {
    for (size_t digits = 1; digits <= 25; ++digits) {
        for (const char first : {'0', '1', '9'}) {
            expectParsedAsSlowly(first + std::string(digits - 1, '9') + ",1,2,x\n", 255);
            expectParsedAsSlowly(first + std::string(digits - 1, '0') + ",1,2,x\n", 255);
        }
    }
}

TEST(LineTest, ParseLine_PlainLineOfAnyPermittedLength_IsAsSplit) {
    const std::string line = "1700000000,2,7,x,y\n";
    for (size_t maxChars = 0; maxChars <= line.size(); ++maxChars) {
        expectParsedAsSlowly(line, maxChars);
    }
}

TEST(LineTest, ParseLine_CommaAfterThePermittedCharacters_ReadsNoFurther) {
    const std::vector<char> line = {'5', ',', '3', ','};  // the sanitizers guard what is after it
    JORN_ITEM_INFO item = {};
    EXPECT_EQ(jorn::parseLine(line.data(), 3, &item), jorn::ParsedLine::NoSlot);
    EXPECT_EQ(item.level, 3);
}

// Text is copied several characters at a time.

/// A line's text as it has to be stored.
std::string stored(std::string text) {
    for (char &c : text) {
        c = c == '\n' || c == '\r' ? ' ' : c;
    }
    return text;
}

TEST(LineTest, AppendLine_EveryByteAtEveryPlaceBesideAnyOther_IsCopiedOrABlank) {
    for (const char other : {'a', '\x80', '\xff', '\x01', '\x0e', '\n', '\r'}) {
        for (size_t place = 0; place < 9; ++place) {
            for (int byte = 1; byte < 256; ++byte) {
                std::string text(9, other);
                text[place] = static_cast<char>(byte);
                EXPECT_EQ(built(1, 2, 3, text), "1,2,3," + stored(text) + "\n") << byte << " at " << place;
            }
        }
    }
}

TEST(LineTest, AppendLine_TextOfAnyLengthAnywhere_ReadsNothingAfterItsNul) {
    for (size_t begin = 0; begin < 4; ++begin) {
        for (size_t length = 0; length <= 12; ++length) {
            std::vector<char> bytes(begin, '#');
            bytes.insert(bytes.end(), length, 'x');
            bytes.push_back('\0');  // the sanitizers guard what is after it
            char line[jorn::kLineSize];
            jorn::appendLine(line, 1, 2, 3, bytes.data() + begin);
            EXPECT_EQ(line, "1,2,3," + std::string(length, 'x') + "\n");
        }
    }
}

}  // namespace
}  // namespace test
