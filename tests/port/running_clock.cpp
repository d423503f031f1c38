// SPDX-License-Identifier: Apache-2.0
// A clock that runs. A program of its own, as a clock that was disabled stays so.
#include <time.h>

#include "kernel.h"
#include "port_test.h"
#include "ticks.h"

namespace {

using namespace port_test;

class RunningClockTest : public ::testing::Test {
protected:
    void SetUp() override { setRate(10000); }

    static void setRate(int rate) { ASSERT_EQ(sysClkRateSet(rate), OK); }

    static uint64_t ticksNow() {
        const port::Lock lock;
        return port::currentTick();
    }

    static int64_t nanosecondsNow() {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
    }
};

TEST_F(RunningClockTest, Delay_SomeTicks_EndsByItselfAndNotEarly) {
    const uint64_t before = ticksNow();
    EXPECT_EQ(taskDelay(5), OK);
    EXPECT_GE(ticksNow() - before, 5u);
}

TEST_F(RunningClockTest, Timeouts_NobodyElseActs_EndByThemselves) {
    const Mutex mutex;
    const Queue queue(1);
    char buffer[16];
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        semTake(mutex, WAIT_FOREVER);
        msgQReceive(queue, buffer, sizeof buffer, WAIT_FOREVER);
    });
    EXPECT_EQ(take(mutex, 2), failed(S_objLib_OBJ_TIMEOUT));
    ASSERT_EQ(send(queue, "end", NO_WAIT), kDone);
    posixPortSettle();
    EXPECT_EQ(receive(queue, buffer, sizeof buffer, 2), failed(S_objLib_OBJ_TIMEOUT));
    ASSERT_EQ(send(queue, "fills", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "more", 2), failed(S_objLib_OBJ_TIMEOUT));
}

TEST_F(RunningClockTest, Ticks_AfterADelay_FollowedTheMonotonicClock) {
    constexpr int64_t kNanosecondsPerTick = 1000000;
    setRate(1000);
    const int64_t beforeStart = nanosecondsNow();
    const uint64_t ticksAtStart = ticksNow();
    const int64_t afterStart = nanosecondsNow();
    ASSERT_EQ(taskDelay(20), OK);
    const int64_t beforeEnd = nanosecondsNow();
    const auto ticks = static_cast<int64_t>(ticksNow() - ticksAtStart);
    const int64_t afterEnd = nanosecondsNow();
    EXPECT_GE(ticks, (beforeEnd - afterStart) / kNanosecondsPerTick);
    EXPECT_LE(ticks, (afterEnd - beforeStart) / kNanosecondsPerTick + 1) << "begun within a tick";
}

TEST_F(RunningClockTest, Announce_ByHand_AddsToItsTicks) {
    setRate(1);
    const uint64_t before = ticksNow();
    Outcome delayed = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { delayed = outcomeOf([] { return taskDelay(1000); }); });
    tick(1000);
    EXPECT_EQ(delayed, kDone);
    EXPECT_GE(ticksNow() - before, 1000u);
}

TEST_F(RunningClockTest, RateSet_WaitUnderWay_IsSpedUp) {
    setRate(1);
    const Queue queue(1);
    char buffer[16];
    Crew crew;
    // At one tick a second this is over half an hour.
    crew.startAndSettle(kPriority, [&] {
        char message[] = "awake";
        taskDelay(2000);
        msgQSend(queue, message, 5, NO_WAIT, MSG_PRI_NORMAL);
    });
    setRate(10000);
    EXPECT_EQ(receive(queue, buffer, sizeof buffer, WAIT_FOREVER), returned(5));
}

}  // namespace
