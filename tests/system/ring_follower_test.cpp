// SPDX-License-Identifier: Apache-2.0
// The follower, driven by hand: what it passes on at each step while files change in between.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "followed_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using tool::RingFollower;

TEST_F(FollowerTest, Step_FewItems_GivesThemAndThenEachNewOneOnce) {
    start(0, line("one") + line("two"));
    writeIndex("0,0");
    follow();
    EXPECT_THAT(step(), ElementsAre("one", "two"));
    EXPECT_THAT(step(), IsEmpty());
    append(0, line("three"));
    EXPECT_THAT(step(), ElementsAre("three"));
    EXPECT_THAT(step(), IsEmpty());
}

TEST_F(FollowerTest, Step_NumberOfItems_BeginsWithTheNewestThatMatch) {
    makeRing();
    follow(5);
    EXPECT_THAT(step(), ElementsAre("b0004999", "b0005000", "c0000001", "c0000002", "c0000003"));
    follow(0);
    EXPECT_THAT(step(), IsEmpty());
    append(2, line("new"));
    EXPECT_THAT(step(), ElementsAre("new"));
    follow(UINT64_MAX);
    EXPECT_EQ(step().size(), 2U * kFull + 4);
    follow(20000);
    EXPECT_EQ(step().size(), 2U * kFull + 4);
    tool::ItemFilter filter;
    filter.pattern = std::make_shared<const RE2>("b000000");
    follow(2, filter);
    EXPECT_THAT(step(), ElementsAre("b0000008", "b0000009"));
    append(2, line("new b0000000"));
    EXPECT_THAT(step(), ElementsAre("new b0000000"));
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_UnfinishedLine_WaitsForItsRest) {
    start(0, line("one") + "1700000000,1,0,tw");
    writeIndex("0,0");
    follow(0);
    EXPECT_THAT(step(), IsEmpty());
    append(0, "o ");
    EXPECT_THAT(step(), IsEmpty());
    append(0, "halves\n1700000000,1");
    EXPECT_THAT(step(), ElementsAre("two halves"));
    append(0, ",0,x\n");
    EXPECT_THAT(step(), ElementsAre("x"));
    EXPECT_THAT(damage_, IsEmpty());
}

TEST_F(FollowerTest, Step_UnfinishedLineOfFileThatIsLeft_IsGivenAsItIs) {
    start(0, line("one") + "1700000000,1,0,torn");
    writeIndex("0,0");
    follow();
    EXPECT_THAT(step(), ElementsAre("one"));
    start(1, line("next"));
    writeIndex("0,1");
    EXPECT_THAT(step(), ElementsAre("torn", "next"));
}

TEST_F(FollowerTest, Step_RingMovesOn_FinishesTheFormerFileFirst) {
    makeRing();
    follow(0);
    step();
    append(2, lines("c", kFull - 3, 4));
    start(0, line("d1"));
    writeIndex("1,0");
    std::vector<std::string> expected = numberedTexts("c", 4, kFull);
    expected.emplace_back("d1");
    EXPECT_EQ(step(), expected);
    append(0, line("d2"));
    EXPECT_THAT(step(), ElementsAre("d2"));
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_RingMovesOnOverSeveralFiles_GivesAllOfThem) {
    makeRing();
    follow(0);
    step();
    append(2, lines("c", kFull - 3, 4));
    start(0, lines("d", kFull));
    start(1, line("e1"));
    writeIndex("2,1");
    EXPECT_EQ(step().size(), kFull - 3U + kFull + 1U);
    EXPECT_EQ(texts_.front(), "c0000004");
    EXPECT_EQ(texts_.back(), "e1");
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_SameBytesAroundTheRing_AreNewEachTime) {
    start(0, lines("x", kFull));
    start(1, lines("x", kFull));
    writeIndex("0,1");
    follow(0);
    EXPECT_THAT(step(), IsEmpty());
    for (int round = 0; round < 6; ++round) {
        // Same bytes, same place on the medium: only the ring and the modification time show the change.
        const int number = round % 2;
        start(number, lines("x", kFull));
        stamp(number);
        writeIndex(number == 0 ? "1,0" : "0,1");
        EXPECT_EQ(step().size(), static_cast<size_t>(kFull)) << round;
    }
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_WriterCameRoundWithTheSameBytes_MissesNothing) {
    start(0, lines("x", kFull));
    stamp(0);
    writeIndex("0,0");
    follow(0);
    step();
    start(1, lines("x", kFull));
    start(0, lines("x", kFull));
    stamp(0);
    writeIndex("1,0");
    EXPECT_EQ(step().size(), 2U * kFull);
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_WriterCameRoundToFileThatWasReadWhole_MissesNothing) {
    start(0, lines("a", kFull));
    writeIndex("0,0");
    follow(0);
    step();
    start(1, lines("b", kFull));
    start(0, lines("c", 2));
    writeIndex("1,0");
    EXPECT_EQ(step().size(), kFull + 2U);
    EXPECT_EQ(texts_.back(), "c0000002");
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_WriterCameRoundOverUnreadFiles_TellsHowManyAndGoesOnWithTheOldest) {
    makeRing();
    follow(0);
    step();
    // The rest of 2.csv and the next 0.csv are lost; 1.csv is the oldest there is.
    start(1, lines("e", kFull));
    start(2, lines("f", 2));
    writeIndex("0,2");
    start(0, lines("d", kFull));
    EXPECT_EQ(step().size(), 2U * kFull + 2);
    EXPECT_EQ(texts_.front(), "d0000001");
    EXPECT_THAT(notes_, ElementsAre(path("log") + ": written faster than it was read: at least 1 file was "
                                                  "skipped; continuing with 0.csv"));
    start(0, lines("g", kFull));
    start(1, lines("h", kFull));
    start(2, lines("i", kFull));
    start(0, lines("j", 1));
    notes_.clear();
    writeIndex("1,0");
    EXPECT_EQ(step().front(), "h0000001");
    EXPECT_EQ(texts_.back(), "j0000001");
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("at least 2 files were skipped; continuing with 1.csv")));
}

TEST_F(FollowerTest, Step_FileIsWrittenOverWhileItIsRead_GivesNothingOfTheNewOneInItsPlace) {
    makeRing();
    follow(UINT64_MAX);
    const std::string more(150, '-');
    start(0, lines("a" + more, kFull));
    onItem_ = [&](const std::string &text) {
        if (text == "a" + more + "0000001") {
            append(2, lines("c", kFull - 3, 4));
            start(0, lines("d" + more, kFull - 1));
            writeIndex("1,0");
        }
    };
    step();
    // A first part of the oldest file was read immediately, before it was overwritten.
    const auto rest = std::find(texts_.begin(), texts_.end(), "b0000001");
    EXPECT_LT(rest - texts_.begin(), kFull);
    EXPECT_EQ(texts_.end() - rest, 3L * kFull - 1);
    EXPECT_EQ(std::count_if(texts_.begin(), rest, [](const std::string &text) { return text[0] != 'a'; }), 0);
    EXPECT_EQ(texts_.back(), numberedText("d" + more, kFull - 1));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("at least 1 file was skipped; continuing with 1.csv")));
}

TEST_F(FollowerTest, Step_FileIsEmptiedBeforeTheIndexTells_GoesOnWithTheNextOne) {
    makeRing();
    follow(UINT64_MAX);
    const std::string more(150, '-');
    start(0, lines("a" + more, kFull));
    onItem_ = [&](const std::string &text) {
        if (text == "a" + more + "0000001") {
            start(0, "");
        }
    };
    step();
    const auto rest = std::find(texts_.begin(), texts_.end(), "b0000001");
    EXPECT_EQ(texts_.end() - rest, kFull + 3L);
    writeIndex("1,0");
    append(0, line("d1"));
    EXPECT_THAT(step(), ElementsAre("d1"));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("at least 1 file was skipped; continuing with 1.csv")));
}

/// After a clearing, the file that the index already names is started afresh, and the index stays as it is.
TEST_F(FollowerTest, Step_FileIsStartedAfreshUnderTheSameIndexWhileItIsRead_GivesTheNewOneFromItsBegin) {
    const std::string more(150, '-');
    start(0, lines("a" + more, kFull));
    writeIndex("0,0");
    follow(UINT64_MAX);
    onItem_ = [&](const std::string &text) {
        if (text == "a" + more + "0000001") {
            start(0, lines("d" + more, kFull + 1));
        }
    };
    step();
    const auto first = std::find(texts_.begin(), texts_.end(), "d" + more + "0000001");
    EXPECT_EQ(texts_.end() - first, kFull + 1L);
    EXPECT_EQ(std::count_if(texts_.begin(), first, [](const std::string &text) { return text[0] != 'a'; }),
              0);
}

TEST_F(FollowerTest, Step_IndexBetweenTwoStepsOfItsRewrite_KeepsThePlace) {
    makeRing();
    follow(0);
    step();
    append(2, line("c4"));
    fs::rename(path("log/index.csv"), path("log/index.bak"));
    EXPECT_THAT(step(), ElementsAre("c4"));
    write("log/index.csv", "");
    EXPECT_THAT(step(RingFollower::State::Pending), IsEmpty());
    write("log/index.csv", "version:1\n0,2\n");
    fs::remove(path("log/index.bak"));
    append(2, line("c5"));
    EXPECT_THAT(step(), ElementsAre("c5"));
    EXPECT_THAT(damage_, IsEmpty());
}

TEST_F(FollowerTest, Step_IndexStaysUnusable_IsToldOnce) {
    makeRing();
    follow(0);
    step();
    write("log/index.csv", "");
    step(RingFollower::State::Pending);
    EXPECT_THAT(damage_, IsEmpty());
    step(RingFollower::State::Pending);
    step(RingFollower::State::Pending);
    EXPECT_THAT(damage_, ElementsAre(HasSubstr("the index is missing or damaged")));
}

TEST_F(FollowerTest, Step_IndexIsNoFile_CountsAsUnusable) {
    makeRing();
    fs::remove(path("log/index.csv"));
    ASSERT_EQ(mkfifo(path("log/index.csv").c_str(), 0600), 0);
    follow(1);
    EXPECT_THAT(step(), ElementsAre("a0005000"));
    EXPECT_THAT(damage_, ElementsAre(HasSubstr("the index is missing or damaged")));
}

TEST_F(FollowerTest, Step_DamagedLines_AreToldOnce) {
    start(0, line("one") + "no item\n" + line("two") + "nor this\n");
    writeIndex("0,0");
    follow();
    EXPECT_THAT(step(), ElementsAre("one", "two"));
    EXPECT_THAT(damage_, ElementsAre(path("log/0.csv") +
                                     ": 2 lines that are not items, at offset 19 and after; left out"));
    EXPECT_THAT(step(), IsEmpty());
    append(0, line("three") + "nor that\n");
    EXPECT_THAT(step(), ElementsAre("three"));
    EXPECT_THAT(damage_,
                ElementsAre(HasSubstr("at offset 19"), HasSubstr("1 line that is not an item, at offset")));
}

TEST_F(FollowerTest, Step_UnfinishedLineAsLongAsTheStoreReads_IsDamageWhenItGoesOn) {
    const std::string noItem(256, 'x');
    for (const char *rest : {"\n", "x\n"}) {
        start(0, line("one") + noItem);
        writeIndex("0,0");
        follow();
        damage_.clear();
        EXPECT_THAT(step(), ElementsAre("one"));
        EXPECT_THAT(step(), IsEmpty());
        EXPECT_THAT(damage_, IsEmpty());
        append(0, rest + line("two"));
        EXPECT_THAT(step(), ElementsAre("two"));
        ASSERT_FALSE(damage_.empty());
        EXPECT_THAT(damage_.front(), ContainsRegex("line that is not an item|lines that are not items"));
        EXPECT_THAT(damage_.front(), HasSubstr("at offset " + std::to_string(line("one").size())));
    }
}

TEST_F(FollowerTest, Step_UnfinishedItemAsLongAsTheStoreReads_IsGivenAtOnce) {
    const std::string text(256 - line("").size() + 1, 'x');
    const std::string whole = line(text);
    start(0, whole.substr(0, whole.size() - 1));
    writeIndex("0,0");
    follow();
    EXPECT_THAT(step(), ElementsAre(text.substr(0, 199)));
    EXPECT_THAT(step(), IsEmpty());
}

TEST_F(FollowerTest, Step_FileThatIsNone_IsToldAndPassed) {
    start(0, line("one"));
    makeDirectory(fileName(1));
    start(2, line("two"));
    writeIndex("0,2");
    follow();
    EXPECT_THAT(step(), ElementsAre("one", "two"));
    EXPECT_THAT(damage_, ElementsAre(path("log/1.csv") + ": not a regular file; its items are left out"));
}

TEST_F(FollowerTest, Step_NobodyWantsMore_EndsAtThatItem) {
    start(0, line("one") + line("two") + line("three"));
    writeIndex("0,0");
    lastWanted_ = "two";
    follow();
    EXPECT_THAT(step(RingFollower::State::Ended), ElementsAre("one", "two"));
    EXPECT_THAT(step(), ElementsAre("three"));
}

TEST_F(FollowerTest, Step_Looking_ChangesNothing) {
    makeRing();
    const std::string before = stateOf(path("log"));
    follow(UINT64_MAX);
    step();
    step();
    EXPECT_TRUE(stateOf(path("log")) == before);
}

TEST_F(FollowerTest, IsNew_ItemsOfTheFirstLookAndLaterOnes_ToldApart) {
    makeRing();
    const uint64_t size = read("log/2.csv").size();
    std::vector<bool> areNew;
    onItem_ = [&](const std::string &text) {
        tool::Item item;
        item.offset = text == "new" ? size : 0;
        areNew.push_back(follower_->isNew(item));
    };
    follow(4);
    EXPECT_EQ(step().size(), 4U);
    EXPECT_THAT(areNew, ElementsAre(false, false, false, false));
    append(2, line("new"));
    EXPECT_THAT(step(), ElementsAre("new"));
    append(2, lines("d", kFull - 4));
    step();
    start(0, line("next"));
    writeIndex("1,0");
    areNew.resize(5);
    EXPECT_THAT(step(), ElementsAre("next"));
    // Whatever its place is, it is in a file that was begun after the first look.
    EXPECT_THAT(areNew, ElementsAre(false, false, false, false, true, true));
}

}  // namespace
}  // namespace test
