// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>
#include <signal.h>
#include <string.h>

#include <array>

#include "port_test.h"

namespace {

using namespace port_test;

using TaskTest = PortTest;

int returnAtOnce() { return OK; }

Outcome spawn(int priority, FUNCPTR entry) {
    return outcomeOf([=] { return taskSpawn(nullptr, priority, 0, 0, entry, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0); });
}

std::array<_Vx_usr_arg_t, 10> seenArguments;

int noteArguments(_Vx_usr_arg_t a1, _Vx_usr_arg_t a2, _Vx_usr_arg_t a3, _Vx_usr_arg_t a4, _Vx_usr_arg_t a5,
                  _Vx_usr_arg_t a6, _Vx_usr_arg_t a7, _Vx_usr_arg_t a8, _Vx_usr_arg_t a9, _Vx_usr_arg_t a10) {
    seenArguments = {a1, a2, a3, a4, a5, a6, a7, a8, a9, a10};
    return OK;
}

TEST_F(TaskTest, Spawn_TenArguments_ReachTheEntryWholeAndInOrder) {
    seenArguments.fill(0);
    ASSERT_NE(taskSpawn(nullptr, 0, 0, 0, reinterpret_cast<FUNCPTR>(noteArguments), INTPTR_MIN, 2, 3, 4, 5, 6,
                        7, 8, 9, INTPTR_MAX),
              ERROR);
    posixPortSettle();
    EXPECT_EQ(seenArguments, (std::array<_Vx_usr_arg_t, 10>{INTPTR_MIN, 2, 3, 4, 5, 6, 7, 8, 9, INTPTR_MAX}));
}

TEST_F(TaskTest, Spawn_PriorityLimits_AreCheckedAtEachSide) {
    const FUNCPTR entry = reinterpret_cast<FUNCPTR>(returnAtOnce);
    EXPECT_EQ(spawn(-1, entry), failed(S_taskLib_ILLEGAL_PRIORITY));
    EXPECT_GT(spawn(0, entry).result, 0);
    EXPECT_GT(spawn(255, entry).result, 0);
    EXPECT_EQ(spawn(256, entry), failed(S_taskLib_ILLEGAL_PRIORITY));
    posixPortSettle();
}

TEST_F(TaskTest, Spawn_NullEntry_FailsWithEinval) { EXPECT_EQ(spawn(kPriority, nullptr), failed(EINVAL)); }

TEST_F(TaskTest, Spawn_StackOfADevice_IsRoundedUpToWhatTheHostNeeds) {
    size_t sum = 0;
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        std::array<char, 200000> large;
        memset(large.data(), 1, large.size());
        for (const char byte : large) {
            sum += static_cast<size_t>(byte);
        }
    });
    EXPECT_EQ(sum, 200000u);
}

TEST_F(TaskTest, Spawn_SignalsOfTheProgram_AreLeftToOtherThreads) {
    sigset_t ofTask;
    sigset_t before;
    sigset_t after;
    Crew crew;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    crew.startAndSettle(kPriority, [&] { pthread_sigmask(SIG_SETMASK, nullptr, &ofTask); });
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_TRUE(sigismember(&ofTask, SIGINT));
    EXPECT_TRUE(sigismember(&ofTask, SIGTERM));
    EXPECT_FALSE(sigismember(&ofTask, SIGSEGV));
    EXPECT_EQ(sigismember(&before, SIGINT), sigismember(&after, SIGINT));
}

TEST_F(TaskTest, PriorityGet_NoSuchTask_FailsAndLeavesTheResultAlone) {
    int priority = -5;
    EXPECT_EQ(outcomeOf([&] { return taskPriorityGet(ERROR, &priority); }), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(priority, -5);
}

TEST_F(TaskTest, Entry_Returns_TaskIsGoneAndItsIdStale) {
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [] {});
    EXPECT_EQ(verify(task), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(remove(task), failed(S_objLib_OBJ_ID_ERROR));
}

TEST_F(TaskTest, EveryCall_GarbageId_FailsWithIdError) {
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [] { taskDelay(1); });
    for (const TASK_ID garbage :
         {-1, INT32_MIN, INT32_MAX, 1, 2, 0xfff, task + 1, task - 1, task + 4, task + 0x1000, -task}) {
        EXPECT_EQ(remove(garbage), failed(S_objLib_OBJ_ID_ERROR)) << garbage;
        EXPECT_EQ(verify(garbage), failed(S_objLib_OBJ_ID_ERROR)) << garbage;
    }
    EXPECT_EQ(verify(task), kDone);
}

TEST_F(TaskTest, Delete_StaleIdWhosePlaceWasTakenAgain_FailsAndLeavesNewTaskAlone) {
    const FUNCPTR entry = reinterpret_cast<FUNCPTR>(returnAtOnce);
    const TASK_ID stale = spawn(kPriority, entry).result;
    posixPortSettle();
    // As many tasks as there are places, one after the other: the last ones reuse places.
    for (int each = 0; each < 1030; ++each) {
        ASSERT_NE(spawn(kPriority, entry).result, stale);
        posixPortSettle();
    }
    Crew crew;
    const TASK_ID fresh = crew.startAndSettle(kPriority, [] { taskDelay(1); });
    EXPECT_EQ(remove(stale), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(verify(fresh), kDone);
}

}  // namespace
