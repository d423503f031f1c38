// SPDX-License-Identifier: Apache-2.0
// A follower whose log is cleared, repaired, replaced or renamed meanwhile.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "followed_log.h"
#include "system/failure.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tool::RingFollower;

TEST_F(FollowerTest, Step_Cleared_GivesNothingOldAndWhatComesThen) {
    makeRing();
    follow(0);
    step();
    append(2, line("before"));
    writeIndex("0,0");  // What 0.csv held is still there.
    EXPECT_THAT(step(), ElementsAre("before"));
    // A store that had the former file open continues with it until its next pause.
    append(2, line("into the former file"));
    EXPECT_THAT(step(), ElementsAre("into the former file"));
    start(0, line("after"));
    EXPECT_THAT(step(), ElementsAre("after"));
    append(0, line("and on"));
    EXPECT_THAT(step(), ElementsAre("and on"));
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_ClearedAndWrittenBeyondItsFormerSize_IsSeenAsNew) {
    start(0, lines("a", 100));
    start(1, lines("b", 2));
    writeIndex("0,1");
    follow(0);
    step();
    writeIndex("0,0");
    start(0, lines("c", 200));
    EXPECT_EQ(step(), numberedTexts("c", 1, 200));
}

TEST_F(FollowerTest, Step_ClearedAndStartedAnew_SkipsWhatTheNextFileHeldBefore) {
    makeRing();
    follow(0);
    step();
    start(0, lines("a", 10));
    append(2, lines("c", 1, 4));
    EXPECT_THAT(step(), ElementsAre("c0000004"));
    follow(0);
    step();
    writeIndex("0,0");
    EXPECT_THAT(step(), IsEmpty());
    append(0, line("appended"));
    EXPECT_THAT(step(), ElementsAre("appended"));
}

TEST_F(FollowerTest, Step_ClearedToFileThatIsNotThereYet_GoesOnWhenItComes) {
    start(0, line("a"));
    writeIndex("0,0");
    follow(0);
    step();
    writeIndex("1,1");
    EXPECT_THAT(step(), IsEmpty());
    start(1, line("b"));
    EXPECT_THAT(step(), ElementsAre("b"));
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_FileStartedAfresh_IsReadFromItsBeginning) {
    start(0, line("one") + line("two"));
    writeIndex("0,0");
    follow(0);
    step();
    start(0, line("less"));
    EXPECT_THAT(step(), ElementsAre("less"));
    // More than was there before: only the content shows the change.
    start(0, line("mine") + line("more") + line("most"));
    EXPECT_THAT(step(), ElementsAre("mine", "more", "most"));
    start(0, "");
    EXPECT_THAT(step(), IsEmpty());
    append(0, line("on"));
    EXPECT_THAT(step(), ElementsAre("on"));
}

TEST_F(FollowerTest, Step_DirectoryMissing_WaitsAndThenGivesAll) {
    fs::remove(path("log"));
    follow(0);
    EXPECT_THAT(step(RingFollower::State::Pending), IsEmpty());
    EXPECT_THAT(step(RingFollower::State::Pending), IsEmpty());
    EXPECT_THAT(notes_, ElementsAre(path("log") + ": does not exist yet; waiting for it"));
    makeDirectory("log");
    EXPECT_THAT(step(), IsEmpty());
    writeIndex("0,0");
    start(0, line("one"));
    EXPECT_THAT(step(), ElementsAre("one"));
}

TEST_F(FollowerTest, Step_EmptyDirectory_AllThatComesIsNew) {
    follow(0);
    EXPECT_THAT(step(), IsEmpty());
    start(0, line("one"));
    writeIndex("0,0");
    EXPECT_THAT(step(), ElementsAre("one"));
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_DirectoryIsFile_Fails) {
    fs::remove(path("log"));
    write("log", "");
    follow();
    EXPECT_THROW(follower_->step(), tool::Failure);
}

TEST_F(FollowerTest, Step_LogRepaired_GoesOnBehindWhatItGave) {
    start(0, line("a1") + "no item\n" + line("a2") + line("a2"));
    start(1, line("b1") + std::string(20, '\0') + "\n" + line("same") + line("same") + line("same"));
    writeIndex("0,1");
    follow();
    EXPECT_EQ(step().size(), 7U);
    // The follower has not read it yet when the repaired copy takes the log's place.
    append(1, line("late"));
    makeCopy({line("a1") + line("a2") + line("a2"),
              line("b1") + line("same") + line("same") + line("same") + line("late") + line("new")});
    fs::rename(path("log"), path("backup"));
    fs::rename(path("copy"), path("log"));
    EXPECT_THAT(step(), ElementsAre("late", "new"));
    append(1, line("on"));
    EXPECT_THAT(step(), ElementsAre("on"));
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(FollowerTest, Step_RepairBringsBackHiddenItems_StillGoesOnBehindTheLastOne) {
    start(0, line("a1") + line("a2"));
    writeIndex("0,0");
    follow();
    step();
    makeCopy({line("hidden") + line("a1") + line("a2") + line("new")});
    fs::rename(path("log"), path("backup"));
    EXPECT_THAT(step(RingFollower::State::Pending), IsEmpty());
    fs::rename(path("copy"), path("log"));
    EXPECT_THAT(step(), ElementsAre("new"));
    EXPECT_THAT(notes_, ElementsAre(path("log") + ": no longer exists; waiting for it to come back"));
}

TEST_F(FollowerTest, Step_RepairLeavesOutTheEmptyNewestFile_RepeatsNothing) {
    start(0, line("a1") + line("a2"));
    start(1, "");
    writeIndex("0,1");
    follow(0);
    step();
    makeCopy({line("a1") + line("a2") + line("new")});
    fs::rename(path("log"), path("backup"));
    fs::rename(path("copy"), path("log"));
    EXPECT_THAT(step(), ElementsAre("new"));
}

TEST_F(FollowerTest, Step_AnotherLogInItsPlace_IsGivenFromItsBegin) {
    start(0, line("a1"));
    writeIndex("0,0");
    follow();
    step();
    fs::rename(path("log"), path("former"));
    makeDirectory("log");
    EXPECT_THAT(step(RingFollower::State::Pending), IsEmpty());
    start(0, line("b1"));
    start(1, line("b2"));
    writeIndex("0,1");
    EXPECT_THAT(step(), ElementsAre("b1", "b2"));
    EXPECT_THAT(notes_, ElementsAre(path("log") + ": another log has taken its place and is shown now"));
    append(1, line("b3"));
    EXPECT_THAT(step(), ElementsAre("b3"));
}

TEST_F(FollowerTest, Step_FilesReplacedByLongerCopies_GivesWhatIsNew) {
    start(0, lines("a", 3));
    writeIndex("0,0");
    follow(0);
    step();
    write("log/0.tmp", lines("a", 5));
    fs::rename(path("log/0.tmp"), path("log/0.csv"));
    EXPECT_EQ(step(), numberedTexts("a", 4, 5));
    append(0, lines("a", 1, 6));
    EXPECT_EQ(step(), numberedTexts("a", 6, 6));
}

TEST_F(FollowerTest, Step_NewestFileDeleted_RepeatsNothing) {
    makeRing();
    follow(0);
    step();
    fs::remove(path("log/2.csv"));
    EXPECT_THAT(step(), IsEmpty());
    EXPECT_THAT(notes_, ElementsAre(path("log/2.csv") + ": no longer exists; continuing with the new items"));
    start(2, line("back"));
    EXPECT_THAT(step(), ElementsAre("back"));
}

TEST_F(FollowerTest, Step_FilesRenamedByTidying_GoesOnInTheSameOne) {
    start(0, line("a1"));
    start(1, line("b1"));
    writeIndex("0,1");
    follow();
    step();
    fs::rename(path("log/1.csv"), path("log/5.csv"));
    fs::rename(path("log/0.csv"), path("log/4.csv"));
    writeIndex("4,5");
    append(5, line("b2"));
    EXPECT_THAT(step(), ElementsAre("b2"));
    append(5, line("b3"));
    EXPECT_THAT(step(), ElementsAre("b3"));
    EXPECT_THAT(notes_, IsEmpty());
}

}  // namespace
}  // namespace test
