// SPDX-License-Identifier: Apache-2.0
// Names of items, while a writer goes round the ring.
#include <gmock/gmock.h>

#include <map>
#include <set>

#include "serve/cursor.h"
#include "served_ring.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using tool::ItemCursor;

TEST(CursorText, RoundTrip_AnyLogName_IsTheSame) {
    for (const std::string name : {"door", "unit1/door", "a~b,c %41!41", "\xc3\xa4", "-", "+"}) {
        const ItemCursor cursor{name, 4294967295U, 89, 4294967294U, 0x00abcdefU};
        const std::string text = tool::textOf(cursor);
        EXPECT_EQ(text.find_first_of(" ,%+"),
                  std::string::npos);  // Which mean something in headers and URLs.
        const std::optional<ItemCursor> back = tool::cursorOf(text);
        ASSERT_TRUE(back) << text;
        EXPECT_EQ(back->log, name);
        EXPECT_EQ(back->time, cursor.time);
        EXPECT_EQ(back->file, 89);
        EXPECT_EQ(back->offset, cursor.offset);
        EXPECT_EQ(back->hash, cursor.hash);
    }
    EXPECT_EQ(tool::textOf({"a/b", 1, 2, 3, 0xabc}), "a!2fb~1~2~3~00000abc");
    EXPECT_EQ(tool::cursorOf("a%2fb~1~2~3~00000abc")->log, "a/b");
}

TEST(CursorText, OtherTexts_AreNone) {
    for (const std::string text :
         {"", "~", "log", "log~1~2~3", "log~1~2~3~0000000", "log~1~2~3~000000000", "log~1~90~3~00000000",
          "log~-1~2~3~00000000", "log~4294967296~2~3~00000000", "log~1~2~3~0000000g", "log~1~2~3~00000000~",
          "lo%g~1~2~3~00000000", "log!2~1~2~3~00000000", "log~1~ 2~3~00000000", "log~1~2~+3~00000000",
          "log~1~../2~3~00000000"}) {
        EXPECT_FALSE(tool::cursorOf(text)) << text;
    }
}

class CursorTest : public ServeTest {};

TEST_F(CursorTest, Item_OtherLineAtThePlace_IsGone) {
    makeLog(line("one") + line("two"));
    serve();
    const std::string two = cursorOf("two");
    start(0, line("one") + line("six"));
    logs_->refreshAll();
    const std::string oldest = cursorOf("one");
    EXPECT_EQ(refusal("item", {{"cursor", two}}),
              "410 {\"error\":\"this item is no longer in view\",\"oldest\":\"" + oldest + "\",\"near\":\"" +
                  oldest + "\"}\n");
    EXPECT_EQ(refusal("items", {{"cursor", two}}), refusal("item", {{"cursor", two}}));
}

TEST_F(CursorTest, Item_LogEmptyOrUnknown_IsGoneWithoutNeighbours) {
    makeLog(line("one"));
    serve();
    const std::string one = cursorOf("one");
    start(0, "");
    logs_->refreshAll();
    const std::string gone =
        "410 {\"error\":\"this item is no longer in view\",\"oldest\":null,\"near\":null}\n";
    EXPECT_EQ(refusal("item", {{"cursor", one}}), gone);
    EXPECT_EQ(refusal("item", {{"cursor", "other" + one.substr(3)}}), gone);
}

TEST_F(CursorTest, Item_Gone_NearIsTheNearestInTime) {
    start(0, line("a", kTime));
    start(1, line("b", kTime + 100) + line("c", kTime + 200) + line("d", kTime + 300));
    writeIndex("0,1");
    serve();
    const std::string a = cursorOf("a");
    start(0, "");
    writeIndex("1,0");
    append(0, line("e", kTime + 210));
    logs_->refreshAll();
    EXPECT_EQ(Json::parse(answer("item", {{"cursor", a}}).body)["near"], cursorOf("b"));
    const std::string foreign = "log~" + std::to_string(kTime + 207) + "~1~7~00000000";
    EXPECT_EQ(Json::parse(answer("item", {{"cursor", foreign}}).body)["near"], cursorOf("e"));
    EXPECT_EQ(Json::parse(answer("item", {{"cursor", foreign}}).body)["oldest"], cursorOf("b"));
}

TEST_F(CursorTest, Item_FilesRenumberedByAStart_IsFound) {
    start(3, line("a") + line("b"));
    start(4, line("c") + line("d"));
    writeIndex("3,4");
    serve();
    const std::string b = cursorOf("b");
    const std::string d = cursorOf("d");
    std::filesystem::rename(path("log/3.csv"), path("log/0.csv"));
    std::filesystem::rename(path("log/4.csv"), path("log/1.csv"));
    writeIndex("0,1");
    serve();
    EXPECT_EQ(json("item", {{"cursor", b}})["text"], "b");
    EXPECT_EQ(json("item", {{"cursor", d}})["text"], "d");
    EXPECT_EQ(json("item", {{"cursor", d}})["file"], "1.csv");
}

/// A writer that goes round a small ring for a long time; every item says which one it is.
TEST_F(CursorTest, Item_WhileTheRingGoesRound_IsItselfOrGone) {
    constexpr int kFiles = 4;
    constexpr int kItemsPerFile = 3;
    constexpr int kRounds = 40;
    std::map<std::string, std::string> cursors;  // Text by cursor, of every item that was ever in view.
    start(0, "");
    writeIndex("0,0");
    serve();
    uint64_t found = 0;
    uint64_t gone = 0;
    for (int file = 0; file < kRounds; ++file) {
        const int oldest = std::max(0, file - kFiles + 1);
        start(file % kFiles, "");
        writeIndex(std::to_string(oldest % kFiles) + "," + std::to_string(file % kFiles));
        for (int i = 0; i < kItemsPerFile; ++i) {
            // The same time and length at the same place, round by round.
            append(file % kFiles, line(numberedText("item", file * kItemsPerFile + i)));
            logs_->refreshAll();
            const Json inViewNow = json("items", {{"after", "1000"}});
            for (const Json &item : inViewNow["items"]) {
                cursors.emplace(item["cursor"], item["text"]);
            }
        }
        std::set<std::string> inView;
        for (const std::string &text : texts({{"after", "1000"}})) {
            inView.insert(text);
        }
        for (const auto &[cursor, text] : cursors) {
            const tool::WebAnswer got = answer("item", {{"cursor", cursor}});
            if (inView.count(text) > 0) {
                ASSERT_EQ(got.status, 200) << text;
                ASSERT_EQ(Json::parse(got.body)["text"], text);
                ++found;
            } else {
                ASSERT_EQ(got.status, 410) << text;
                ++gone;
            }
        }
    }
    EXPECT_EQ(cursors.size(), static_cast<size_t>(kRounds * kItemsPerFile));
    EXPECT_GT(found, 300U);
    EXPECT_GT(gone, 300U);
}

TEST_F(CursorTest, Items_AfterARestartOfTheServer_StandAtTheSameItem) {
    makeLog(line("one") + line("two") + line("three"));
    serve();
    const std::string two = cursorOf("two");
    append(0, line("four"));
    serve();
    EXPECT_THAT(texts({{"cursor", two}, {"after", "1"}, {"before", "1"}}),
                ElementsAre("three", "two", "one"));
}

}  // namespace
}  // namespace test
