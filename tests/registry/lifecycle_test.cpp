// SPDX-License-Identifier: Apache-2.0
// Creation and destruction of log objects, step by step.
#include <posixPort.h>
#include <semLib.h>
#include <tickLib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <future>

#include "registry/lifecycle_fixture.h"
#include "registry/registry.h"
#include "registry/thread_calls.h"

namespace {

using test::CallsOfThisThread;
using test::LifecycleTest;
using test::messages;
using test::platform;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using namespace std::string_literals;

// Creation step by step

/// The calls that look at all 90 possible positions, from the newest down; each file that exists is closed
/// again.
std::vector<std::string> survey(const std::vector<int> &present) {
    std::vector<std::string> calls;
    for (int position = 0, visit = 0; visit < 90; ++visit, position = (position + 89) % 90) {
        calls.push_back("fopen " + std::to_string(position) + ".csv r");
        if (std::count(present.begin(), present.end(), position) > 0) {
            calls.push_back("fclose");
        }
    }
    return calls;
}

TEST_F(LifecycleTest, Create_FirstObjectInAbsentDirectory_MakesItsCallsInOrder) {
    const CallsOfThisThread calls;
    ASSERT_EQ(create("new", 3), 1);
    EXPECT_THAT(calls.get(),
                ElementsAreArray(test::joined(
                    {{"calloc object", "opendir new", "jorn_MakeDirectory new", "calloc info[3]",
                      "semMCreate 9", "msgQCreate 512 272 1", "taskSpawn tLogStore 250 0 4096", "semTake -1"},
                     {"fopen index.csv r", "fopen index.bak r", "fopen index.csv r", "fopen index.csv w",
                      "fwrite 14x1", "fclose", "rm index.bak"},
                     survey({}),
                     {"fopen 0.csv r"},
                     {"semGive", "time", "msgQSend 34 0 0 1,1700000000,3,0,Log start init!\n"}})));
}

TEST_F(LifecycleTest, Create_SecondObjectOverAWholeRing_UsesWhatIsShared) {
    createSettled("live");
    makeRing("log", "1700000000,1,2,x\n");
    const CallsOfThisThread calls;
    ASSERT_EQ(create("log", 4), 2);
    EXPECT_THAT(calls.get(),
                ElementsAreArray(test::joined(
                    {{"calloc object", "opendir log", "closedir", "calloc info[4]", "semTake -1"},
                     {"fopen index.csv r", "fscanf", "fscanf", "fclose"},
                     survey({0}),
                     {"fopen 0.csv r", "fgets 257", "fgets 257", "fclose"},
                     {"semGive", "time", "msgQSend 34 0 0 2,1700000000,3,0,Log start init!\n"}})));
}

TEST_F(LifecycleTest, Create_FreshDirectory_FillsTheRecord) {
    ASSERT_EQ(create("log", 3, 5), 1);
    const JORN_OBJ *const obj = FindObj(1);
    EXPECT_EQ(obj->handle_id, 1);
    EXPECT_EQ(obj->next, nullptr);
    EXPECT_EQ(obj->dirName, path("log"));
    EXPECT_EQ(obj->level_max, 4);
    EXPECT_EQ(obj->slot_max, 5);
    EXPECT_EQ(obj->csv_num, 3);
    EXPECT_EQ(obj->index_version, 1);
    EXPECT_EQ(obj->csv_oldest, 0);
    EXPECT_EQ(obj->csv_latest, 0);
    EXPECT_EQ(obj->final_csv_time, 0U);
}

TEST_F(LifecycleTest, Create_FreshDirectory_SummariesAreZero) {
    ASSERT_EQ(create("log", 3), 1);
    const std::vector<JORN_CSV_INFO> zeros(3);
    EXPECT_EQ(std::memcmp(FindObj(1)->csv_info, zeros.data(), 3 * sizeof(JORN_CSV_INFO)), 0);
}

// The test acts in the middle of the creation, before the named calls.
TEST_F(LifecycleTest, Create_BeforeTheTaskIsSpawned_ObjectIsNotLinked) {
    bool isLinked = true;
    test::onceBefore("taskSpawn", [&] { isLinked = FindObj(1) != nullptr; });
    ASSERT_EQ(create("log"), 1);
    EXPECT_FALSE(isLinked);
}

TEST_F(LifecycleTest, Create_BeforeTheAnalysis_ObjectIsLinkedWithAnEmptyRingState) {
    makeRing("log", "1700000000,1,2,x\n");
    bool isLinked = false;
    uint32_t items = 77;
    test::onceBefore("semTake", [&] {
        isLinked = FindObj(1) != nullptr;
        items = isLinked ? FindObj(1)->csv_info[0].itemCount : 77;
    });
    ASSERT_EQ(create("log"), 1);
    EXPECT_TRUE(isLinked);
    EXPECT_EQ(items, 0U);
    EXPECT_EQ(FindObj(1)->csv_info[0].itemCount, 1U);
}

TEST_F(LifecycleTest, Create_BatchDueDuringTheAnalysis_WaitsUntilItIsDone) {
    createSettled("live");
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "x"), 0);
    makeRing("log", "1700000000,1,2,x\n");
    test::onceBefore("fopen index.csv r", [] { pass(); });
    ASSERT_EQ(create("log"), 2);
    settle();
    const std::vector<std::string> order = platform().calls({"fopen index.csv", "semGive", "msgQReceive"});
    ASSERT_GE(order.size(), 3U);
    EXPECT_EQ(order[0], "fopen index.csv r");
    EXPECT_EQ(order[1], "semGive");
    EXPECT_EQ(order[2], "msgQReceive 272 -1");
}

// Messages of a former owner of a handle

// Handle 2 is destroyed with an item waiting; the store task's pass comes between the linking of the next
// object 2 and its analysis, when that object's ring is not known yet and file 0 would look unwritten.
TEST_F(LifecycleTest, Create_FormerItemHandledBeforeTheAnalysis_IsDroppedAndNothingTruncated) {
    createSettled("live");
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "stale"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    dir_.block("log");
    dir_.write("log/index.csv", "version:1\n0,1\n");
    dir_.write("log/0.csv", "1600000000,1,2,a\n");
    dir_.write("log/1.csv", "1600000001,1,2,b\n");
    test::onceBefore("semTake", [] { pass(); });
    platform().clearLog();
    ASSERT_EQ(create("log"), 2);
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), "1600000000,1,2,a\n");
    EXPECT_EQ(dir_.read("log/1.csv"), "1600000001,1,2,b\n"s + kInitLine);
    EXPECT_EQ(dir_.read("log/index.csv"), "version:1\n0,1\n");
}

TEST_F(LifecycleTest, Create_ItemSentAfterAStaleOneWasDropped_IsStored) {
    createSettled("live");
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "stale"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    test::onceBefore("semTake", [] { pass(); });
    ASSERT_EQ(create("log"), 2);
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "fresh"), 0);
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,fresh\n"s);
}

TEST_F(LifecycleTest, Create_FormerItemHandledAfterTheAnalysis_IsWrittenForTheNewObject) {
    createSettled("live");
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "stale"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    ASSERT_EQ(create("log"), 2);
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), "1700000000,1,2,stale\n"s + kInitLine);
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine);
}

TEST_F(LifecycleTest, Destroy_ItemsStillQueued_AreDroppedAsNotFound) {
    createSettled("live");
    createSettled("log");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "late"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    platform().clearLog();
    settle();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
}

// Destruction step by step

TEST_F(LifecycleTest, Destroy_UnknownHandle_FailsSilentlyAndTouchesNothing) {
    createSettled("log");
    jorn_SetDebugPrintLevel(INT32_MAX);
    const CallsOfThisThread calls;
    for (const int32_t handle : {INT32_MIN, -1, 0, 2, INT32_MAX}) {
        EXPECT_EQ(JORN_Destroy(handle), -1) << handle;
    }
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_THAT(calls.get(), IsEmpty());
    EXPECT_EQ(jorn_csv_cnt, 2);
}

TEST_F(LifecycleTest, Destroy_NoObjectAtAll_FailsSilently) {
    jorn_SetDebugPrintLevel(INT32_MAX);
    EXPECT_EQ(JORN_Destroy(1), -1);
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(LifecycleTest, Destroy_Twice_FailsTheSecondTime) {
    createSettled("live");
    createSettled("log");
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_EQ(JORN_Destroy(2), -1);
    EXPECT_EQ(jorn_csv_cnt, 2);
}

TEST_F(LifecycleTest, Destroy_AnyPlaceInTheList_UnlinksJustThatObject) {
    for (const int32_t victim : {1, 2, 3}) {
        createSettled("a");
        createSettled("b");
        createSettled("c");
        EXPECT_EQ(JORN_Destroy(victim), 0);
        for (int32_t handle = 1; handle <= 3; ++handle) {
            EXPECT_EQ(FindObj(handle) != nullptr, handle != victim) << handle << " after " << victim;
        }
        while (jorn_obj_ptr != nullptr) {
            ASSERT_EQ(JORN_Destroy(jorn_obj_ptr->handle_id), 0);
        }
    }
}

TEST_F(LifecycleTest, Destroy_OneOfTwo_TakesItsFilesOutOfTheTotal) {
    createSettled("a", 30);
    createSettled("b", 60);
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(jorn_csv_cnt, 60);
    EXPECT_EQ(create("c", 30), 3);
}

TEST_F(LifecycleTest, Destroy_NotTheLastAndNoFileOpen_MakesItsCallsInOrder) {
    createSettled("live");
    createSettled("log", 3);
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "semGive", "free info[3]", "free object"));
}

TEST_F(LifecycleTest, Destroy_NotTheLastWithItsFileOpen_ClosesItUnderTheMutexBeforeFreeing) {
    createSettled("live");
    createSettled("log", 3);
    store(2, 1, "x");
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "fclose", "semGive", "free info[3]", "free object"));
}

TEST_F(LifecycleTest, Destroy_FileOfAnotherObjectOpen_LeavesItOpen) {
    createSettled("live");
    createSettled("log", 3);
    store(1, 1, "x");
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "semGive", "free info[3]", "free object"));
    platform().clearLog();
    store(1, 1, "y");
    EXPECT_THAT(platform().calls({"fopen"}), IsEmpty());
    settle();
    EXPECT_EQ(dir_.read("live/0.csv"), kInitLine + "1700000000,1,2,x0\n1700000000,1,2,y0\n"s);
}

TEST_F(LifecycleTest, DestroyLast_NoFileOpen_MakesItsCallsInOrder) {
    createSettled("log", 3);
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "semGive", "free info[3]", "free object", "semTake -1",
                                         "semGive", "semDelete", "msgQDelete", "taskDelete"));
}

TEST_F(LifecycleTest, DestroyLast_ItsFileOpen_ClosesItUnderTheMutexBeforeFreeing) {
    createSettled("log", 3);
    store(1, 1, "x");
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "fclose", "semGive", "free info[3]", "free object",
                                         "semTake -1", "semGive", "semDelete", "msgQDelete", "taskDelete"));
}

TEST_F(LifecycleTest, Destroy_ItsFileOpen_LosesNoCountedLine) {
    createSettled("live");
    createSettled("log");
    store(2, 2, "x");
    ASSERT_EQ(FindObj(2)->csv_info[0].itemCount, 3U);
    ASSERT_EQ(JORN_Destroy(2), 0);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,x0\n1700000000,1,2,x1\n"s);
}

TEST_F(LifecycleTest, DestroyLast_ItsFileOpen_LosesNoCountedLine) {
    createSettled("log");
    store(1, 2, "x");
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,x0\n1700000000,1,2,x1\n"s);
}

TEST_F(LifecycleTest, Destroy_AtRest_ChangesNoFileAndPrintsNothing) {
    createSettled("live");
    createSettled("log");
    jorn_SetDebugPrintLevel(INT32_MAX);
    ASSERT_EQ(JORN_Destroy(2), 0);
    settle();
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
    EXPECT_EQ(dir_.read("log/index.csv"), kWholeIndex);
}

TEST_F(LifecycleTest, DestroyLast_Done_LeavesTheIdsStale) {
    createSettled("log");
    const SEM_ID mutex = logSemCsvRW_ID;
    const MSG_Q_ID queue = logMsgCsvStore_ID;
    const TASK_ID task = logTask_ID;
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(logSemCsvRW_ID, mutex);
    EXPECT_EQ(logMsgCsvStore_ID, queue);
    EXPECT_EQ(logTask_ID, task);
    EXPECT_EQ(semTake(mutex, NO_WAIT), ERROR);
}

TEST_F(LifecycleTest, DestroyLast_ItemsQueued_AreDiscarded) {
    createSettled("log");
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "late"), 0);
    ASSERT_EQ(JORN_Destroy(1), 0);
    ASSERT_EQ(create("log"), 1);
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + std::string(kInitLine));
}

// The task is held in the middle of a batch, before its write, until the destroying thread waits for the
// mutex.
TEST_F(LifecycleTest, DestroyLast_BatchInProgress_EndsItFirst) {
    createSettled("log");
    std::promise<void> isWriting;
    bool isDestroyerWaiting = false;
    platform().onCall("fwrite", [&](const std::string &) {
        isWriting.set_value();
        for (int tries = 0; tries < 10000000 && !isDestroyerWaiting; ++tries) {
            std::this_thread::yield();
            isDestroyerWaiting = posixPortSemWaiters(logSemCsvRW_ID) == 1;
        }
    });
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "x"), 0);
    for (int i = 0; i < 100; ++i) {
        tickAnnounce();
    }
    isWriting.get_future().wait();
    platform().clearLog();
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_TRUE(isDestroyerWaiting);
    EXPECT_THAT(platform().calls({"semTake", "semGive", "fclose", "free", "semDelete"}),
                ElementsAre("semTake -1", "semGive", "fclose", "semGive", "free info[2]", "free object",
                            "semTake -1", "semGive", "semDelete"));
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,x\n"s);
}

// Starting again

TEST_F(LifecycleTest, Create_AfterTheLastWasDestroyed_BuildsTheSharedAnew) {
    createSettled("log");
    ASSERT_EQ(JORN_Destroy(1), 0);
    const CallsOfThisThread calls;
    ASSERT_EQ(create("log"), 1);
    EXPECT_THAT(calls.get(), Contains("semMCreate 9"));
    EXPECT_THAT(calls.get(), Contains("msgQCreate 512 272 1"));
    EXPECT_THAT(calls.get(), Contains("taskSpawn tLogStore 250 0 4096"));
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + std::string(kInitLine));
}

/// Where the store task is when the object that it served is destroyed.
class ReusedIdTest : public LifecycleTest, public ::testing::WithParamInterface<bool> {
protected:
    void serve(int32_t handle) {
        store(handle, 1, "old");
        if (!GetParam()) {
            settle();
        }
    }
};

TEST_P(ReusedIdTest, Destroy_LastServedObject_ItsIdGivenOutAgainServesTheNewOne) {
    createSettled("live");
    createSettled("former");
    serve(2);
    ASSERT_EQ(JORN_Destroy(2), 0);
    ASSERT_EQ(createSettled("log", 3), 2);
    store(2, 1, "new");
    settle();
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine + "1700000000,1,2,old0\n"s);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,new0\n"s);
}

TEST_P(ReusedIdTest, DestroyLast_LastServedObject_NewTaskServesTheNewOne) {
    createSettled("former");
    serve(1);
    ASSERT_EQ(JORN_Destroy(1), 0);
    ASSERT_EQ(createSettled("log", 3), 1);
    store(1, 1, "new");
    settle();
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine + "1700000000,1,2,old0\n"s);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,new0\n"s);
}

TEST_P(ReusedIdTest, Destroy_LastServedObject_ItsIdIsLookedUpAgain) {
    createSettled("live");
    createSettled("former");
    serve(2);
    ASSERT_EQ(JORN_Destroy(2), 0);
    platform().clearLog();
    sendRaw("2,1700000000,1,2,stray\n\0"s);
    settle();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine + "1700000000,1,2,old0\n"s);
}

INSTANTIATE_TEST_SUITE_P(, ReusedIdTest, ::testing::Bool(),
                         [](const auto &row) { return row.param ? "FileOpen" : "FileClosed"; });

// A message without a comma has as its line what a longer message left in the task's buffer.
TEST_F(LifecycleTest, Create_NewStoreTask_HasNothingOfTheFormerOnesBuffer) {
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, std::string(150, 'z').c_str()), 0);
    settle();
    ASSERT_EQ(JORN_Destroy(1), 0);
    createSettled("log");
    sendRaw("1" + std::string(49, ' ') + "\0"s);
    settle();
    EXPECT_THAT(messages(), ElementsAre("msg eror: "));
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
}

}  // namespace
