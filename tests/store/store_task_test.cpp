// SPDX-License-Identifier: Apache-2.0
// The store task's loop: passes, batches, the mutex, the pause, and the end of objects it serves.
#include "store/store_task.h"

#include <msgQLib.h>
#include <posixPort.h>
#include <semLib.h>
#include <tickLib.h>

#include "store/store_fixture.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

using StoreTaskTest = StoreTest;

/// Replaces the ids of the mutex and the queue for a scope.
class SharedIds {
public:
    SharedIds(SEM_ID mutex, MSG_Q_ID queue) : mutex_(logSemCsvRW_ID), queue_(logMsgCsvStore_ID) {
        logSemCsvRW_ID = mutex;
        logMsgCsvStore_ID = queue;
    }
    ~SharedIds() {
        logSemCsvRW_ID = mutex_;
        logMsgCsvStore_ID = queue_;
    }
    SharedIds(const SharedIds &) = delete;
    SharedIds &operator=(const SharedIds &) = delete;

private:
    SEM_ID mutex_;
    MSG_Q_ID queue_;
};

// --- Start ---------------------------------------------------------------------------------------------

TEST_F(StoreTaskTest, Start_MutexNull_EndsWithMessage) {
    createAtRest(2);
    const SharedIds ids(nullptr, logMsgCsvStore_ID);
    expectMessageAt(1, "Semaphore or MsgQueue is null!", [] { EXPECT_EQ(jorn_TskStoreLogCsv(), -1); });
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(StoreTaskTest, Start_QueueNull_EndsWithMessage) {
    createAtRest(2);
    const SharedIds ids(logSemCsvRW_ID, nullptr);
    expectMessageAt(1, "Semaphore or MsgQueue is null!", [] { EXPECT_EQ(jorn_TskStoreLogCsv(), -1); });
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(StoreTaskTest, Start_BothNull_EndsWithMessage) {
    const SharedIds ids(nullptr, nullptr);
    expectMessageAt(1, "Semaphore or MsgQueue is null!", [] { EXPECT_EQ(jorn_TskStoreLogCsv(), -1); });
}

TEST_F(StoreTaskTest, Message_Printed_HasPrefixTextAndLineEnd) {
    const SharedIds ids(nullptr, nullptr);
    jorn_TskStoreLogCsv();
    EXPECT_THAT(platform().pieces(),
                ElementsAre(MatchesRegex("\\[src/store/store_task\\.cpp\\]line[0-9]+ : "),
                            "Semaphore or MsgQueue is null!", "\r\n"));
}

TEST_F(StoreTaskTest, Create_FirstObject_SpawnsTheTask) {
    JORN_Create(dir_.name(), 8, 2);
    EXPECT_THAT(platform().calls({"taskSpawn"}), ElementsAre("taskSpawn tLogStore 250 0 4096"));
}

// --- Passes --------------------------------------------------------------------------------------------

TEST_F(StoreTaskTest, Pass_NothingWaitingNothingOpen_OnlyCountsAndPauses) {
    createAtRest(2);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "taskDelay 100"));
}

TEST_F(StoreTaskTest, Pass_OneMessage_TakesMutexReceivesWritesGivesPauses) {
    const int32_t handle = createAtRest(2);
    add(handle);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "fopen 0.csv a",
                                           "fwrite 25x1", "semGive", "taskDelay 100"));
}

TEST_F(StoreTaskTest, Pass_ThreeMessages_TakesMutexOnceForTheBatch) {
    const int32_t handle = createAtRest(2);
    add(handle);
    add(handle);
    add(handle);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "fopen 0.csv a",
                                           "fwrite 25x1", "msgQReceive 272 -1", "fwrite 25x1",
                                           "msgQReceive 272 -1", "fwrite 25x1", "semGive", "taskDelay 100"));
}

TEST_F(StoreTaskTest, Pass_FullQueue_HandlesAll512InOneBatch) {
    const int32_t handle = createAtRest(2);
    for (int i = 0; i < 512; ++i) {
        add(handle);
    }
    platform().clearLog();
    pass();
    EXPECT_EQ(platform().calls({"msgQReceive"}).size(), 512U);
    EXPECT_EQ(platform().calls({"semTake"}).size(), 1U);
    EXPECT_EQ(info(handle, 0).itemCount, 513U);
}

TEST_F(StoreTaskTest, Pass_99Ticks_TaskStillPauses) {
    const int32_t handle = createAtRest(2);
    add(handle);
    platform().clearLog();
    for (int i = 0; i < 99; ++i) {
        tickAnnounce();
    }
    posixPortSettle();
    EXPECT_THAT(platform().calls(), IsEmpty());
    tickAnnounce();
    posixPortSettle();
    EXPECT_THAT(platform().calls({"fwrite"}), ElementsAre("fwrite 25x1"));
}

TEST_F(StoreTaskTest, Batch_MessageSentMeanwhile_WaitsForTheNextPass) {
    const int32_t handle = createAtRest(2);
    add(handle);
    add(handle);
    // The new message arrives while the first one of two is being written.
    platform().onCall("fwrite", once([handle] { add(handle); }));
    platform().clearLog();
    pass();
    EXPECT_EQ(platform().calls({"msgQReceive"}).size(), 2U);
    EXPECT_EQ(msgQNumMsgs(logMsgCsvStore_ID), 1);
    platform().clearLog();
    pass();
    EXPECT_EQ(platform().calls({"msgQReceive"}).size(), 1U);
    EXPECT_EQ(info(handle, 0).itemCount, 4U);
}

TEST_F(StoreTaskTest, Batch_ReceiveFails_CountsAsHandled) {
    const int32_t handle = createAtRest(2);
    add(handle);
    add(handle);
    platform().fail("msgQReceive");
    EXPECT_THAT(callsOfPass(),
                ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "msgQReceive 272 -1",
                            "fopen 0.csv a", "fwrite 25x1", "semGive", "taskDelay 100"));
    EXPECT_EQ(msgQNumMsgs(logMsgCsvStore_ID), 1);
}

// --- The mutex -----------------------------------------------------------------------------------------

TEST_F(StoreTaskTest, Batch_MutexHeldByOther_WaitsForIt) {
    const int32_t handle = createAtRest(2);
    add(handle);
    semTake(logSemCsvRW_ID, WAIT_FOREVER);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "semTake -1"));
    semGive(logSemCsvRW_ID);
    posixPortSettle();
    EXPECT_EQ(info(handle, 0).itemCount, 2U);
}

TEST_F(StoreTaskTest, Batch_Running_HoldsMutexUntilItsEnd) {
    const int32_t handle = createAtRest(2);
    add(handle);
    std::vector<bool> wasFree;
    platform().onCall("msgQReceive", [&](const std::string &) { wasFree.push_back(isMutexFree()); });
    platform().onCall("fwrite", [&](const std::string &) { wasFree.push_back(isMutexFree()); });
    pass();
    EXPECT_THAT(wasFree, ElementsAre(false, false));
    EXPECT_TRUE(isMutexFree());
}

TEST_F(StoreTaskTest, Batch_EndsEarly_GivesMutexBack) {
    const int32_t handle = createAtRest(2);
    add(handle);
    add(handle);
    platform().fail("fopen 0.csv", 2);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "fopen 0.csv a",
                                           "fopen 0.csv w", "semGive", "taskDelay 100"));
    EXPECT_TRUE(isMutexFree());
}

TEST_F(StoreTaskTest, Batch_EndsEarly_RestOfQueueIsHandledInTheNextPass) {
    const int32_t handle = createAtRest(2);
    JORN_AddOneLog(handle, 1, 5, "lost");
    JORN_AddOneLog(handle, 1, 5, "second");
    JORN_AddOneLog(handle, 1, 5, "third");
    platform().fail("fopen 0.csv", 2);
    pass();
    EXPECT_EQ(msgQNumMsgs(logMsgCsvStore_ID), 2);
    settle();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + "1700000000,1,5,second\n1700000000,1,5,third\n");
}

// --- Idle close ----------------------------------------------------------------------------------------

TEST_F(StoreTaskTest, IdlePass_OpenFile_ClosesItWithoutTheMutex) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    semTake(logSemCsvRW_ID, WAIT_FOREVER);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "fclose", "taskDelay 100"));
    semGive(logSemCsvRW_ID);
}

TEST_F(StoreTaskTest, IdlePass_CountingFails_ClosesLikeAnEmptyQueue) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    add(handle);
    platform().fail("msgQNumMsgs");
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "fclose", "taskDelay 100"));
    EXPECT_EQ(msgQNumMsgs(logMsgCsvStore_ID), 1);
}

TEST_F(StoreTaskTest, IdlePass_Twice_ClosesOnce) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    pass();
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "taskDelay 100"));
}

TEST_F(StoreTaskTest, IdlePass_CloseFails_FileCountsAsClosed) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    platform().fail("fclose");
    pass();
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fwrite 25x1"));
}

TEST_F(StoreTaskTest, IdlePass_ObjectLetGoDuringTheClose_FileIsClosedOnce) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    platform().onCall("fclose", once([handle] {
                          semTake(logSemCsvRW_ID, WAIT_FOREVER);
                          jorn::storeTaskLetGo(&object(handle));
                          semGive(logSemCsvRW_ID);
                      }));
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fclose"));
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine);
}

TEST_F(StoreTaskTest, IdlePass_Afterwards_ObjectIsStillRemembered) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    pass();
    // Without a list no look-up finds anything, so only the remembered object can be used.
    JORN_OBJ *const list = jorn_obj_ptr;
    add(handle);
    jorn_obj_ptr = nullptr;
    pass();
    jorn_obj_ptr = list;
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(info(handle, 0).itemCount, 3U);
}

// --- Buffering -----------------------------------------------------------------------------------------

TEST_F(StoreTaskTest, Line_Written_ReachesTheMediumWhenTheFileIsClosed) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    EXPECT_EQ(dir_.read("0.csv"), kInitLine) << "nothing is flushed line by line";
    pass();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine);
}

TEST_F(StoreTaskTest, Line_WriteFails_IsCountedAllTheSame) {
    const int32_t handle = createAtRest(2);
    platform().fail("fwrite");
    storeOne(handle);
    pass();
    EXPECT_EQ(dir_.read("0.csv"), kInitLine);
    EXPECT_EQ(info(handle, 0).itemCount, 2U);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(StoreTaskTest, Line_LatestPossibleTime_IsWrittenAndCounted) {
    const int32_t handle = createAtRest(2);
    platform().setTime(4294967295U);
    storeOne(handle);
    pass();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + "4294967295,1,5,door open\n");
    EXPECT_EQ(info(handle, 0).timeMin, 1700000000U);
    EXPECT_EQ(info(handle, 0).timeMax, 4294967295U);
    EXPECT_EQ(info(handle, 0).timeLast, 4294967295U);
}

TEST_F(StoreTaskTest, Line_Written_RaisesCountTimesAndCounters) {
    const int32_t handle = createAtRest(2);
    platform().setTime(1800000000U);
    storeOne(handle);
    const JORN_CSV_INFO &record = info(handle, 0);
    EXPECT_EQ(record.itemCount, 2U);
    EXPECT_EQ(record.timeMin, 1700000000U);
    EXPECT_EQ(record.timeMax, 1800000000U);
    EXPECT_EQ(record.timeLast, 1800000000U);
    EXPECT_EQ(record.levelStat[1].levelCount, 1U);
    EXPECT_EQ(record.levelStat[1].slotCount[5], 1U);
    EXPECT_EQ(record.levelStat[3].slotCount[0], 1U) << "the object's first item";
}

TEST_F(StoreTaskTest, Line_NegativeLevelAndSlot_IsWrittenAndCountsInNoCounter) {
    const int32_t handle = createAtRest(2);
    const JORN_LEVEL_STAT before[4] = {info(handle, 0).levelStat[0], info(handle, 0).levelStat[1],
                                       info(handle, 0).levelStat[2], info(handle, 0).levelStat[3]};
    ASSERT_EQ(JORN_AddOneLog(handle, -1, -2, "odd"), 0);
    pass();
    pass();
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + "1700000000,-1,-2,odd\n");
    EXPECT_EQ(info(handle, 0).itemCount, 2U);
    EXPECT_EQ(memcmp(before, info(handle, 0).levelStat, sizeof before), 0);
}

// --- Objects that end ----------------------------------------------------------------------------------

TEST_F(StoreTaskTest, Destroy_FileOfTheObjectOpen_LinesAreKept) {
    createAtRest(2);
    const int32_t second = createSecondAtRest(2);
    storeOne(second);
    EXPECT_EQ(JORN_Destroy(second), 0);
    EXPECT_EQ(secondDir_.read("0.csv"), std::string(kInitLine) + kItemLine);
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "taskDelay 100")) << "nothing left to close";
}

TEST_F(StoreTaskTest, Destroy_LastObjectWithFileOpen_LinesAreKept) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    EXPECT_EQ(JORN_Destroy(handle), 0);
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine);
}

TEST_F(StoreTaskTest, Destroy_FileOfAnotherObjectOpen_StaysOpen) {
    const int32_t first = createAtRest(2);
    const int32_t second = createSecondAtRest(2);
    storeOne(first);
    platform().clearLog();
    EXPECT_EQ(JORN_Destroy(second), 0);
    EXPECT_THAT(platform().calls({"fclose"}), IsEmpty());
    add(first);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1"));
}

TEST_F(StoreTaskTest, Destroy_ItemsStillQueued_AreDroppedAsNotFound) {
    createAtRest(2);
    const int32_t second = createSecondAtRest(2);
    storeOne(second);
    add(second);
    EXPECT_EQ(JORN_Destroy(second), 0);
    pass();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    EXPECT_EQ(secondDir_.read("0.csv"), std::string(kInitLine) + kItemLine);
}

TEST_F(StoreTaskTest, Destroy_HandleGivenOutAgain_NewObjectGetsItsOwnLines) {
    createAtRest(2);
    const int32_t former = createSecondAtRest(2);
    storeOne(former);
    EXPECT_EQ(JORN_Destroy(former), 0);

    const TempDir thirdDir;
    ASSERT_EQ(JORN_Create(thirdDir.name(), 8, 2), former);
    storeOne(former);
    pass();
    EXPECT_EQ(thirdDir.read("0.csv"), std::string(kInitLine) + kItemLine);
    EXPECT_EQ(secondDir_.read("0.csv"), std::string(kInitLine) + kItemLine);
    EXPECT_EQ(info(former, 0).itemCount, 2U);
    JORN_Destroy(former);
}

TEST_F(StoreTaskTest, Restart_AfterTheLastObject_NewTaskStartsClean) {
    const int32_t former = createAtRest(2);
    storeOne(former);
    EXPECT_EQ(JORN_Destroy(former), 0);

    const int32_t handle = createSecondAtRest(2);
    EXPECT_EQ(handle, former) << "the same handle, another object";
    storeOne(handle);
    pass();
    EXPECT_EQ(secondDir_.read("0.csv"), std::string(kInitLine) + kItemLine);
    EXPECT_EQ(dir_.read("0.csv"), std::string(kInitLine) + kItemLine);
}

TEST_F(StoreTaskTest, Restart_AfterTheLastObject_NoBytesOfFormerMessagesAreLeft) {
    const int32_t former = createAtRest(2);
    storeOne(former);
    EXPECT_EQ(JORN_Destroy(former), 0);

    // The new task's very first message has no comma: nothing may be found after its NUL.
    platform().clearLog();
    platform().onCall("taskSpawn", once([] { sendRaw(std::string("1\0", 2)); }));
    JORN_Create(secondDir_.name(), 8, 2);
    settle();
    EXPECT_THAT(messages(), Contains("msg eror: "));
    EXPECT_EQ(secondDir_.read("0.csv"), kInitLine);
}

TEST_F(StoreTaskTest, LetGo_ObjectOfNoInterest_ForgetsNothing) {
    const int32_t handle = createAtRest(2);
    HandMadeObject other(secondDir_.path(), 2);
    storeOne(handle);
    platform().clearLog();
    semTake(logSemCsvRW_ID, WAIT_FOREVER);
    jorn::storeTaskLetGo(other.get());
    semGive(logSemCsvRW_ID);
    EXPECT_THAT(platform().calls(), IsEmpty());
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fwrite 25x1"));
}

// Without an object the task remembers the handle 0, which a message may carry.
const std::string kMessageForZero = std::string("0,1700000000,1,5,x\n") + '\0';

TEST_F(StoreTaskTest, LetGo_ObjectOfTheOpenFile_IsNotFoundByTheHandleZero) {
    ASSERT_GT(createAtRest(2), 0);
    const int32_t second = createSecondAtRest(2);
    storeOne(second);
    EXPECT_EQ(JORN_Destroy(second), 0);
    platform().clearLog();
    sendRaw(kMessageForZero);
    pass();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 0, not found!"));
    EXPECT_EQ(secondDir_.read("0.csv"), std::string(kInitLine) + kItemLine);
}

TEST_F(StoreTaskTest, Reset_FileOpen_ClosesItAndForgetsTheObject) {
    const int32_t handle = createAtRest(2);
    storeOne(handle);
    platform().clearLog();
    semTake(logSemCsvRW_ID, WAIT_FOREVER);
    jorn::storeTaskReset();
    semGive(logSemCsvRW_ID);
    EXPECT_THAT(platform().calls(), ElementsAre("fclose"));
    sendRaw(kMessageForZero);
    pass();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 0, not found!"));
    add(handle);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fopen 0.csv a", "fwrite 25x1"));
}

}  // namespace
}  // namespace test
