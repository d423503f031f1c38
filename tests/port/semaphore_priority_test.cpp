// SPDX-License-Identifier: Apache-2.0
// The priority that a holder inherits from those who wait for it.
#include "semaphore_fixture.h"

namespace {

using namespace port_test;

TEST_F(SemaphoreTest, Take_HigherWaiter_RaisesHolderUntilItGives) {
    const Mutex mutex(kInheriting);
    Crew crew;
    const TASK_ID low = crew.startAndSettle(200, [&] {
        semTake(mutex, WAIT_FOREVER);
        taskDelay(1);
        semGive(mutex);
        taskDelay(10);
    });
    crew.startAndSettle(150, [&] { semTake(mutex, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(low), 150);
    crew.startAndSettle(50, [&] { semTake(mutex, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(low), 50);
    tick();
    EXPECT_EQ(priorityOf(low), 200);
}

TEST_F(SemaphoreTest, Take_LowerWaiter_LeavesHolderAlone) {
    const Mutex mutex(kInheriting);
    Crew crew;
    const TASK_ID high = crew.startAndSettle(50, [&] {
        semTake(mutex, WAIT_FOREVER);
        taskDelay(10);
    });
    crew.startAndSettle(200, [&] { semTake(mutex, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(high), 50);
}

TEST_F(SemaphoreTest, Take_WithoutInversionSafe_LeavesHolderAlone) {
    const Mutex mutex(SEM_Q_PRIORITY);
    Crew crew;
    const TASK_ID low = crew.startAndSettle(200, [&] {
        semTake(mutex, WAIT_FOREVER);
        taskDelay(10);
    });
    crew.startAndSettle(50, [&] { semTake(mutex, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(low), 200);
}

TEST_F(SemaphoreTest, Take_ByThreadOfMain_CountsAsPriority100) {
    const Mutex mutex(kInheriting);
    Crew crew;
    ASSERT_EQ(priorityOf(0), 100);
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    crew.startAndSettle(101, [&] { semTake(mutex, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(0), 100);
    crew.startAndSettle(99, [&] { semTake(mutex, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(0), 99);
    ASSERT_EQ(give(mutex), kDone);
    EXPECT_EQ(priorityOf(0), 100);
}

TEST_F(SemaphoreTest, Give_FirstOfTwoInversionSafe_KeepsInheritedPriority) {
    const Mutex first(kInheriting);
    const Mutex second(kInheriting);
    Crew crew;
    const TASK_ID low = crew.startAndSettle(200, [&] {
        semTake(first, WAIT_FOREVER);
        semTake(second, WAIT_FOREVER);
        taskDelay(1);
        semGive(first);
        taskDelay(1);
        semGive(second);
        taskDelay(10);
    });
    crew.startAndSettle(50, [&] { semTake(first, WAIT_FOREVER); });
    tick();
    EXPECT_EQ(priorityOf(low), 50);
    tick();
    EXPECT_EQ(priorityOf(low), 200);
}

TEST_F(SemaphoreTest, Take_WaiterTimesOut_HolderKeepsInheritedPriorityUntilItGives) {
    const Mutex mutex(kInheriting);
    Crew crew;
    const TASK_ID low = crew.startAndSettle(200, [&] {
        semTake(mutex, WAIT_FOREVER);
        taskDelay(2);
        semGive(mutex);
        taskDelay(10);
    });
    crew.startAndSettle(50, [&] { semTake(mutex, 1); });
    tick();
    EXPECT_EQ(priorityOf(low), 50);
    tick();
    EXPECT_EQ(priorityOf(low), 200);
}

TEST_F(SemaphoreTest, Take_HolderWaitsForAnother_RaisesThatHolderToo) {
    const Mutex first(kInheriting);
    const Mutex second(kInheriting);
    Crew crew;
    const TASK_ID low = crew.startAndSettle(200, [&] {
        semTake(first, WAIT_FOREVER);
        taskDelay(10);
    });
    const TASK_ID middle = crew.startAndSettle(150, [&] {
        semTake(second, WAIT_FOREVER);
        semTake(first, WAIT_FOREVER);
    });
    EXPECT_EQ(priorityOf(low), 150);
    crew.startAndSettle(50, [&] { semTake(second, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(middle), 50);
    EXPECT_EQ(priorityOf(low), 50);
}

TEST_F(SemaphoreTest, Take_HolderHasGivenUpWaitingForAnother_LeavesThatHolderAlone) {
    const Mutex first(kInheriting);
    const Mutex second(kInheriting);
    Crew crew;
    const TASK_ID low = crew.startAndSettle(200, [&] {
        semTake(first, WAIT_FOREVER);
        taskDelay(10);
    });
    const TASK_ID middle = crew.startAndSettle(150, [&] {
        semTake(second, WAIT_FOREVER);
        semTake(first, 1);
        taskDelay(10);
    });
    tick();
    crew.startAndSettle(50, [&] { semTake(second, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(middle), 50);
    EXPECT_EQ(priorityOf(low), 150);
}

TEST_F(SemaphoreTest, Take_RaisedWaiter_MovesForwardInItsQueue) {
    const Mutex contended(kInheriting);
    const Mutex inner(kInheriting);
    Journal journal;
    Crew crew;
    ASSERT_EQ(take(contended, NO_WAIT), kDone);
    crew.startAndSettle(100, taker(contended, journal, "100"));
    crew.startAndSettle(150, [&] {
        semTake(inner, WAIT_FOREVER);
        semTake(contended, WAIT_FOREVER);
        journal.add("150 raised");
        semGive(contended);
        semGive(inner);
    });
    crew.startAndSettle(50, [&] { semTake(inner, WAIT_FOREVER); });
    ASSERT_EQ(give(contended), kDone);
    posixPortSettle();
    EXPECT_EQ(journal.entries(), (Entries{"150 raised", "100"}));
}

TEST_F(SemaphoreTest, Delete_OfInheritingHolderThatWaits_RestoresItsPriorityAndPlace) {
    const Mutex contended(SEM_Q_PRIORITY);
    const Mutex inner(kInheriting);
    Journal journal;
    Crew crew;
    ASSERT_EQ(take(contended, NO_WAIT), kDone);
    crew.startAndSettle(100, taker(contended, journal, "100"));
    const TASK_ID low = crew.startAndSettle(150, [&] {
        semTake(inner, WAIT_FOREVER);
        semTake(contended, WAIT_FOREVER);
        journal.add("150");
        semGive(contended);
    });
    crew.startAndSettle(50, [&] { semTake(inner, WAIT_FOREVER); });
    ASSERT_EQ(priorityOf(low), 50);
    ASSERT_EQ(semDelete(inner), OK);
    posixPortSettle();
    EXPECT_EQ(priorityOf(low), 150);
    ASSERT_EQ(give(contended), kDone);
    posixPortSettle();
    EXPECT_EQ(journal.entries(), (Entries{"100", "150"}));
}

TEST_F(SemaphoreTest, Take_HoldersWaitForEachOther_DoesNotHangThePort) {
    const Mutex first(kInheriting);
    const Mutex second(kInheriting);
    Crew crew;
    const TASK_ID one = crew.startAndSettle(200, [&] {
        semTake(first, WAIT_FOREVER);
        taskDelay(1);
        semTake(second, WAIT_FOREVER);
    });
    const TASK_ID other = crew.startAndSettle(150, [&] {
        semTake(second, WAIT_FOREVER);
        semTake(first, WAIT_FOREVER);
    });
    tick();
    crew.startAndSettle(50, [&] { semTake(first, WAIT_FOREVER); });
    EXPECT_EQ(priorityOf(one), 50);
    EXPECT_EQ(priorityOf(other), 50);
}

}  // namespace
