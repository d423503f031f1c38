// SPDX-License-Identifier: Apache-2.0
// `jorn follow` and `jorn show -f`, run beside the recorder.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "damaged_log.h"
#include "piped_tool.h"

namespace test {
namespace {

using ::testing::ElementsAre;

class FollowTest : public DamagedLogTest {
protected:
    void append(int number, const std::string &bytes) const {
        std::ofstream(path(fileName(number)), std::ios::app | std::ios::binary) << bytes;
    }

    static std::vector<std::string> numbered(int first, int count) {
        return numberedTexts("line", first, first + count - 1);
    }

    static std::string joined(const std::vector<std::string> &texts) {
        std::string lines;
        for (const std::string &text : texts) {
            lines += text + "\n";
        }
        return lines;
    }
};

/// Every part is fed only once the one before it was printed, so that the writer never laps the follower.
TEST_F(FollowTest, Follow_RecorderGoesTwentyTimesThroughItsFiles_EveryLineOnce) {
    constexpr int kRotations = 20;
    constexpr int kPart = 2400;
    PipedTool follower(root_, {"follow", "-p", "2", "new"});
    follower.nextNote();  // It says that there is no such log yet: all that comes is new.
    RunningTool recorder(root_, {"record", "--files", "3", "new"});
    int number = 1;
    for (; number < kRotations * kFull + kPart; number += kPart) {
        const std::vector<std::string> part = numbered(number, kPart);
        recorder.feed(joined(part));
        ASSERT_EQ(follower.nextTexts(kPart), part);
    }
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
    // A last line after a restart of the store.
    ASSERT_EQ(jorn({"record", "new"}, {"the end\n", "", {}, {}}).status, 0);
    EXPECT_THAT(follower.nextTexts(1), ElementsAre("the end"));
    EXPECT_EQ(follower.end(SIGTERM), 0);
    EXPECT_EQ(follower.rest(), "");
    EXPECT_GE(number / kFull, kRotations);
}

TEST_F(FollowTest, FollowPoll_RecorderMovesOn_EveryLineOnce) {
    PipedTool follower(root_, {"follow", "--poll", "-p", "2", "new"});
    follower.nextNote();
    RunningTool recorder(root_, {"record", "--files", "2", "new"});
    for (int number = 1; number < 8000; number += 2000) {
        recorder.feed(joined(numbered(number, 2000)));
        ASSERT_EQ(follower.nextTexts(2000), numbered(number, 2000));
    }
    EXPECT_EQ(follower.end(SIGINT), 0);
}

TEST_F(FollowTest, Follow_Repaired_GoesOnBehindWhatItGave) {
    writeFiles({0, 1});
    append(1, "no item\n" + dataLine(kFirstTime + 20, 1, 0, "last"));
    writeIndex("0,1");
    age();
    PipedTool follower(root_, {"follow", "-n", "1", "log"});
    EXPECT_THAT(follower.nextTexts(1), ElementsAre("last"));
    ASSERT_EQ(repair({"--yes", "--backup", path("backup")}).status, 0);
    ASSERT_EQ(jorn({"record", "log"}, {"new\n", "", {}, {}}).status, 0);
    EXPECT_THAT(follower.nextTexts(2), ElementsAre("Log start init!", "new"));
    EXPECT_EQ(follower.end(SIGTERM), 0);
}

TEST_F(FollowTest, ShowFollow_ByShortCommand_PrintsLikeShow) {
    writeFiles({0}, 3);
    writeIndex("0,0");
    PipedTool follower(root_, {"-f", "log", "--utc", "-n", "1", "-o", "csv"});
    EXPECT_EQ(follower.nextLine(), "time,level,slot,text");
    EXPECT_EQ(follower.nextLine(), linesOf(read("log/0.csv")).back());
    append(0, dataLine(kFirstTime + 9, 0, 7, "a \"new\" one"));
    EXPECT_EQ(follower.nextLine(), "1700000009,0,7,\"a \"\"new\"\" one\"");
    EXPECT_EQ(follower.end(SIGTERM), 0);
}

TEST_F(FollowTest, Follow_MissingDirectory_WaitsAndTellsOnce) {
    PipedTool follower(root_, {"follow", "-n", "0", "-p", "2", "new"});
    EXPECT_EQ(follower.nextNote(), "jorn: note: new: does not exist yet; waiting for it");
    ASSERT_EQ(jorn({"record", "new"}, {"one\ntwo\n", "", {}, {}}).status, 0);
    EXPECT_THAT(follower.nextTexts(2), ElementsAre("one", "two"));
    EXPECT_EQ(follower.end(SIGINT), 0);
}

TEST_F(FollowTest, Follow_MissingDirectoryAndUntilHasPassed_Ends) {
    const Outcome run = jorn({"follow", "-U", "@1700000000", "new"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "jorn: note: new: does not exist yet; waiting for it\n");
    EXPECT_EQ(jorn({"follow", "-q", "-U", "@1700000000", "new"}).status, 1);
}

/// The system sends no event for an empty directory that is removed while it is open.
TEST_F(FollowTest, Follow_EmptyDirectoryMadeAgain_GoesOnThere) {
    makeDirectory("new");
    PipedTool follower(root_, {"follow", "-o", "csv", "new"});
    EXPECT_EQ(follower.nextLine(), "time,level,slot,text");
    std::filesystem::remove(path("new"));
    EXPECT_EQ(follower.nextNote(), "jorn: note: new: no longer exists; waiting for it to come back");
    ASSERT_EQ(jorn({"record", "new"}, {"one\n", "", {}, {}}).status, 0);
    EXPECT_THAT(follower.nextLine(), ::testing::EndsWith(",Log start init!"));
    EXPECT_THAT(follower.nextLine(), ::testing::EndsWith(",one"));
    EXPECT_EQ(follower.end(SIGINT), 0);
}

TEST_F(FollowTest, Follow_LinkIsTurned_GoesOnWithTheOtherLog) {
    ASSERT_EQ(jorn({"record", "first"}, {"one\n", "", {}, {}}).status, 0);
    ASSERT_EQ(jorn({"record", "second"}, {"two\n", "", {}, {}}).status, 0);
    std::filesystem::create_symlink("first", path("current"));
    PipedTool follower(root_, {"follow", "-p", "2", "current"});
    EXPECT_THAT(follower.nextTexts(1), ElementsAre("one"));
    std::filesystem::create_symlink("second", path("next"));
    std::filesystem::rename(path("next"), path("current"));
    EXPECT_THAT(follower.nextTexts(1), ElementsAre("two"));
    EXPECT_EQ(follower.nextNote(), "jorn: note: current: another log has taken its place and is shown now");
    EXPECT_EQ(follower.end(SIGINT), 0);
}

TEST_F(FollowTest, Follow_NoStandardOutput_Fails) {
    writeFiles({0}, 1);
    writeIndex("0,0");
    Setting setting;
    setting.closed = {STDOUT_FILENO};
    setting.processorSeconds = 20;
    const Outcome run = jorn({"follow", "log"}, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: standard output: Bad file descriptor\n");
}

TEST_F(FollowTest, Follow_MissingDirectoryAndWrongFilter_RefusedAtOnce) {
    EXPECT_EQ(jorn({"follow", "new", "-g", "("}).status, 2);
    EXPECT_EQ(jorn({"follow", "new", "-p", "7"}).status, 2);
}

TEST_F(FollowTest, Follow_OutputClosedWhileNothingComes_Ends) {
    writeFiles({0}, 1);
    writeIndex("0,0");
    PipedTool follower(root_, {"follow", "log"});
    follower.nextLine();
    follower.closeOutput();
    EXPECT_EQ(follower.end(), 0);
}

TEST_F(FollowTest, Follow_ReaderDoesNotRead_SignalEndsItAllTheSame) {
    writeFiles({0}, kFull);
    writeIndex("0,0");
    PipedTool follower(root_, {"follow", "-n", "all", "log"});
    // Its first line has come, the rest does not fit the pipe.
    follower.nextLine();
    EXPECT_EQ(follower.end(SIGTERM), 0);
}

TEST_F(FollowTest, Follow_UntilPassed_PrintsAndEnds) {
    writeFiles({0}, 3);
    writeIndex("0,0");
    const Outcome run = jorn({"follow", "log", "-n", "2", "-U", "yesterday"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(shownTexts(run.out).size(), 2U);
    EXPECT_EQ(jorn({"follow", "log", "-U", "yesterday", "-g", "nowhere"}).status, 1);
    EXPECT_EQ(jorn({"follow", "log", "-U", "yesterday", "-q", "-s", "7"}).status, 1);
}

TEST_F(FollowTest, FollowQuiet_MatchComes_EndsWithoutAWord) {
    writeFiles({0}, 3);
    writeIndex("0,0");
    PipedTool follower(root_, {"follow", "-q", "-g", "ready", "new"});
    follower.nextNote();
    ASSERT_EQ(jorn({"record", "new"}, {"not yet\nready now\n", "", {}, {}}).status, 0);
    EXPECT_EQ(follower.end(), 0);
    EXPECT_EQ(follower.rest(), "");
    EXPECT_EQ(jorn({"follow", "-q", "log"}).status, 0);
}

TEST_F(FollowTest, Follow_DamagedLine_NotedAndToldByExitCode) {
    write("log/0.csv", dataLine(kFirstTime, 1, 0, "one") + "no item\n" + dataLine(kFirstTime, 1, 0, "two"));
    writeIndex("0,0");
    const Outcome run = jorn({"follow", "log", "-U", "yesterday"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(shownTexts(run.out), ElementsAre("one", "two"));
    EXPECT_EQ(run.err, "jorn: note: log/0.csv: 1 line that is not an item, at offset 19; left out\n");
}

TEST_F(FollowTest, Follow_WrongUsage_Refused) {
    EXPECT_EQ(jorn({"follow"}).status, 2);
    EXPECT_EQ(jorn({"follow", "-n", "x", "log"}).status, 2);
    EXPECT_EQ(jorn({"show", "-f", "-r", "log"}).status, 2);
    EXPECT_EQ(jorn({"show", "-f", "--page", "1", "log"}).status, 2);
    EXPECT_EQ(jorn({"show", "--poll", "log"}).status, 2);
}

}  // namespace
}  // namespace test
