// SPDX-License-Identifier: Apache-2.0
// Parts of the command-line tool by themselves.
#include <gmock/gmock.h>

#include "escape.h"
#include "item_splitter.h"
#include "ring_survey.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using tool::escaped;
using tool::ItemSplitter;

TEST(Escaped, PrintableText_Passes) {
    EXPECT_EQ(escaped("plain \\ text"), "plain \\ text");
    EXPECT_EQ(escaped("\xc3\xbc \xe2\x82\xac \xf0\x9f\x9a\xaa"), "\xc3\xbc \xe2\x82\xac \xf0\x9f\x9a\xaa");
}

TEST(Escaped, ControlCharacters_AsHex) {
    EXPECT_EQ(escaped(std::string_view("\0\t\r\x1b\x7f", 5)), "\\x00\\x09\\x0d\\x1b\\x7f");
    EXPECT_EQ(escaped("\xc2\x80\xc2\x9f\xc2\xa0"), "\\xc2\\x80\\xc2\\x9f\xc2\xa0");
    // Written apart, for such characters turn the source itself.
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
    std::vector<std::string> texts_;
    ItemSplitter splitter_{ItemSplitter::LongLine::Cut, [this](const char *text) { texts_.push_back(text); }};
};

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
}

class RingSurveyTest : public ToolTest {
protected:
    RingSurveyTest() { makeDirectory("log"); }

    tool::RingSurvey survey() const {
        return tool::surveyRing(tool::StoreDirectory::openForReading(path("log")));
    }
};

TEST_F(RingSurveyTest, Survey_EmptyDirectory_IsFresh) {
    EXPECT_TRUE(survey().isFresh());
    EXPECT_EQ(survey().smallestRing(), 2);
}

TEST_F(RingSurveyTest, Survey_FilesAndIndex_GiveSmallestRing) {
    write("log/3.csv", "");
    EXPECT_EQ(survey().smallestRing(), 4);
    write("log/index.csv", "version:1\n5,89\n");
    EXPECT_EQ(survey().smallestRing(), 90);
    EXPECT_FALSE(survey().hasWrapped());
    write("log/index.csv", "version:1\n5,4\n");
    EXPECT_EQ(survey().smallestRing(), 6);
    EXPECT_TRUE(survey().hasWrapped());
}

TEST_F(RingSurveyTest, ReadIndex_AnyNumbers_ReadAsTheStoreReadsThem) {
    const auto read = [&](const std::string &text) {
        write("log/index.csv", text);
        return survey().index;
    };
    EXPECT_EQ(read("version:1\n-1,3\n"), (tool::IndexPositions{-1, 3}));
    EXPECT_EQ(read("version: 1 \n 3,  7"), (tool::IndexPositions{3, 7}));
    EXPECT_EQ(read("version:1\n3;7"), (tool::IndexPositions{3, 0}));
    EXPECT_EQ(read("version:1\n89,89"), (tool::IndexPositions{89, 89}));
    EXPECT_EQ(read("version:1\n90,0"), std::nullopt);
    EXPECT_EQ(read("version:1\n0,4294967296"), std::nullopt);
    EXPECT_EQ(read("version:1\n-4294967296,0"), (tool::IndexPositions{INT32_MIN, 0}));
    EXPECT_EQ(read("version:4294967297\n0,0"), std::nullopt);
    EXPECT_EQ(read("version:1\n,3"), std::nullopt);
}

}  // namespace
}  // namespace test
