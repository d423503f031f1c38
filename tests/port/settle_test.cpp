// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <thread>

#include "port_test.h"

namespace {

using namespace port_test;

using SettleTest = PortTest;

TEST_F(SettleTest, Settle_TaskOnItsWay_ReturnsWhenItWaits) {
    int steps = 0;  // not atomic: settling orders the task's steps before the reading
    Crew crew;
    crew.start(kPriority, [&] {
        for (int step = 0; step < 10000; ++step) {
            ++steps;
        }
        taskDelay(1);
        ++steps;
    });
    posixPortSettle();
    EXPECT_EQ(steps, 10000);
    tick();
    EXPECT_EQ(steps, 10001);
}

TEST_F(SettleTest, Settle_TaskStartsAnother_WaitsForThatOneToo) {
    bool done = false;
    Crew crew;
    crew.start(kPriority, [&] { crew.start(kPriority, [&] { done = true; }); });
    posixPortSettle();
    EXPECT_TRUE(done);
}

TEST_F(SettleTest, Settle_ChainOfWakings_ReturnsAfterTheLast) {
    constexpr size_t kLinks = 8;
    std::array<MSG_Q_ID, kLinks + 1> queues;
    for (MSG_Q_ID &queue : queues) {
        queue = msgQCreate(1, 16, MSG_Q_FIFO);
    }
    {
        Crew crew;
        for (size_t link = 0; link < kLinks; ++link) {
            crew.start(kPriority, [&queues, link] {
                for (;;) {
                    char message[16];
                    const int length = msgQReceive(queues[link], message, sizeof message, WAIT_FOREVER);
                    msgQSend(queues[link + 1], message, static_cast<UINT>(length), WAIT_FOREVER,
                             MSG_PRI_NORMAL);
                }
            });
        }
        for (int round = 0; round < 100; ++round) {
            ASSERT_EQ(send(queues.front(), "passed on", NO_WAIT), kDone);
            posixPortSettle();
            ASSERT_EQ(next(queues.back()), "passed on");
        }
    }
    for (MSG_Q_ID queue : queues) {
        msgQDelete(queue);
    }
}

TEST_F(SettleTest, Settle_InATask_LeavesTheCallerOut) {
    Journal journal;
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        crew.start(kPriority, [&] { journal.add("other"); });
        posixPortSettle();
        journal.add("caller");
    });
    EXPECT_EQ(journal.entries(), (Entries{"other", "caller"}));
}

TEST_F(SettleTest, Settle_InSeveralTasks_DoNotWaitForEachOther) {
    int settled = 0;
    const Mutex mutex;
    Crew crew;
    for (int each = 0; each < 3; ++each) {
        crew.start(kPriority, [&] {
            posixPortSettle();
            semTake(mutex, WAIT_FOREVER);
            ++settled;
            semGive(mutex);
        });
    }
    posixPortSettle();
    // The wait above may have ended together with theirs; they have come to rest after this one.
    posixPortSettle();
    EXPECT_EQ(settled, 3);
}

TEST_F(SettleTest, Settle_SeveralThreadsAtOnce_AllReturn) {
    int passes = 0;
    Crew crew;
    crew.start(kPriority, [&] {
        for (;;) {
            ++passes;
            taskDelay(1);
        }
    });
    for (int round = 1; round <= 50; ++round) {
        std::thread other([] { posixPortSettle(); });
        posixPortSettle();
        EXPECT_EQ(passes, round);
        other.join();
        tickAnnounce();
    }
    posixPortSettle();
}

TEST_F(SettleTest, Settle_AfterWaking_NeverReturnsBeforeTheTaskHasRun) {
    const Mutex mutex;
    int runs = 0;
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        for (;;) {
            taskDelay(1);
            ++runs;
        }
    });
    for (int round = 1; round <= 1000; ++round) {
        tickAnnounce();
        posixPortSettle();
        ASSERT_EQ(runs, round);
    }
}

TEST_F(SettleTest, Waiters_ThreadNotSpawned_IsCounted) {
    const Mutex mutex;
    ASSERT_EQ(take(mutex, NO_WAIT), kDone);
    Outcome taken = kNotReturned;
    std::thread taker([&] { taken = take(mutex, WAIT_FOREVER); });
    // Nothing but the count tells that a thread of the program has got to its wait.
    while (posixPortSemWaiters(mutex) == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(posixPortSemWaiters(mutex), 1);
    ASSERT_EQ(give(mutex), kDone);
    taker.join();
    EXPECT_EQ(taken, kDone);
}

}  // namespace
