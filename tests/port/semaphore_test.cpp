// SPDX-License-Identifier: Apache-2.0
#include <memLib.h>

#include <array>
#include <thread>

#include "semaphore_fixture.h"

namespace {

using namespace port_test;

Outcome create(int options) {
    return outcomeOf([=] {
        SEM_ID id = semMCreate(options);
        const int result = id != nullptr ? OK : ERROR;
        if (id != nullptr) {
            semDelete(id);
        }
        return result;
    });
}

TEST_F(SemaphoreTest, Create_EveryValidCombination_Succeeds) {
    for (const int order : {SEM_Q_FIFO, SEM_Q_PRIORITY}) {
        EXPECT_EQ(create(order), kDone);
        EXPECT_EQ(create(order | SEM_DELETE_SAFE), kDone);
    }
    EXPECT_EQ(create(kInheriting), kDone);
    EXPECT_EQ(create(kInheriting | SEM_DELETE_SAFE), kDone);
}

TEST_F(SemaphoreTest, Create_InversionSafeInOrderOfArrival_IsRefused) {
    EXPECT_EQ(create(SEM_Q_FIFO | SEM_INVERSION_SAFE), failed(S_semLib_INVALID_OPTION));
}

TEST_F(SemaphoreTest, Create_UnknownOptions_IsRefused) {
    EXPECT_EQ(create(0x02), failed(S_semLib_INVALID_QUEUE_TYPE));
    EXPECT_EQ(create(0x03), failed(S_semLib_INVALID_QUEUE_TYPE));
    EXPECT_EQ(create(SEM_Q_PRIORITY | 0x10), failed(S_semLib_INVALID_OPTION));
    EXPECT_EQ(create(-1), failed(S_semLib_INVALID_QUEUE_TYPE));
}

TEST_F(SemaphoreTest, Create_AllPlacesTaken_FailsUntilOneIsDeleted) {
    std::vector<SEM_ID> all;
    for (SEM_ID id = semMCreate(SEM_Q_FIFO); id != nullptr; id = semMCreate(SEM_Q_FIFO)) {
        all.push_back(id);
        ASSERT_LE(all.size(), 1024u);
    }
    EXPECT_EQ(create(SEM_Q_FIFO), failed(S_memLib_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(all.size(), 1024u);
    ASSERT_EQ(semDelete(all.back()), OK);
    all.pop_back();
    EXPECT_EQ(create(SEM_Q_FIFO), kDone);
    for (SEM_ID id : all) {
        EXPECT_EQ(semDelete(id), OK);
    }
}

TEST_F(SemaphoreTest, TakeNoWait_HeldByOther_FailsWithUnavailable) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] { taken = take(mutex, NO_WAIT); });
    EXPECT_EQ(taken, failed(S_objLib_OBJ_UNAVAILABLE));
}

TEST_F(SemaphoreTest, Take_ByHolder_NestsUntilGivenAsOften) {
    const Mutex mutex;
    Outcome whileNested = kNotReturned;
    Outcome afterwards = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, WAIT_FOREVER), kDone);
    ASSERT_EQ(take(mutex, WAIT_FOREVER), kDone);
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    ASSERT_EQ(give(mutex), kDone);
    ASSERT_EQ(give(mutex), kDone);
    crew.startAndSettle(kPriority, [&] { whileNested = take(mutex, NO_WAIT); });
    EXPECT_EQ(whileNested, failed(S_objLib_OBJ_UNAVAILABLE));
    ASSERT_EQ(give(mutex), kDone);
    crew.startAndSettle(kPriority, [&] { afterwards = take(mutex, NO_WAIT); });
    EXPECT_EQ(afterwards, kDone);
}

TEST_F(SemaphoreTest, Give_NotTaken_FailsWithInvalidOperation) {
    const Mutex mutex;
    EXPECT_EQ(give(mutex), failed(S_semLib_INVALID_OPERATION));
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    ASSERT_EQ(give(mutex), kDone);
    EXPECT_EQ(give(mutex), failed(S_semLib_INVALID_OPERATION));
}

TEST_F(SemaphoreTest, Give_ByOther_FailsAndHolderKeepsIt) {
    const Mutex mutex;
    Outcome given = kNotReturned;
    Outcome taken = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] {
        given = give(mutex);
        taken = take(mutex, NO_WAIT);
    });
    EXPECT_EQ(given, failed(S_semLib_INVALID_OPERATION));
    EXPECT_EQ(taken, failed(S_objLib_OBJ_UNAVAILABLE));
    EXPECT_EQ(give(mutex), kDone);
}

TEST_F(SemaphoreTest, Take_Timeout_EndsWithItsLastTickAndNotBefore) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] { taken = take(mutex, 3); });
    tick(2);
    EXPECT_EQ(taken, kNotReturned);
    EXPECT_EQ(posixPortSemWaiters(mutex), 1);
    tick();
    EXPECT_EQ(taken, failed(S_objLib_OBJ_TIMEOUT));
    EXPECT_EQ(posixPortSemWaiters(mutex), 0);
}

TEST_F(SemaphoreTest, Take_GivenOneTickBeforeTimeout_Succeeds) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] { taken = take(mutex, 3); });
    tick(2);
    ASSERT_EQ(give(mutex), kDone);
    // The semaphore has been the task's since it was given, whether or not the task runs before the third
    // tick.
    tick();
    EXPECT_EQ(taken, kDone);
}

TEST_F(SemaphoreTest, Take_NegativeTimeout_WaitsWithoutBound) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] { taken = take(mutex, -2); });
    tick(100);
    EXPECT_EQ(posixPortSemWaiters(mutex), 1);
    ASSERT_EQ(give(mutex), kDone);
    posixPortSettle();
    EXPECT_EQ(taken, kDone);
}

TEST_F(SemaphoreTest, Give_WithWaiter_HandsOverBeforeAnyoneElseCanTake) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] {
        taken = take(mutex, WAIT_FOREVER);
        taskDelay(1);
        semGive(mutex);
    });
    ASSERT_EQ(give(mutex), kDone);
    EXPECT_EQ(take(mutex, NO_WAIT), failed(S_objLib_OBJ_UNAVAILABLE));
    posixPortSettle();
    EXPECT_EQ(taken, kDone);
    tick();
    EXPECT_EQ(take(mutex, NO_WAIT), kDone);
}

TEST_F(SemaphoreTest, Give_PriorityOrder_ServesHighestThenEarliest) {
    const Mutex mutex(SEM_Q_PRIORITY);
    Journal journal;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(150, taker(mutex, journal, "150 first"));
    crew.startAndSettle(150, taker(mutex, journal, "150 second"));
    crew.startAndSettle(50, taker(mutex, journal, "50"));
    crew.startAndSettle(100, taker(mutex, journal, "100"));
    EXPECT_EQ(posixPortSemWaiters(mutex), 4);
    ASSERT_EQ(give(mutex), kDone);
    posixPortSettle();
    EXPECT_EQ(journal.entries(), (Entries{"50", "100", "150 first", "150 second"}));
}

TEST_F(SemaphoreTest, Give_ArrivalOrder_ServesEarliestWhateverThePriority) {
    const Mutex mutex(SEM_Q_FIFO);
    Journal journal;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(150, taker(mutex, journal, "150"));
    crew.startAndSettle(50, taker(mutex, journal, "50"));
    crew.startAndSettle(100, taker(mutex, journal, "100"));
    ASSERT_EQ(give(mutex), kDone);
    posixPortSettle();
    EXPECT_EQ(journal.entries(), (Entries{"150", "50", "100"}));
}

TEST_F(SemaphoreTest, Delete_UnderWaiters_AllWakeWithDeleted) {
    const Mutex mutex;
    std::array<Outcome, 3> taken = {kNotReturned, kNotReturned, kNotReturned};
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    for (Outcome &each : taken) {
        crew.startAndSettle(kPriority, [&] { each = take(mutex, WAIT_FOREVER); });
    }
    EXPECT_EQ(posixPortSemWaiters(mutex), 3);
    ASSERT_EQ(semDelete(mutex), OK);
    posixPortSettle();
    for (const Outcome &each : taken) {
        EXPECT_EQ(each, failed(S_objLib_OBJ_DELETED));
    }
}

TEST_F(SemaphoreTest, Delete_UnderTimedWaiter_LaterTicksLeaveItAlone) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Outcome delayed = kNotReturned;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(kPriority, [&] {
        taken = take(mutex, 2);
        delayed = outcomeOf([] { return taskDelay(5); });
    });
    tick();
    ASSERT_EQ(semDelete(mutex), OK);
    posixPortSettle();
    EXPECT_EQ(taken, failed(S_objLib_OBJ_DELETED));
    tick(4);
    EXPECT_EQ(delayed, kNotReturned);
    tick();
    EXPECT_EQ(delayed, kDone);
}

TEST_F(SemaphoreTest, EveryCall_DeletedSemaphore_FailsWithIdError) {
    const Mutex mutex;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    ASSERT_EQ(semDelete(mutex), OK);
    EXPECT_EQ(take(mutex, WAIT_FOREVER), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(give(mutex), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(outcomeOf([&] { return semDelete(mutex); }), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(outcomeOf([&] { return posixPortSemWaiters(mutex); }), failed(S_objLib_OBJ_ID_ERROR));
}

TEST_F(SemaphoreTest, Take_StaleIdWhosePlaceWasTakenAgain_FailsWithIdError) {
    SEM_ID stale = semMCreate(SEM_Q_FIFO);
    ASSERT_EQ(semDelete(stale), OK);
    // Three rounds through all places, so that the place of the stale id is in use again each time.
    for (int round = 0; round < 3; ++round) {
        std::vector<SEM_ID> all;
        for (SEM_ID id = semMCreate(SEM_Q_FIFO); id != nullptr; id = semMCreate(SEM_Q_FIFO)) {
            ASSERT_NE(id, stale);
            all.push_back(id);
        }
        EXPECT_EQ(take(stale, NO_WAIT), failed(S_objLib_OBJ_ID_ERROR));
        for (SEM_ID id : all) {
            ASSERT_EQ(semDelete(id), OK);
        }
    }
}

TEST_F(SemaphoreTest, EveryCall_GarbageId_FailsWithIdError) {
    const Mutex mutex;
    int local = 0;
    const auto valid = reinterpret_cast<uintptr_t>(static_cast<SEM_ID>(mutex));
    const Queue queue(1);
    for (const uintptr_t garbage :
         {uintptr_t{0}, uintptr_t{1}, uintptr_t{4}, uintptr_t{0xfff}, UINTPTR_MAX, UINTPTR_MAX / 2, valid + 1,
          valid - 1, valid + 4, valid + 0x1000, reinterpret_cast<uintptr_t>(&local),
          reinterpret_cast<uintptr_t>(static_cast<MSG_Q_ID>(queue))}) {
        SEM_ID id = reinterpret_cast<SEM_ID>(garbage);  // NOLINT(performance-no-int-to-ptr): an id
        EXPECT_EQ(take(id, WAIT_FOREVER), failed(S_objLib_OBJ_ID_ERROR)) << garbage;
        EXPECT_EQ(give(id), failed(S_objLib_OBJ_ID_ERROR)) << garbage;
        EXPECT_EQ(outcomeOf([&] { return semDelete(id); }), failed(S_objLib_OBJ_ID_ERROR)) << garbage;
        EXPECT_EQ(outcomeOf([&] { return posixPortSemWaiters(id); }), failed(S_objLib_OBJ_ID_ERROR))
            << garbage;
    }
}

TEST_F(SemaphoreTest, Give_ByLaterThread_FailsWhenTheHolderIsGone) {
    const Mutex mutex;
    Outcome given = kNotReturned;
    // The second thread is likely to get the first one's storage, and must not be taken for it.
    std::thread([&] { semTake(mutex, WAIT_FOREVER); }).join();
    std::thread([&] { given = give(mutex); }).join();
    EXPECT_EQ(given, failed(S_semLib_INVALID_OPERATION));
    EXPECT_EQ(take(mutex, NO_WAIT), failed(S_objLib_OBJ_UNAVAILABLE));
}

TEST_F(SemaphoreTest, Take_HolderIsGone_WaitsUntilDeletion) {
    const Mutex mutex(kInheriting);
    Outcome taken = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { semTake(mutex, WAIT_FOREVER); });
    crew.startAndSettle(0, [&] { taken = take(mutex, WAIT_FOREVER); });
    EXPECT_EQ(posixPortSemWaiters(mutex), 1);
    ASSERT_EQ(semDelete(mutex), OK);
    posixPortSettle();
    EXPECT_EQ(taken, failed(S_objLib_OBJ_DELETED));
}

TEST_F(SemaphoreTest, Take_ManyTasksAtOnce_ExcludeEachOther) {
    constexpr int kTasks = 4;
    constexpr int kRounds = 2000;
    const Mutex mutex(kInheriting);
    int counter = 0;  // not atomic: only the semaphore keeps the tasks apart
    {
        Crew crew;
        for (int task = 0; task < kTasks; ++task) {
            crew.start(100 + task, [&] {
                for (int round = 0; round < kRounds; ++round) {
                    semTake(mutex, WAIT_FOREVER);
                    ++counter;
                    semGive(mutex);
                }
            });
        }
        posixPortSettle();
    }
    EXPECT_EQ(counter, kTasks * kRounds);
}

}  // namespace
