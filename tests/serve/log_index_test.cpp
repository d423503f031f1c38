// SPDX-License-Identifier: Apache-2.0
// What is in view while files change underneath.
#include <gmock/gmock.h>

#include <algorithm>

#include "serve/log_index.h"
#include "served_ring.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tool::LogIndex;

class LogIndexTest : public ServeTest {
protected:
    int64_t serialOf(const std::string &text) {
        const tool::LogView &view = *logs_->now()->logs[0];
        for (const tool::LogBlock &block : view.blocks) {
            tool::BlockReader reader(block);
            for (size_t row = 0; row < block.size(); ++row) {
                if (tool::textIn(reader.lineAt(block.columns->offsets[row]).bytes) == text) {
                    return block.firstSerial + static_cast<int64_t>(row);
                }
            }
        }
        return -1000000;
    }
    uint64_t revision() { return logs_->now()->revision; }

    /// As if nobody had written to a file for an hour.
    void age(int number) const {
        std::filesystem::last_write_time(
            path("log/" + std::to_string(number) + ".csv"),
            std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
};

TEST_F(LogIndexTest, Refresh_NothingNew_IsTheSameView) {
    makeLog(line("one"));
    serve();
    const uint64_t before = revision();
    EXPECT_TRUE(logs_->refreshAll());
    EXPECT_EQ(revision(), before);
}

TEST_F(LogIndexTest, Refresh_ItemsAppended_KeepTheirNumbers) {
    makeLog(line("one"));
    serve();
    const int64_t one = serialOf("one");
    append(0, line("two"));
    logs_->refreshAll();
    EXPECT_EQ(serialOf("one"), one);
    EXPECT_EQ(serialOf("two"), one + 1);
    append(0, line("three"));
    start(1, line("four"));
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_EQ(serialOf("three"), one + 2);
    EXPECT_EQ(serialOf("four"), one + 3);
}

TEST_F(LogIndexTest, Refresh_UnfinishedLine_WaitsForItsRest) {
    makeLog(line("one") + "1700000000,1,0,tw");
    serve();
    EXPECT_THAT(texts(), ElementsAre("one"));
    append(0, "o halves\n");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("two halves", "one"));
}

TEST_F(LogIndexTest, Refresh_UnfinishedLineOfFileThatIsLeft_IsInView) {
    makeLog(line("one") + "1700000000,1,0,torn");
    serve();
    start(1, line("next"));
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("next", "torn", "one"));
}

TEST_F(LogIndexTest, Refresh_UnfinishedLineThatNobodyContinues_ComesIntoView) {
    makeLog(line("one") + "1700000000,1,0,torn");
    serve();
    EXPECT_THAT(texts(), ElementsAre("one"));
    age(0);
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("torn", "one"));
    const uint64_t before = revision();
    logs_->refreshAll();
    EXPECT_EQ(revision(), before);
}

TEST_F(LogIndexTest, Refresh_UnfinishedLineInViewIsContinued_WholeLineTakesItsPlace) {
    makeLog(line("one") + "1700000001,1,0,door op");
    age(0);
    serve();
    EXPECT_THAT(texts(), ElementsAre("door op", "one"));
    const int64_t half = serialOf("door op");
    append(0, "en, left, 5\n");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("door open, left, 5", "one"));
    EXPECT_EQ(json("histogram")["first"], kTime);
    EXPECT_EQ(serialOf("door open, left, 5"), half + 1);
    append(0, line("two", kTime + 2) + "1700000003,1,0,thr");
    age(0);
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("thr", "two", "door open, left, 5", "one"));
    append(0, "ee");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("two", "door open, left, 5", "one"));
    append(0, "\n");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("three", "two", "door open, left, 5", "one"));
}

TEST_F(LogIndexTest, Refresh_OnlyLineIsUnfinishedAndContinued_WholeLineIsNew) {
    makeLog("1700000001,1,0,door op");
    age(0);
    serve();
    EXPECT_THAT(texts(), ElementsAre("door op"));
    const uint64_t epoch = logs_->now()->logs[0]->epoch;
    const int64_t half = serialOf("door op");
    append(0, "en\n");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("door open"));
    EXPECT_EQ(serialOf("door open"), half + 1);
    EXPECT_EQ(logs_->now()->logs[0]->epoch, epoch);
}

TEST_F(LogIndexTest, Refresh_BeginningOfANumberIsContinued_WholeLineIsRead) {
    makeLog(line("one") + "17000");
    age(0);
    serve();
    EXPECT_THAT(texts(), ElementsAre("one"));
    append(0, "00002,0,3,gate open\n");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("gate open", "one"));
    EXPECT_EQ(json("items")["items"][0]["time"], 1700000002);
}

TEST_F(LogIndexTest, Refresh_FileStartedAfreshByTheRing_LeavesTheView) {
    start(0, line("a"));
    start(1, line("b"));
    start(2, line("c"));
    writeIndex("0,2");
    serve();
    const int64_t b = serialOf("b");
    start(0, "");
    writeIndex("1,0");
    append(0, line("d"));
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("d", "c", "b"));
    EXPECT_EQ(serialOf("b"), b);
    EXPECT_EQ(serialOf("d"), b + 2);
}

TEST_F(LogIndexTest, Refresh_WriterWentOnBySeveralFiles_FilesOfTheSameSizeAreReadAnew) {
    start(0, line("a"));
    start(1, line("b"));
    start(2, line("c"));
    writeIndex("0,2");
    serve();
    start(0, line("d"));
    start(1, line("e"));
    writeIndex("2,1");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("e", "d", "c"));
}

TEST_F(LogIndexTest, Refresh_FileReplacedUnderTheSameIndex_IsReadAnew) {
    makeLog(line("one") + line("two"));
    serve();
    const int64_t two = serialOf("two");
    start(0, line("other") + line("others") + line("more"));
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("more", "others", "other"));
    EXPECT_EQ(serialOf("other"), two + 1);
}

TEST_F(LogIndexTest, Refresh_LogCleared_OldItemsInFrontKeepTheirNumbers) {
    start(0, line("a"));
    start(1, line("b"));
    writeIndex("0,1");
    serve();
    const int64_t a = serialOf("a");
    const int64_t b = serialOf("b");
    writeIndex("0,0");
    append(0, line("new"));
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("new", "a"));
    EXPECT_EQ(serialOf("a"), a);
    EXPECT_EQ(serialOf("new"), b + 1);
    append(0, line("newer"));
    logs_->refreshAll();
    EXPECT_EQ(serialOf("newer"), b + 2);
    EXPECT_THAT(texts(), ElementsAre("newer", "new", "a"));
}

TEST_F(LogIndexTest, Refresh_OlderItemsComeBack_AreNotTakenForNew) {
    start(0, line("a"));
    start(1, line("b"));
    writeIndex("1,1");
    serve();
    const int64_t b = serialOf("b");
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("b", "a"));
    EXPECT_EQ(serialOf("b"), b);
    EXPECT_EQ(serialOf("a"), b - 1);
}

TEST_F(LogIndexTest, Refresh_ItemsComeBetweenOthers_FollowersBeginAnew) {
    start(0, line("a"));
    start(2, line("c"));
    writeIndex("0,2");
    serve();
    EXPECT_THAT(texts(), ElementsAre("c", "a"));
    const uint64_t epoch = logs_->now()->logs[0]->epoch;
    start(1, line("b"));
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("c", "b", "a"));
    EXPECT_EQ(logs_->now()->logs[0]->epoch, epoch + 1);
    EXPECT_LT(serialOf("a"), serialOf("b"));
    EXPECT_LT(serialOf("b"), serialOf("c"));
}

TEST_F(LogIndexTest, Refresh_FilesRenamedByAStart_KeepTheirItems) {
    start(3, line("a"));
    start(4, line("b"));
    writeIndex("3,4");
    serve();
    const int64_t a = serialOf("a");
    std::filesystem::rename(path("log/3.csv"), path("log/0.csv"));
    std::filesystem::rename(path("log/4.csv"), path("log/1.csv"));
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("b", "a"));
    EXPECT_EQ(serialOf("a"), a);
}

TEST_F(LogIndexTest, Refresh_DirectoryReplaced_IsTheNewOnesView) {
    makeLog(line("one"));
    serve();
    makeLog(line("other"), "copy");
    std::filesystem::rename(path("log"), path("away"));
    std::filesystem::rename(path("copy"), path("log"));
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("other"));
}

TEST_F(LogIndexTest, Question_FileEmptiedBeforeTheLook_IsAnsweredFromTheNewView) {
    start(0, line("a"));
    start(1, line("b"));
    writeIndex("0,1");
    serve();
    start(0, line("new"));
    writeIndex("1,0");
    EXPECT_THAT(texts(), ElementsAre("new", "b"));
    start(1, line("newer"));
    writeIndex("0,1");
    EXPECT_THAT(texts({{"q", "b|new"}}), ElementsAre("newer", "new"));
}

}  // namespace
}  // namespace test
