// SPDX-License-Identifier: Apache-2.0
// Parts of the command-line tool in isolation.
#include <gmock/gmock.h>

#include "import/item_splitter.h"
#include "import/stamp_forms.h"
#include "record/record_stats.h"
#include "system/failure.h"
#include "terminal/escape.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::ThrowsMessage;
using tool::escaped;
using tool::ItemSplitter;
using tool::LongText;

TEST(Escaped, PrintableText_Passes) {
    EXPECT_EQ(escaped("plain \\ text"), "plain \\ text");
    EXPECT_EQ(escaped("\xc3\xbc \xe2\x82\xac \xf0\x9f\x9a\xaa"), "\xc3\xbc \xe2\x82\xac \xf0\x9f\x9a\xaa");
}

TEST(Escaped, ControlCharacters_AsHex) {
    EXPECT_EQ(escaped(std::string_view("\0\t\r\x1b\x7f", 5)), "\\x00\\x09\\x0d\\x1b\\x7f");
    EXPECT_EQ(escaped("\xc2\x80\xc2\x9f\xc2\xa0"), "\\xc2\\x80\\xc2\\x9f\xc2\xa0");
    // Written byte by byte, because such characters would reverse the source text itself.
    const std::string overriding = {'\xe2', '\x80', '\xae'};
    const std::string isolating = {'\xe2', '\x81', '\xa6'};
    const std::string separating = {'\xe2', '\x80', '\xa8'};
    EXPECT_EQ(escaped(overriding), "\\xe2\\x80\\xae");
    EXPECT_EQ(escaped(isolating), "\\xe2\\x81\\xa6");
    EXPECT_EQ(escaped(separating), "\\xe2\\x80\\xa8");
}

TEST(Escaped, InvalidUtf8_AsHex) {
    EXPECT_EQ(escaped("\x80"), "\\x80");
    EXPECT_EQ(escaped("a\xc3"), "a\\xc3");
    EXPECT_EQ(escaped("\xe2\x82"), "\\xe2\\x82");
    EXPECT_EQ(escaped("\xc0\xaf"), "\\xc0\\xaf");
    EXPECT_EQ(escaped("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");
    EXPECT_EQ(escaped("\xed\xa0\x80"), "\\xed\\xa0\\x80");
    EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
    EXPECT_EQ(escaped("\xc3(\xc3\xbc"), "\\xc3(\xc3\xbc");
}

class ItemSplitterTest : public ::testing::Test {
protected:
    /// What an input results in, each text after the level that its line asks for.
    static std::vector<std::string> textsOf(const std::string &input, size_t blockSize, LongText longText,
                                            bool hasPrefixes) {
        std::vector<std::string> texts;
        const auto prefixes = tool::makePrefixReader(nullptr);
        ItemSplitter splitter(
            longText, hasPrefixes ? prefixes.get() : nullptr, [&](const tool::InputItem &item) {
                texts.push_back((item.level ? std::to_string(*item.level) + ":" : ":") + item.text);
            });
        for (size_t begin = 0; begin < input.size(); begin += blockSize) {
            splitter.feed(std::string_view(input).substr(begin, blockSize));
        }
        splitter.finish();
        return texts;
    }

    /// Of two, three and four bytes.
    const std::vector<std::string> kCharacters = {"\xc3\xbc", "\xe2\x82\xac", "\xf0\x9f\x9a\xaa"};
    /// Leaves no room in a text for any of them.
    const std::string kBefore = std::string(197, 'x');

    std::vector<std::string> texts_;
    ItemSplitter splitter_{LongText::Cut, nullptr,
                           [this](const tool::InputItem &item) { texts_.emplace_back(item.text); }};
};

TEST_F(ItemSplitterTest, Feed_Prefixes_TellTheLevelAndGoAway) {
    EXPECT_THAT(textsOf("<0>a\n<7>\nb\n<6><4>c\n<8>d\n<>e\n<1\n <1>f\n<4>", 999, LongText::Cut, true),
                ElementsAre("0:a", "3:", ":b", "2:<4>c", ":<8>d", ":<>e", ":<1", ": <1>f", "1:"));
    EXPECT_THAT(textsOf("<0>a\n", 999, LongText::Cut, false), ElementsAre(":<0>a"));
}

TEST_F(ItemSplitterTest, Feed_PrefixOfLongLine_TakesNothingOfTheText) {
    const std::string whole(198, 'x');
    EXPECT_THAT(textsOf("<6>" + whole + "\n<0>" + whole + "y\n", 999, LongText::Cut, true),
                ElementsAre("2:" + whole, "0:" + whole));
    EXPECT_THAT(textsOf("<6>" + whole + "<1>\nz\n", 999, LongText::Split, true),
                ElementsAre("2:" + whole, "2:<1>", ":z"));
}

TEST_F(ItemSplitterTest, Feed_AnyBlocks_SameTexts) {
    std::string input;
    uint32_t random = 1;
    for (int i = 0; i < 4000; ++i) {
        random = random * 1103515245U + 12345U;
        const std::string parts[] = {"\n",
                                     "\r\n",
                                     "\r",
                                     std::string(1, '\0'),
                                     "<1>",
                                     "<7>",
                                     std::string(random >> 8 & 63, 'x'),
                                     "\xe2\x82\xac",
                                     std::string(198 - (random >> 20 & 7), 'y')};
        input += parts[(random >> 16) % 9];
    }
    for (const auto longText : {LongText::Cut, LongText::Split}) {
        const std::vector<std::string> expected = textsOf(input, 1, longText, true);
        for (const size_t blockSize : {2U, 3U, 199U, 200U, 1000U, 65536U, 10000000U}) {
            EXPECT_EQ(textsOf(input, blockSize, longText, true), expected) << blockSize;
        }
    }
}

TEST_F(ItemSplitterTest, Feed_LineOverSeveralBlocks_OneText) {
    for (const char *block : {"ab", "", "c\r", "\nd\r", "e", "\n"}) {
        splitter_.feed(block);
    }
    splitter_.finish();
    EXPECT_THAT(texts_, ElementsAre("abc", "d\re"));
}

TEST_F(ItemSplitterTest, Finish_NothingBegun_NoText) {
    splitter_.feed("a\n");
    splitter_.finish();
    splitter_.finish();
    EXPECT_THAT(texts_, ElementsAre("a"));
}

TEST_F(ItemSplitterTest, Finish_ReturnAtTheEnd_IsKept) {
    splitter_.feed("a\r");
    splitter_.finish();
    EXPECT_THAT(texts_, ElementsAre("a\r"));
}

TEST_F(ItemSplitterTest, Feed_LineOf199Bytes_CutOnce) {
    splitter_.feed(std::string(198, 'x') + "\n" + std::string(199, 'y') + "\n" + std::string(5000, 'z') +
                   "\n");
    EXPECT_THAT(texts_, ElementsAre(std::string(198, 'x'), std::string(198, 'y'), std::string(198, 'z')));
    EXPECT_EQ(splitter_.cutLines(), 2U);
    EXPECT_EQ(splitter_.lines(), 3U);
}

TEST_F(ItemSplitterTest, Feed_CharacterAcrossTheLimit_IsNotCutInTwo) {
    for (const std::string &character : kCharacters) {
        for (size_t before = 198 - character.size(); before <= 198; ++before) {
            const std::string begin(before, 'x');
            const std::string rest = character + std::string(10, 'y');
            const size_t kept = before + character.size() <= 198 ? before + character.size() : before;
            const std::string whole = begin + rest;
            const std::string first = kept == before ? begin : whole.substr(0, 198);
            const std::string second = whole.substr(first.size());
            for (const size_t blockSize : {1U, 7U, 999U}) {
                EXPECT_THAT(textsOf(whole + "\nend\n", blockSize, LongText::Split, false),
                            ElementsAre(":" + first, ":" + second, ":end"));
                EXPECT_THAT(textsOf(whole + "\nend\n", blockSize, LongText::Cut, false),
                            ElementsAre(":" + first, ":end"));
            }
        }
    }
}

TEST_F(ItemSplitterTest, Feed_CharacterAcrossTheLimitEndsTheLine_IsWholeInTheSecondText) {
    for (const std::string &character : kCharacters) {
        for (const char *end : {"", "\n", "\r\n"}) {
            EXPECT_THAT(textsOf(kBefore + character + end, 999, LongText::Split, false),
                        ElementsAre(":" + kBefore, ":" + character));
        }
        splitter_.feed(kBefore + character + "\n");
        EXPECT_THAT(texts_, ElementsAre(kBefore));
        texts_.clear();
    }
    EXPECT_EQ(splitter_.cutLines(), kCharacters.size());
}

TEST_F(ItemSplitterTest, Feed_ManyCharacters_EachSplitTextIsWholeAndFull) {
    for (const std::string &character : kCharacters) {
        std::string line = "z";
        for (int i = 0; i < 1000; ++i) {
            line += character;
        }
        const std::vector<std::string> texts = textsOf(line, 999, LongText::Split, false);
        std::string joined;
        for (const std::string &text : texts) {
            joined += text.substr(1);
            EXPECT_TRUE(tool::isUtf8(text)) << text;
            EXPECT_TRUE(joined == line || text.size() + character.size() > 199) << text;
        }
        EXPECT_EQ(joined, line);
    }
}

TEST_F(ItemSplitterTest, Feed_BytesThatAreNoUtf8_CutAt198) {
    const std::string a(196, 'x');
    for (const std::string &line : {
             a + "x\xc3(yyyy",                              // No second byte.
             a + "x\xe2\x82(yyy",                           // No third byte.
             a + "\xe2\x82",                                // The line ends within a character.
             a + "x\xe2\x82",                               //
             a + "x\xc0\xafyyy",                            // Longer than necessary.
             a + "x\xed\xa0\x80yyy",                        // A surrogate.
             a + "\x82\x82\x82\x82yyy",                     // No first byte.
             "\xff" + std::string(196, 'x') + "\xc3\xbcy",  // Something else before.
         }) {
        for (const char *end : {"", "\n"}) {
            EXPECT_THAT(textsOf(line + end, 999, LongText::Cut, false),
                        ElementsAre(":" + line.substr(0, 198)));
            if (line.size() > 198) {
                EXPECT_THAT(textsOf(line + end, 999, LongText::Split, false),
                            ElementsAre(":" + line.substr(0, 198), ":" + line.substr(198)));
            }
        }
    }
}

TEST(RecordStatsTest, Format_TextAndJson_TellEverything) {
    const tool::RecordStats stats = {3, 4, 50, 1, 2, 0.25};
    EXPECT_EQ(tool::formatStats(stats),
              "3 lines, 4 items, 50 bytes, 1 lines cut, 2 files passed, 0.250 s, 16 items/s\n");
    EXPECT_EQ(tool::formatStatsJson(stats),
              "{\"lines\":3,\"items\":4,\"bytes\":50,\"cut_lines\":1,\"files_passed\":2,\"seconds\":0.25,"
              "\"items_per_second\":16}\n");
    EXPECT_EQ(tool::RecordStats().itemsPerSecond(), 0);
}

}  // namespace
}  // namespace test
