// SPDX-License-Identifier: Apache-2.0
// The deletion of tasks: of itself, in each waiting call, while running, and while holding delete-safe
// semaphores.
#include <array>
#include <atomic>
#include <thread>

#include "port_test.h"

namespace {

using namespace port_test;

using TaskTest = PortTest;

TEST_F(TaskTest, Delete_Self_DoesNotReturn) {
    for (const bool byZero : {true, false}) {
        Journal journal;
        Crew crew;
        const TASK_ID task = crew.startAndSettle(kPriority, [&] {
            journal.add("before");
            taskDelete(byZero ? 0 : crew.own());
            journal.add("after");
        });
        EXPECT_EQ(journal.entries(), Entries{"before"});
        EXPECT_EQ(verify(task), failed(S_objLib_OBJ_ID_ERROR));
    }
}

TEST_F(TaskTest, DeleteZero_FromThreadOfMain_FailsWithIdError) {
    EXPECT_EQ(remove(0), failed(S_objLib_OBJ_ID_ERROR));
}

TEST_F(TaskTest, Delete_FramesOfTheTask_AreLeftWithoutDestructors) {
    struct Guard {
        ~Guard() { ++*destroyed; }
        int *destroyed;
    };
    int destroyed = 0;
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [&]() noexcept {
        const Guard guard{&destroyed};
        taskDelay(1);
    });
    EXPECT_EQ(taskDelete(task), OK);
    EXPECT_EQ(destroyed, 0);
}

std::atomic<bool> threadOver;

struct ThreadMark {
    ~ThreadMark() { threadOver = true; }
    bool touched = false;
};

TEST_F(TaskTest, Delete_WhenItReturns_TheThreadIsOver) {
    threadOver = false;
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [] {
        static thread_local ThreadMark mark;
        mark.touched = true;
        taskDelay(1);
    });
    EXPECT_FALSE(threadOver);
    EXPECT_EQ(remove(task), kDone);
    // The thread's own storage is destroyed after its last call of the port.
    EXPECT_TRUE(threadOver);
    EXPECT_EQ(verify(task), failed(S_objLib_OBJ_ID_ERROR));
}

/// A call in which a task waits, given something to wait for.
struct WaitingPlace {
    const char *name;
    void (*wait)(SEM_ID, MSG_Q_ID full, MSG_Q_ID empty, TASK_ID other);
};

void waitInTake(SEM_ID mutex, MSG_Q_ID, MSG_Q_ID, TASK_ID) { semTake(mutex, WAIT_FOREVER); }
void waitInTimedTake(SEM_ID mutex, MSG_Q_ID, MSG_Q_ID, TASK_ID) { semTake(mutex, 5); }
void waitInSend(SEM_ID, MSG_Q_ID full, MSG_Q_ID, TASK_ID) {
    char message[] = "lost";
    msgQSend(full, message, 4, WAIT_FOREVER, MSG_PRI_NORMAL);
}
void waitInTimedSend(SEM_ID, MSG_Q_ID full, MSG_Q_ID, TASK_ID) {
    char message[] = "lost";
    msgQSend(full, message, 4, 5, MSG_PRI_URGENT);
}
void waitInReceive(SEM_ID, MSG_Q_ID, MSG_Q_ID empty, TASK_ID) {
    char buffer[16];
    msgQReceive(empty, buffer, sizeof buffer, WAIT_FOREVER);
}
void waitInTimedReceive(SEM_ID, MSG_Q_ID, MSG_Q_ID empty, TASK_ID) {
    char buffer[16];
    msgQReceive(empty, buffer, sizeof buffer, 5);
}
void waitInDelay(SEM_ID, MSG_Q_ID, MSG_Q_ID, TASK_ID) { taskDelay(5); }
void waitInDelete(SEM_ID, MSG_Q_ID, MSG_Q_ID, TASK_ID other) { taskDelete(other); }

class TaskDeleteTest : public PortTest, public ::testing::WithParamInterface<WaitingPlace> {};

TEST_P(TaskDeleteTest, Delete_TaskWaitsThere_EndsItAndLeavesNothingBehind) {
    const Mutex mutex;
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    const Queue full(1);
    const Queue empty(1);
    Journal journal;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    ASSERT_EQ(send(full, "first", NO_WAIT), kDone);
    const TASK_ID other = crew.startAndSettle(kPriority, [&] {
        semTake(safe, WAIT_FOREVER);  // a wait for its end lasts until it has given this
        taskDelay(50);
    });
    const TASK_ID task = crew.startAndSettle(kPriority, [&] {
        journal.add("before");
        GetParam().wait(mutex, full, empty, other);
        journal.add("after");
    });
    EXPECT_EQ(remove(task), kDone);
    EXPECT_EQ(journal.entries(), Entries{"before"});
    EXPECT_EQ(verify(task), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(posixPortSemWaiters(mutex), 0);
    tick(10);
    EXPECT_EQ(give(mutex), kDone);
    EXPECT_EQ(take(mutex, NO_WAIT), kDone);
    EXPECT_EQ(next(full), "first");
    EXPECT_EQ(next(full), "-");
    EXPECT_EQ(send(empty, "stays", NO_WAIT), kDone);
    EXPECT_EQ(next(empty), "stays");
    tick(40);  // `other` ends with its delay, and not before
}

INSTANTIATE_TEST_SUITE_P(
    EachWaitingCall, TaskDeleteTest,
    ::testing::Values(WaitingPlace{"semTake", waitInTake}, WaitingPlace{"semTakeTimed", waitInTimedTake},
                      WaitingPlace{"msgQSend", waitInSend}, WaitingPlace{"msgQSendTimed", waitInTimedSend},
                      WaitingPlace{"msgQReceive", waitInReceive},
                      WaitingPlace{"msgQReceiveTimed", waitInTimedReceive},
                      WaitingPlace{"taskDelay", waitInDelay}, WaitingPlace{"taskDelete", waitInDelete}),
    [](const ::testing::TestParamInfo<WaitingPlace> &place) { return std::string(place.param.name); });

/// Body of a task that is known to have its deletion pending when it calls `pending`: while it holds a
/// delete-safe semaphore it starts its own deleter and settles, which returns when the deleter waits for
/// the task's end; then it gives the semaphore.
std::function<void()> withDeletionPending(Crew &crew, SEM_ID safe, Outcome &deleted,
                                          std::function<void()> pending) {
    return [&crew, &deleted, safe, pending = std::move(pending)] {
        semTake(safe, WAIT_FOREVER);
        const TASK_ID me = crew.own();
        crew.start(kPriority, [&deleted, me] { deleted = remove(me); });
        posixPortSettle();
        semGive(safe);
        pending();
    };
}

TEST_F(TaskTest, Delete_TaskOnItsWay_EndsItOnlyWhereItWouldWait) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    const Mutex mutex;
    const Queue queue(1);
    Outcome deleted = kNotReturned;
    Journal journal;
    Crew crew;
    crew.startAndSettle(kPriority, withDeletionPending(crew, safe, deleted, [&] {
                            char message[16] = "a";
                            semTake(mutex, WAIT_FOREVER);
                            journal.add("took what was free");
                            semTake(mutex, WAIT_FOREVER);
                            semGive(mutex);
                            semGive(mutex);
                            msgQSend(queue, message, 1, WAIT_FOREVER, MSG_PRI_NORMAL);
                            journal.add("sent where there was room");
                            msgQSend(queue, message, 1, NO_WAIT, MSG_PRI_NORMAL);
                            msgQReceive(queue, message, sizeof message, WAIT_FOREVER);
                            journal.add("received what was there");
                            msgQReceive(queue, message, sizeof message, NO_WAIT);
                            msgQNumMsgs(queue);
                            taskDelay(-1);
                            journal.add("made calls that do not wait");
                            taskDelay(1);
                            journal.add("went on after a wait");
                        }));
    EXPECT_EQ(deleted, kDone);
    EXPECT_EQ(journal.entries(), (Entries{"took what was free", "sent where there was room",
                                          "received what was there", "made calls that do not wait"}));
    EXPECT_EQ(take(mutex, NO_WAIT), kDone);
}

TEST_F(TaskTest, Delete_TaskAboutToDelayByZero_EndsIt) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    Outcome deleted = kNotReturned;
    Journal journal;
    Crew crew;
    crew.startAndSettle(kPriority, withDeletionPending(crew, safe, deleted, [&] {
                            taskDelay(0);
                            journal.add("went on");
                        }));
    EXPECT_EQ(deleted, kDone);
    EXPECT_EQ(journal.entries(), Entries{});
}

TEST_F(TaskTest, Delete_TaskAboutToTakeAHeldSemaphore_EndsItWithoutRaisingTheHolder) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    const Mutex mutex(SEM_Q_PRIORITY | SEM_INVERSION_SAFE);
    Outcome deleted = kNotReturned;
    int priority = 0;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(50, withDeletionPending(crew, safe, deleted, [&] { semTake(mutex, WAIT_FOREVER); }));
    EXPECT_EQ(deleted, kDone);
    ASSERT_EQ(taskPriorityGet(0, &priority), OK);
    EXPECT_EQ(priority, 100);
    EXPECT_EQ(posixPortSemWaiters(mutex), 0);
}

TEST_F(TaskTest, Delete_TaskThatReturnsFromItsEntry_ReturnsWithSuccess) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    Outcome deleted = kNotReturned;
    Journal journal;
    Crew crew;
    crew.startAndSettle(kPriority, withDeletionPending(crew, safe, deleted, [&] { journal.add("returns"); }));
    EXPECT_EQ(deleted, kDone);
    EXPECT_EQ(journal.entries(), Entries{"returns"});
}

TEST_F(TaskTest, Delete_TaskHandedWhatItWaitedFor_EndsItAtItsNextWait) {
    const Mutex mutex;
    Journal journal;
    Crew crew;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    const TASK_ID task = crew.startAndSettle(kPriority, [&] {
        semTake(mutex, WAIT_FOREVER);
        journal.add("has it");
        semGive(mutex);
        taskDelay(1);
        journal.add("went on");
    });
    // Whether the task gets to its delay before the deletion begins or not, it must have had its semaphore.
    ASSERT_EQ(give(mutex), kDone);
    EXPECT_EQ(remove(task), kDone);
    EXPECT_EQ(journal.entries(), Entries{"has it"});
    EXPECT_EQ(take(mutex, NO_WAIT), kDone);
}

TEST_F(TaskTest, Delete_HolderOfDeleteSafe_EndsAfterItHasGiven) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    Outcome deleted = kNotReturned;
    Journal journal;
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [&] {
        semTake(safe, WAIT_FOREVER);
        taskDelay(1);
        journal.add("still there");
        taskDelay(1);
        semGive(safe);
        journal.add("gave");
        taskDelay(1);
        journal.add("went on");
    });
    crew.startAndSettle(kPriority, [&] { deleted = remove(task); });
    tick();
    EXPECT_EQ(journal.entries(), Entries{"still there"});
    EXPECT_EQ(deleted, kNotReturned);
    EXPECT_EQ(verify(task), kDone);
    tick();
    EXPECT_EQ(journal.entries(), (Entries{"still there", "gave"}));
    EXPECT_EQ(deleted, kDone);
    EXPECT_EQ(take(safe, NO_WAIT), kDone);
}

TEST_F(TaskTest, Delete_TaskThatSettles_EndsIt) {
    Outcome deleted = kNotReturned;
    Journal journal;
    Crew crew;
    // The settling cannot end by itself: the deleter moves until it waits for the task's end.
    crew.startAndSettle(kPriority, [&] {
        const TASK_ID task = crew.start(kPriority, [&] {
            posixPortSettle();
            journal.add("went on");
        });
        deleted = remove(task);
    });
    EXPECT_EQ(deleted, kDone);
    EXPECT_EQ(journal.entries(), Entries{});
}

TEST_F(TaskTest, Delete_DeleteSafeSemaphoreIsDeleted_HolderCanBeEnded) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [&] {
        semTake(safe, WAIT_FOREVER);
        taskDelay(100);
    });
    ASSERT_EQ(semDelete(safe), OK);
    EXPECT_EQ(remove(task), kDone);
}

TEST_F(TaskTest, Delete_TwiceAtOnce_FirstSucceedsAndSecondSeesItDeleted) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    std::array<Outcome, 2> deleted = {kNotReturned, kNotReturned};
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [&] {
        semTake(safe, WAIT_FOREVER);
        taskDelay(1);
        semGive(safe);
        taskDelay(1);
    });
    for (Outcome &each : deleted) {
        crew.startAndSettle(kPriority, [&] { each = remove(task); });
    }
    EXPECT_EQ(deleted[0], kNotReturned);
    EXPECT_EQ(deleted[1], kNotReturned);
    tick();
    EXPECT_EQ(deleted[0], kDone);
    EXPECT_EQ(deleted[1], failed(S_objLib_OBJ_DELETED));
}

TEST_F(TaskTest, Delete_EachOther_BothEnd) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    TASK_ID other = ERROR;
    Journal journal;
    Crew crew;
    const TASK_ID one = crew.startAndSettle(kPriority, [&] {
        semTake(safe, WAIT_FOREVER);
        taskDelay(1);
        semGive(safe);
        taskDelete(other);
        journal.add("survived");
    });
    other = crew.startAndSettle(kPriority, [&] {
        taskDelete(one);
        journal.add("survived");
    });
    tick();
    EXPECT_EQ(journal.entries(), Entries{});
    EXPECT_EQ(verify(one), failed(S_objLib_OBJ_ID_ERROR));
    EXPECT_EQ(verify(other), failed(S_objLib_OBJ_ID_ERROR));
}

TEST_F(TaskTest, Delete_DeleterIsDeleted_TargetEndsAllTheSame) {
    const Mutex safe(SEM_Q_PRIORITY | SEM_DELETE_SAFE);
    Crew crew;
    const TASK_ID target = crew.startAndSettle(kPriority, [&] {
        semTake(safe, WAIT_FOREVER);
        taskDelay(1);
        semGive(safe);
        taskDelay(100);
    });
    const TASK_ID deleter = crew.startAndSettle(kPriority, [&] { taskDelete(target); });
    EXPECT_EQ(remove(deleter), kDone);
    EXPECT_EQ(verify(target), kDone);
    tick();
    EXPECT_EQ(verify(target), failed(S_objLib_OBJ_ID_ERROR));
}

TEST_F(TaskTest, Delete_HolderOfASemaphore_LeavesItTakenUntilItIsDeleted) {
    const Mutex mutex;
    Outcome taken = kNotReturned;
    Crew crew;
    const TASK_ID holder = crew.startAndSettle(kPriority, [&] {
        semTake(mutex, WAIT_FOREVER);
        taskDelay(1);
    });
    crew.startAndSettle(kPriority, [&] { taken = take(mutex, WAIT_FOREVER); });
    EXPECT_EQ(remove(holder), kDone);
    posixPortSettle();
    EXPECT_EQ(taken, kNotReturned);
    EXPECT_EQ(give(mutex), failed(S_semLib_INVALID_OPERATION));
    ASSERT_EQ(semDelete(mutex), OK);
    posixPortSettle();
    EXPECT_EQ(taken, failed(S_objLib_OBJ_DELETED));
}

TEST_F(TaskTest, Delete_ByThreadNotSpawned_Works) {
    Outcome deleted = kNotReturned;
    Crew crew;
    const TASK_ID task = crew.startAndSettle(kPriority, [] { taskDelay(1); });
    std::thread([&] { deleted = remove(task); }).join();
    EXPECT_EQ(deleted, kDone);
}

TEST_F(TaskTest, Delete_ManyWhileTheyPassMessages_LeavesTheQueueUsable) {
    const Queue queue(1);
    for (int round = 0; round < 50; ++round) {
        Crew crew;
        for (int each = 0; each < 2; ++each) {
            crew.start(kPriority, [&] {
                for (;;) {
                    char message[4] = "abc";
                    msgQSend(queue, message, 3, WAIT_FOREVER, MSG_PRI_NORMAL);
                }
            });
            crew.start(kPriority, [&] {
                for (;;) {
                    char message[4];
                    msgQReceive(queue, message, 3, WAIT_FOREVER);
                }
            });
        }
    }
    while (msgQNumMsgs(queue) > 0) {
        EXPECT_EQ(next(queue), "abc");
    }
    EXPECT_EQ(send(queue, "last", NO_WAIT), kDone);
    EXPECT_EQ(next(queue), "last");
}

}  // namespace
