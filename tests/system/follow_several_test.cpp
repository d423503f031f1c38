// SPDX-License-Identifier: Apache-2.0
// `jorn follow` of several logs at once.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "piped_tool.h"
#include "several_logs.h"

namespace test {
namespace {

using ::testing::ElementsAre;

class FollowSeveralTest : public SeveralLogsTest {
protected:
    void append(const std::string &file, const std::string &lines) const {
        std::ofstream(path(file), std::ios::app | std::ios::binary) << lines;
    }

    static std::string line(uint32_t after, const std::string &text) {
        return dataLine(kMidnight + after, 1, 0, text);
    }
};

/// Ends by itself, as nothing can come that is as old.
TEST_F(FollowSeveralTest, Follow_StartView_AsShowPrintsIt) {
    writeDoorAndGate();
    const std::string shown = printed({"show", "-n", "3", "-U", "2023-12-01", "door", "gate"});
    EXPECT_EQ(linesOf(shown).size(), 3U);
    EXPECT_EQ(printed({"follow", "-n", "3", "-U", "2023-12-01", "door", "gate"}), shown);
    EXPECT_EQ(printed({"follow", "-n", "0", "-U", "2023-12-01", "door", "gate"}), "");
    const std::vector<std::string> forms = {"short", "cat", "csv", "json"};
    for (const std::string &form : forms) {
        EXPECT_EQ(printed({"follow", "-n", "all", "-o", form, "-U", "2023-12-01", "door", "gate"}),
                  printed({"show", "-n", "all", "-o", form, "-U", "2023-12-01", "door", "gate"}));
    }
}

/// More than are held before they are printed.
TEST_F(FollowSeveralTest, Follow_ManyItems_AsShowPrintsThem) {
    std::vector<std::string> odd(5);
    std::vector<std::string> even(5);
    for (uint32_t number = 0; number < 40000; ++number) {
        std::vector<std::string> &files = number % 2 == 0 ? even : odd;
        files[number / 8000] += line(number, std::to_string(number));
    }
    writeLog("odd", odd);
    writeLog("even", even);
    for (const char *const newest : {"all", "25000"}) {
        EXPECT_TRUE(printed({"follow", "-n", newest, "-U", "2023-12-01", "odd", "even"}) ==
                    printed({"show", "-n", newest, "-U", "2023-12-01", "odd", "even"}));
    }
    EXPECT_TRUE(printed({"follow", "-n", "all", "-U", "2023-12-01", "odd"}) ==
                printed({"show", "-n", "all", "-U", "2023-12-01", "odd"}));
}

TEST_F(FollowSeveralTest, Follow_ItemsThatComeTogether_MergedByTimeEachInItsOwnOrder) {
    writeDoorAndGate();
    PipedTool follower(root_, {"follow", "-n", "1", "-o", "cat", "door", "gate"});
    EXPECT_EQ(follower.nextLine(), "gate g4");
    append("gate/0.csv", line(40, "g5"));
    EXPECT_EQ(follower.nextLine(), "gate g5");
    follower.halt();
    append("gate/0.csv", line(50, "g6") + line(60, "g7"));
    append("door/1.csv", line(55, "d5") + line(20, "d6") + line(60, "d7"));
    follower.resume();
    EXPECT_EQ(follower.nextLine(), "gate g6");
    EXPECT_EQ(follower.nextLine(), "door d5");
    EXPECT_EQ(follower.nextLine(), "door d6");
    EXPECT_EQ(follower.nextLine(), "door d7");
    EXPECT_EQ(follower.nextLine(), "gate g7");
    // What comes later is printed later, however old it is.
    append("door/1.csv", line(1, "d8"));
    EXPECT_EQ(follower.nextLine(), "door d8");
    EXPECT_EQ(follower.end(SIGTERM), 0);
    EXPECT_EQ(follower.rest(), "");
}

TEST_F(FollowSeveralTest, Follow_DirectoriesThatAreMissing_FollowedOnceTheyAreThere) {
    writeDoorAndGate();
    PipedTool follower(root_, {"follow", "-n", "1", "-o", "cat", "late", "gate", "later"});
    EXPECT_EQ(follower.nextNote(), "jorn: note: late: does not exist yet; waiting for it");
    EXPECT_EQ(follower.nextNote(), "jorn: note: later: does not exist yet; waiting for it");
    EXPECT_EQ(follower.nextLine(), "gate  g4");
    std::string many;
    for (uint32_t number = 0; number < 12; ++number) {
        many += line(number, std::to_string(number));
    }
    writeLog("made", {many});
    std::filesystem::rename(path("made"), path("late"));
    for (int number = 0; number < 12; ++number) {
        EXPECT_EQ(follower.nextLine(), "late  " + std::to_string(number));
    }
    append("gate/0.csv", line(1, "g5"));
    EXPECT_EQ(follower.nextLine(), "gate  g5");
    EXPECT_EQ(follower.end(SIGTERM), 0);
}

TEST_F(FollowSeveralTest, Follow_AllMissing_HeadingOnceTheFirstIsThere) {
    PipedTool follower(root_, {"follow", "-o", "csv", "a", "b"});
    EXPECT_EQ(follower.nextNote(), "jorn: note: a: does not exist yet; waiting for it");
    EXPECT_EQ(follower.nextNote(), "jorn: note: b: does not exist yet; waiting for it");
    writeLog("made", {line(0, "x")});
    std::filesystem::rename(path("made"), path("b"));
    EXPECT_EQ(follower.nextLine(), "time,level,slot,text,log");
    EXPECT_EQ(follower.nextLine(), "1700006400,1,0,x,b");
    EXPECT_EQ(follower.end(SIGTERM), 0);
}

/// Each part is fed once the one before it was printed, so that no writer laps the follower.
TEST_F(FollowSeveralTest, Follow_TwoRecordersGoRoundTheirRings_EveryLineOnceInItsOrder) {
    PipedTool follower(root_, {"follow", "-o", "cat", "-p", "2", "-g", "line", "left", "right"});
    follower.nextNote();
    follower.nextNote();
    RunningTool left(root_, {"record", "--files", "2", "left"});
    RunningTool right(root_, {"record", "--files", "2", "right"});
    constexpr int kPart = 3000;
    for (int part = 0; part < 5; ++part) {
        left.feed(numberedLines("line" + std::to_string(part) + "l", kPart));
        right.feed(numberedLines("line" + std::to_string(part) + "r", kPart));
        std::vector<std::string> ofLeft;
        std::vector<std::string> ofRight;
        for (int count = 0; count < 2 * kPart; ++count) {
            const std::string next = follower.nextLine();
            (next.substr(0, 4) == "left" ? ofLeft : ofRight).push_back(next);
        }
        ASSERT_EQ(ofLeft, numberedTexts("left  line" + std::to_string(part) + "l", 1, kPart));
        ASSERT_EQ(ofRight, numberedTexts("right line" + std::to_string(part) + "r", 1, kPart));
    }
    EXPECT_EQ(follower.end(SIGTERM), 0);
    EXPECT_EQ(follower.rest(), "");
}

TEST_F(FollowSeveralTest, Follow_LogIsReplaced_GoesOnInTheOther) {
    writeDoorAndGate();
    PipedTool follower(root_, {"follow", "-n", "1", "-o", "cat", "door", "gate"});
    EXPECT_EQ(follower.nextLine(), "gate g4");
    std::filesystem::rename(path("door"), path("old"));
    EXPECT_EQ(follower.nextNote(), "jorn: note: door: no longer exists; waiting for it to come back");
    append("gate/0.csv", line(50, "g5"));
    EXPECT_EQ(follower.nextLine(), "gate g5");
    writeLog("made", {line(0, "new")});
    std::filesystem::rename(path("made"), path("door"));
    EXPECT_EQ(follower.nextLine(), "door new");
    EXPECT_EQ(follower.end(SIGTERM), 0);
}

TEST_F(FollowSeveralTest, Follow_Quiet_EndsAtTheFirstMatchInAny) {
    writeDoorAndGate();
    PipedTool follower(root_, {"follow", "-q", "-g", "ready", "door", "gate"});
    append("door/1.csv", line(50, "other"));
    append("gate/0.csv", line(50, "ready"));
    EXPECT_EQ(follower.end(), 0);
    EXPECT_EQ(follower.rest(), "");
    expectError({"follow", "-q", "-g", "ready", "-U", "2023-12-01", "door", "door/../gate"}, 0, "");
    expectError({"follow", "-q", "-g", "steady", "-U", "2023-12-01", "door", "gate"}, 1, "");
}

TEST_F(FollowSeveralTest, Follow_Damage_NotedBeforeWhatFollowsAndExitCodeThree) {
    writeDoorAndGate();
    append("gate/0.csv", "no item\n" + line(40, "g5"));
    const Outcome run = jorn({"follow", "-o", "cat", "-n", "2", "-U", "2023-12-01", "door", "gate"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "gate g4\ngate g5\n");
    EXPECT_THAT(run.err, ::testing::HasSubstr("jorn: note: gate/0.csv: 1 line that "));
}

TEST_F(FollowSeveralTest, Follow_WrongDirectory_ReportedAndTheOthersFollowed) {
    writeDoorAndGate();
    write("file", "");
    expectError({"follow", "-o", "cat", "-n", "2", "-U", "2023-12-01", "door", "file", "gate"}, 4,
                "jorn: file: Not a directory\n", "door d4\ngate g4\n");
    write("other", "");
    expectError({"follow", "file", "other"}, 4,
                "jorn: file: Not a directory\njorn: other: Not a directory\n");
    expectError({"follow", "door", "./door"}, 2, "jorn: ./door and door are the same directory\n");
    expectError({"follow", "missing", "./missing/"}, 2,
                "jorn: ./missing/ and missing are the same directory\n");
}

TEST_F(FollowSeveralTest, Follow_NamesOfSlots_AreEachLogsOwn) {
    writeDoorAndGate();
    writeNames("door", "[slots]\n5 = lock\n");
    writeNames("gate", "[slots]\n3 = lock\n");
    EXPECT_EQ(printed({"follow", "-o", "cat", "-s", "lock", "-U", "2023-12-01", "door", "gate"}),
              "door d1\ndoor d4\ngate g4\n");
    writeNames("gate", "");
    EXPECT_EQ(printed({"follow", "-o", "cat", "-s", "lock", "-U", "2023-12-01", "door", "gate"}),
              "door d1\ndoor d4\n");
    expectError({"follow", "-s", "window", "door", "gate"}, 2,
                "jorn: slot 'window' is neither a number from 0 to 7 nor a known name\n");
    expectError({"follow", "-s", "window", "door", "missing"}, 2,
                "jorn: slot 'window' is neither a number from 0 to 7 nor a known name\n");
}

}  // namespace
}  // namespace test
