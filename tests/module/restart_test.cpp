// SPDX-License-Identifier: Apache-2.0
// Restart: every object is destroyed and created again over the same directory. Queries answer as before,
// ring positions and files are as before, and logging goes on in the right file.
#include <posixPort.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "registry/registry.h"
#include "registry/thread_calls.h"
#include "support/module_test.h"

namespace {

using test::dayStart;
using test::lines;
using test::platform;
using ::testing::ElementsAre;

/// The first day of the items that the tests store: in 2052, beyond the reach of signed 32-bit times.
constexpr int32_t kFirstDay = 30000;

/// The time of everything that is logged after a restart: a day that no item stored before it has.
constexpr uint32_t kRestartTime = dayStart(40000);
constexpr char kInitAfterRestart[] = "3456000000,3,0,Log start init!\n";
constexpr char kItemAfterRestart[] = "3456000000,1,2,after0\n";

/// File names and bytes of a directory.
using Files = std::map<std::string, std::string>;

/// The ring positions of an object.
struct Positions {
    int32_t oldest;
    int32_t latest;
};

bool operator==(const Positions &a, const Positions &b) {
    return a.oldest == b.oldest && a.latest == b.latest;
}

std::ostream &operator<<(std::ostream &out, const Positions &at) {
    return out << at.oldest << " to " << at.latest;
}

/// Requirements of each kind: all, by level, by slot, by days.
std::vector<JORN_REQUIRE> requirements() {
    return {{20, 1, -1, -1, -1, -1, -1},
            {20, 1, -1, -1, 0, 0, -1},
            {20, 1, -1, -1, 1, 0, -1},
            {20, 1, -1, -1, 2, 1, -1},
            {7, 1, -1, -1, -1, -1, 3},
            {20, 1, -1, -1, 1, 1, 4},
            {20, 1, kFirstDay, kFirstDay, -1, -1, -1},
            {20, 1, kFirstDay + 1, kFirstDay + 1, -1, -1, -1},
            {20, 1, kFirstDay + 1, kFirstDay + 2, 2, 0, -1},
            {20, 1, kFirstDay + 1, -1, -1, -1, 0},
            {20, 1, -1, kFirstDay, -1, -1, -1}};
}

/// A page as text: its number, and its records.
std::string pageInWords(int32_t handle, JORN_REQUIRE require, int32_t number) {
    require.pageDisp = number;
    JORN_LOG_PAGE page = {};
    std::string words = "page " + std::to_string(JORN_GetRequireLog(handle, require, &page)) + ":";
    for (int32_t i = 0; i < page.itemsNum; ++i) {
        const JORN_LOG_DISP &item = page.disp[i];
        words +=
            std::string(" ") + item.timeStr + "|" + item.levelStr + "|" + item.slotStr + "|" + item.logStr;
    }
    return words;
}

/// What an object answers: for each requirement the count, the first two pages, one in the middle, and the
/// last.
std::vector<std::string> answers(int32_t handle) {
    std::vector<std::string> all;
    for (const JORN_REQUIRE &require : requirements()) {
        const int32_t count = JORN_CountRequireTotalNum(handle, require);
        all.push_back("count " + std::to_string(count));
        for (const int32_t page : {1, 2, count / require.itemsPerPage / 2 + 1, -1}) {
            all.push_back(pageInWords(handle, require, page));
        }
    }
    return all;
}

int32_t countAll(int32_t handle) { return JORN_CountRequireTotalNum(handle, test::anything()); }

/// The texts of the newest 20 items below the debug level.
std::vector<std::string> newest(int32_t handle) {
    JORN_LOG_PAGE page = {};
    JORN_GetRequireLog(handle, test::anything(), &page);
    return test::texts(page);
}

class StoreRestartTest : public test::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        platform().setTime(dayStart(kFirstDay));
    }

    Files files() const {
        Files all;
        for (const std::string &name : dir_.names()) {
            all[name] = dir_.read(name);
        }
        return all;
    }

    static Positions positions(int32_t handle) {
        return {FindObj(handle)->csv_oldest, FindObj(handle)->csv_latest};
    }

    /// Stores items of one day, `number` of them in runs of changing level and slot, texts numbered
    /// consecutively.
    void fill(int32_t handle, int number, int32_t day) {
        constexpr int kRun = 125;
        for (int done = 0; done < number; done += kRun) {
            const int run = std::min(kRun, number - done);
            platform().setTime(dayStart(static_cast<uint32_t>(day)) + static_cast<uint32_t>(done));
            const int32_t kind = stored_ / kRun;
            store(handle, run, "item", stored_, kind % 3, kind % 8);
            stored_ += run;
        }
        settle();
    }

    /// Creates the object over what is there; afterwards its first item still waits in the queue, as the new
    /// task finished its first pass before the item was sent.
    int32_t create(int32_t csvNum) {
        jorn_SetDebugPrintLevel(0);
        test::onceBefore("semTake", [] { posixPortSettle(); });
        const int32_t handle = JORN_Create(dir_.name(), 8, csvNum);
        EXPECT_EQ(handle, 1);
        return handle;
    }

    int32_t restart(int32_t csvNum) {
        EXPECT_EQ(JORN_Destroy(1), 0);
        EXPECT_EQ(jorn_obj_ptr, nullptr);
        platform().setTime(kRestartTime);
        return create(csvNum);
    }

    /// Restarts, and expects that it changes neither the answers nor a position nor a byte.
    void restartUnchanged(int32_t csvNum) {
        const std::vector<std::string> answersBefore = answers(1);
        const Files filesBefore = files();
        const Positions before = positions(1);
        restart(csvNum);
        EXPECT_EQ(positions(1), before);
        EXPECT_EQ(answers(1), answersBefore);
        EXPECT_EQ(files(), filesBefore);
    }

    /// Expects that logging goes on at the end of a file, and touches no other.
    void expectLoggingGoesOnIn(const std::string &name) {
        Files expected = files();
        expected[name] += std::string(kInitAfterRestart) + kItemAfterRestart;
        store(1, 1, "after");
        settle();
        EXPECT_EQ(files(), expected);
        EXPECT_EQ(newest(1).front(), "after0");
    }

    /// An object of full files: the first one also holds the object's first item, the last one `rest` items.
    int32_t createFilled(int32_t csvNum, int fullFiles, int rest) {
        const int32_t handle = create(csvNum);
        fill(handle, 4999, kFirstDay);
        for (int i = 1; i < fullFiles; ++i) {
            fill(handle, 5000, kFirstDay + i);
        }
        fill(handle, rest, kFirstDay + fullFiles);
        return handle;
    }

    int stored_ = 0;
};

TEST_F(StoreRestartTest, Restart_NothingButTheFirstItem_GoesOnInFirstFile) {
    create(3);
    settle();
    restartUnchanged(3);
    expectLoggingGoesOnIn("0.csv");
}

TEST_F(StoreRestartTest, Restart_FewItems_GoesOnInFirstFile) {
    fill(create(3), 60, kFirstDay);
    EXPECT_EQ(countAll(1), 60);
    restartUnchanged(3);
    expectLoggingGoesOnIn("0.csv");
}

TEST_F(StoreRestartTest, Restart_AfterRotation_GoesOnInSecondFile) {
    createFilled(3, 1, 10);
    EXPECT_EQ(positions(1), (Positions{0, 1}));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n");
    EXPECT_EQ(countAll(1), 5009);
    restartUnchanged(3);
    expectLoggingGoesOnIn("1.csv");
}

TEST_F(StoreRestartTest, Restart_ThreeFilesInUse_AnswersFromTheMiddleFileAsBefore) {
    createFilled(4, 2, 300);
    EXPECT_EQ(positions(1), (Positions{0, 2}));
    EXPECT_EQ(countAll(1), 10299);
    restartUnchanged(4);
    expectLoggingGoesOnIn("2.csv");
}

TEST_F(StoreRestartTest, Restart_AfterWrap_GoesOnInFirstFileAgain) {
    createFilled(2, 2, 10);
    EXPECT_EQ(positions(1), (Positions{1, 0}));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,0\n");
    EXPECT_EQ(countAll(1), 5010);
    restartUnchanged(2);
    expectLoggingGoesOnIn("0.csv");
}

TEST_F(StoreRestartTest, Restart_FullRing_FirstItemTakesTheOldestFile) {
    createFilled(2, 2, 0);
    EXPECT_EQ(positions(1), (Positions{0, 1}));
    EXPECT_EQ(countAll(1), 9999);
    restartUnchanged(2);

    const std::string newestFile = dir_.read("1.csv");
    settle();
    EXPECT_EQ(
        files(),
        (Files{{"0.csv", kInitAfterRestart}, {"1.csv", newestFile}, {"index.csv", "version:1\n1,0\n"}}));
    EXPECT_EQ(positions(1), (Positions{1, 0}));
    EXPECT_EQ(countAll(1), 5000);
}

TEST_F(StoreRestartTest, Restart_FullLatestFile_CountsItAsFull) {
    createFilled(3, 1, 0);
    EXPECT_EQ(positions(1), (Positions{0, 0}));
    restartUnchanged(3);
    EXPECT_EQ(FindObj(1)->csv_info[0].itemCount, 5000U);
    settle();
    EXPECT_EQ(dir_.read("1.csv"), kInitAfterRestart);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n");
}

TEST_F(StoreRestartTest, Restart_OneBelowFull_FillsTheFileThenRotates) {
    const int32_t handle = create(3);
    fill(handle, 4998, kFirstDay);
    const std::string before = dir_.read("0.csv");
    restart(3);
    store(1, 1, "after");
    settle();
    EXPECT_EQ(dir_.read("0.csv"), before + kInitAfterRestart);
    EXPECT_EQ(dir_.read("1.csv"), kItemAfterRestart);
}

// Clearing

TEST_F(StoreRestartTest, Restart_ClearedAndLogged_StaysEmptyAndGoesOnInNextFile) {
    fill(create(3), 60, kFirstDay);
    ASSERT_EQ(JORN_ClearAllLog(1, 1), 0);
    settle();
    EXPECT_EQ(positions(1), (Positions{1, 1}));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,1\n");
    EXPECT_EQ(countAll(1), 0);
    restartUnchanged(3);
    expectLoggingGoesOnIn("1.csv");
    EXPECT_EQ(countAll(1), 1);
}

TEST_F(StoreRestartTest, Restart_ClearedAtTheLastPosition_StaysEmptyAndGoesOnInFirstFile) {
    createFilled(2, 1, 10);
    ASSERT_EQ(JORN_ClearAllLog(1, 1), 0);
    settle();
    EXPECT_EQ(positions(1), (Positions{0, 0}));
    EXPECT_EQ(countAll(1), 0);
    restartUnchanged(2);
    expectLoggingGoesOnIn("0.csv");
    EXPECT_EQ(countAll(1), 1);
}

// Clearing truncates nothing: until the store task opens the new position's file, what that file held is
// what a start finds.
TEST_F(StoreRestartTest, Restart_ClearedBeforeTheNextFileIsOpened_FindsItsFormerItems) {
    dir_.write("index.csv", "version:1\n0,1\n");
    dir_.write("0.csv", lines(3, dayStart(kFirstDay), "old"));
    dir_.write("1.csv", lines(2, dayStart(kFirstDay + 1), "new"));
    create(2);
    settle();
    ASSERT_EQ(JORN_ClearAllLog(1, 0), 0);
    const Files before = files();
    restart(2);
    EXPECT_EQ(files(), before);
    EXPECT_EQ(positions(1), (Positions{0, 0}));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,0\n");
    EXPECT_THAT(newest(1), ElementsAre("old2", "old1", "old0"));
    expectLoggingGoesOnIn("0.csv");
}

// The tidying does not know of clearing: the newest existing file takes the place of the missing latest one.
TEST_F(StoreRestartTest, Restart_ClearedBeforeTheNextFileExists_FormerFileTakesItsPlace) {
    dir_.write("index.csv", "version:1\n0,0\n");
    dir_.write("0.csv", lines(2, dayStart(kFirstDay), "old"));
    create(3);
    settle();
    const std::string former = dir_.read("0.csv");
    ASSERT_EQ(JORN_ClearAllLog(1, 0), 0);
    restart(3);
    EXPECT_EQ(files(), (Files{{"1.csv", former}, {"index.csv", "version:1\n1,1\n"}}));
    EXPECT_EQ(positions(1), (Positions{1, 1}));
    EXPECT_THAT(newest(1), ElementsAre("old1", "old0"));
    expectLoggingGoesOnIn("1.csv");
}

// Gaps, surplus files and another size of the ring

TEST_F(StoreRestartTest, Restart_FileInTheMiddleLost_ClosesTheGapOnce) {
    dir_.write("index.csv", "version:1\n0,2\n");
    dir_.write("0.csv", lines(2, dayStart(kFirstDay), "old"));
    dir_.write("2.csv", lines(2, dayStart(kFirstDay + 2), "new"));
    create(5);
    EXPECT_EQ(files(), (Files{{"1.csv", lines(2, dayStart(kFirstDay), "old")},
                              {"2.csv", lines(2, dayStart(kFirstDay + 2), "new")},
                              {"index.csv", "version:1\n1,2\n"}}));
    EXPECT_EQ(positions(1), (Positions{1, 2}));
    EXPECT_THAT(newest(1), ElementsAre("new1", "new0", "old1", "old0"));
    restartUnchanged(5);
    expectLoggingGoesOnIn("2.csv");
}

TEST_F(StoreRestartTest, Restart_RunningRingLosesAFile_KeepsTheItemsOfTheOthers) {
    createFilled(4, 2, 10);
    ASSERT_EQ(JORN_Destroy(1), 0);
    const std::string oldest = dir_.read("0.csv");
    dir_.remove("1.csv");
    create(4);
    EXPECT_EQ(positions(1), (Positions{1, 2}));
    EXPECT_EQ(dir_.read("1.csv"), oldest);
    EXPECT_EQ(countAll(1), 4999 + 10);
    restartUnchanged(4);
    expectLoggingGoesOnIn("2.csv");
}

TEST_F(StoreRestartTest, Restart_SmallerRing_KeepsTheNewestFilesInOrder) {
    dir_.write("index.csv", "version:1\n2,8\n");
    for (int position = 2; position <= 8; ++position) {
        dir_.write(std::to_string(position) + ".csv",
                   lines(1, dayStart(static_cast<uint32_t>(kFirstDay + position)), "at", position));
    }
    create(5);
    EXPECT_THAT(dir_.names(), ElementsAre("0.csv", "1.csv", "2.csv", "3.csv", "4.csv", "index.csv"));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,4\n");
    EXPECT_EQ(positions(1), (Positions{0, 4}));
    EXPECT_THAT(newest(1), ElementsAre("at8", "at7", "at6", "at5", "at4"));
    restartUnchanged(5);
    expectLoggingGoesOnIn("4.csv");
}

TEST_F(StoreRestartTest, Restart_LargerRing_KeepsAWrappedRingsOrder) {
    dir_.write("index.csv", "version:1\n1,0\n");
    dir_.write("0.csv", lines(2, dayStart(kFirstDay + 1), "new"));
    dir_.write("1.csv", lines(2, dayStart(kFirstDay), "old"));
    create(2);
    const std::vector<std::string> before = answers(1);
    restart(5);
    EXPECT_EQ(files(), (Files{{"0.csv", lines(2, dayStart(kFirstDay + 1), "new")},
                              {"4.csv", lines(2, dayStart(kFirstDay), "old")},
                              {"index.csv", "version:1\n4,0\n"}}));
    EXPECT_EQ(positions(1), (Positions{4, 0}));
    EXPECT_EQ(answers(1), before);
    restartUnchanged(5);
    expectLoggingGoesOnIn("0.csv");
}

TEST_F(StoreRestartTest, Restart_SurplusFileBesideAWholeRing_IsDeleted) {
    createFilled(2, 1, 10);
    const std::vector<std::string> before = answers(1);
    dir_.write("7.csv", lines(3, dayStart(kFirstDay - 1), "stray"));
    restart(2);
    EXPECT_THAT(dir_.names(), ElementsAre("0.csv", "1.csv", "index.csv"));
    EXPECT_EQ(answers(1), before);
    expectLoggingGoesOnIn("1.csv");
}

TEST_F(StoreRestartTest, Restart_ForeignFiles_AreLeftAlone) {
    fill(create(2), 10, kFirstDay);
    dir_.write("notes.txt", "text");
    dir_.write("90.csv", "text");
    dir_.write("00.csv", "text");
    restartUnchanged(2);
    expectLoggingGoesOnIn("0.csv");
}

// The index

TEST_F(StoreRestartTest, Restart_OnlyTheIndexBackupIsLeft_RestoresIt) {
    createFilled(3, 1, 10);
    const std::vector<std::string> before = answers(1);
    ASSERT_EQ(JORN_Destroy(1), 0);
    dir_.write("index.bak", dir_.read("index.csv"));
    dir_.remove("index.csv");
    platform().setTime(kRestartTime);
    create(3);
    EXPECT_THAT(dir_.names(), ElementsAre("0.csv", "1.csv", "index.csv"));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,1\n");
    EXPECT_EQ(answers(1), before);
    expectLoggingGoesOnIn("1.csv");
}

// Times, ids, several objects

TEST_F(StoreRestartTest, Restart_ItemsStored_TellsTheTimeOfTheNewest) {
    fill(create(3), 300, kFirstDay);  // the last of three runs begins 250 seconds into the day
    restart(3);
    uint32_t time = 0;
    EXPECT_EQ(JORN_GetFinalCsvTime(1, &time), 0);
    EXPECT_EQ(time, dayStart(kFirstDay) + 250);
    EXPECT_EQ(JORN_GetMaxCsvTime(&time), 0);
    EXPECT_EQ(time, dayStart(kFirstDay) + 250);
}

TEST_F(StoreRestartTest, Restart_SeveralTimes_AddsOneFirstItemEach) {
    fill(create(3), 1, kFirstDay);
    const std::string before = dir_.read("0.csv");
    for (int i = 0; i < 3; ++i) {
        restart(3);
        settle();
    }
    EXPECT_EQ(dir_.read("0.csv"), before + kInitAfterRestart + kInitAfterRestart + kInitAfterRestart);
    EXPECT_EQ(countAll(1), 1);
}

TEST_F(StoreRestartTest, Restart_ItemsWaitingInTheQueue_AreLostAndTheOthersKept) {
    fill(create(3), 10, kFirstDay);
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "waiting"), 0);
    restart(3);
    settle();
    EXPECT_EQ(countAll(1), 10);
    EXPECT_EQ(newest(1).front(), "item9");
}

TEST_F(StoreRestartTest, Restart_FileOpen_KeepsEveryStoredItem) {
    const int32_t handle = create(3);
    store(handle, 20, "item");
    restart(3);
    EXPECT_EQ(countAll(1), 20);
    EXPECT_EQ(newest(1).front(), "item19");
}

TEST_F(StoreRestartTest, Restart_TwoObjectsInOtherOrder_EachFindsItsOwn) {
    const std::string first = dir_.path() + "/a";
    const std::string second = dir_.path() + "/b";
    jorn_SetDebugPrintLevel(0);
    ASSERT_EQ(JORN_Create(first.c_str(), 8, 2), 1);
    ASSERT_EQ(JORN_Create(second.c_str(), 8, 3), 2);
    fill(1, 30, kFirstDay);
    fill(2, 40, kFirstDay);
    const std::vector<std::string> ofFirst = answers(1);
    const std::vector<std::string> ofSecond = answers(2);
    ASSERT_EQ(JORN_Destroy(1), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    ASSERT_EQ(JORN_Create(second.c_str(), 8, 3), 1);
    ASSERT_EQ(JORN_Create(first.c_str(), 8, 2), 2);
    settle();
    EXPECT_EQ(answers(2), ofFirst);
    EXPECT_EQ(answers(1), ofSecond);
}

}  // namespace
