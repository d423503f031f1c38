// SPDX-License-Identifier: Apache-2.0
#include <time.h>

#include "port_test.h"

namespace {

using namespace port_test;

using ClockTest = PortTest;

/// Lets the clock run for a scope.
class RunningClock {
public:
    RunningClock() { sysClkEnable(); }
    ~RunningClock() { sysClkDisable(); }
    RunningClock(const RunningClock &) = delete;
    RunningClock &operator=(const RunningClock &) = delete;
};

Outcome setRate(int rate) {
    return outcomeOf([=] { return sysClkRateSet(rate); });
}

Outcome delay(int ticks) {
    return outcomeOf([=] { return taskDelay(ticks); });
}

int64_t nanosecondsNow() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

TEST_F(ClockTest, RateSet_Limits_AreCheckedAtEachSide) {
    EXPECT_EQ(setRate(1), kDone);
    EXPECT_EQ(sysClkRateGet(), 1);
    EXPECT_EQ(setRate(0), failed(EINVAL));
    EXPECT_EQ(setRate(-1), failed(EINVAL));
    EXPECT_EQ(sysClkRateGet(), 1);
    EXPECT_EQ(setRate(10000), kDone);
    EXPECT_EQ(setRate(10001), failed(EINVAL));
    EXPECT_EQ(sysClkRateGet(), 10000);
}

TEST_F(ClockTest, TickGet_DisabledClock_CountsAnnouncementsAndNothingElse) {
    const ULONG before = tickGet();
    Crew crew;
    for (int each = 0; each < 200; ++each) {  // takes many ticks at this rate
        crew.startAndSettle(kPriority, [] {});
    }
    EXPECT_EQ(tickGet(), before);
    tickAnnounce();
    EXPECT_EQ(tickGet(), before + 1);
}

TEST_F(ClockTest, Delay_SomeTicks_EndsWithTheLastAndNotBefore) {
    Outcome delayed = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { delayed = delay(3); });
    tick(2);
    EXPECT_EQ(delayed, kNotReturned);
    tick();
    EXPECT_EQ(delayed, kDone);
}

TEST_F(ClockTest, Delay_ZeroTicks_ReturnsAtOnce) { EXPECT_EQ(delay(0), kDone); }

TEST_F(ClockTest, Delay_NegativeTicks_FailsAtOnce) {
    EXPECT_EQ(delay(-1), failed(EINVAL));
    EXPECT_EQ(delay(INT32_MIN), failed(EINVAL));
}

TEST_F(ClockTest, Delay_LargestNumber_IsNotOverWithTheFirstTicks) {
    Outcome delayed = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { delayed = delay(INT32_MAX); });
    tick(3);
    EXPECT_EQ(delayed, kNotReturned);
}

TEST_F(ClockTest, Announce_SeveralWaits_EndsEachWithItsOwnTick) {
    Journal journal;
    Crew crew;
    const auto sleeper = [&](int ticks, const char *name) {
        return [&journal, ticks, name] {
            taskDelay(ticks);
            journal.add(name);
        };
    };
    crew.startAndSettle(kPriority, sleeper(3, "three"));
    crew.startAndSettle(kPriority, sleeper(1, "one"));
    crew.startAndSettle(kPriority, sleeper(2, "two"));
    tick();
    EXPECT_EQ(journal.entries(), Entries{"one"});
    tick();
    EXPECT_EQ(journal.entries(), (Entries{"one", "two"}));
    tick();
    EXPECT_EQ(journal.entries(), (Entries{"one", "two", "three"}));
}

TEST_F(ClockTest, Announce_DelayBegunByTheSameTick_CountsFromTheNext) {
    int passes = 0;
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        for (;;) {
            taskDelay(2);
            ++passes;
        }
    });
    tick(7);
    EXPECT_EQ(passes, 3);
    tick();
    EXPECT_EQ(passes, 4);
}

TEST_F(ClockTest, RateSet_DuringADelay_LeavesItsTicksAlone) {
    Outcome delayed = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { delayed = delay(2); });
    tick();
    ASSERT_EQ(setRate(100), kDone);
    EXPECT_EQ(delayed, kNotReturned);
    tick();
    EXPECT_EQ(delayed, kDone);
}

TEST_F(ClockTest, Delay_RunningClock_EndsByItselfAndNotEarly) {
    const RunningClock running;
    const ULONG before = tickGet();
    EXPECT_EQ(delay(5), kDone);
    EXPECT_GE(tickGet() - before, 5u);
}

TEST_F(ClockTest, Timeouts_RunningClock_EndByThemselves) {
    const Mutex mutex;
    const Queue queue(1);
    char buffer[16];
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        semTake(mutex, WAIT_FOREVER);
        msgQReceive(queue, buffer, sizeof buffer, WAIT_FOREVER);
    });
    const RunningClock running;
    EXPECT_EQ(take(mutex, 2), failed(S_objLib_OBJ_TIMEOUT));
    ASSERT_EQ(send(queue, "end", NO_WAIT), kDone);
    posixPortSettle();
    EXPECT_EQ(receive(queue, buffer, sizeof buffer, 2), failed(S_objLib_OBJ_TIMEOUT));
    ASSERT_EQ(send(queue, "fills", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "more", 2), failed(S_objLib_OBJ_TIMEOUT));
}

TEST_F(ClockTest, TickGet_RunningClock_FollowsTheMonotonicClock) {
    constexpr int64_t kNanosecondsPerTick = 1000000;
    ASSERT_EQ(setRate(1000), kDone);
    const int64_t beforeStart = nanosecondsNow();
    const ULONG ticksAtStart = tickGet();
    const RunningClock running;
    const int64_t afterStart = nanosecondsNow();
    ASSERT_EQ(delay(20), kDone);
    const int64_t beforeEnd = nanosecondsNow();
    const auto ticks = static_cast<int64_t>(tickGet() - ticksAtStart);
    const int64_t afterEnd = nanosecondsNow();
    EXPECT_GE(ticks, (beforeEnd - afterStart) / kNanosecondsPerTick);
    EXPECT_LE(ticks, (afterEnd - beforeStart) / kNanosecondsPerTick);
}

TEST_F(ClockTest, Enable_WaitBegunWhileDisabled_GoesOnByItself) {
    const Queue queue(1);
    char buffer[16];
    Crew crew;
    crew.startAndSettle(kPriority, [&] {
        char message[] = "awake";
        taskDelay(2);
        msgQSend(queue, message, 5, NO_WAIT, MSG_PRI_NORMAL);
    });
    EXPECT_EQ(msgQNumMsgs(queue), 0);
    const RunningClock running;
    EXPECT_EQ(receive(queue, buffer, sizeof buffer, WAIT_FOREVER), returned(5));
}

TEST_F(ClockTest, Enable_Twice_IsTheSameAsOnce) {
    const RunningClock running;
    const ULONG before = tickGet();
    EXPECT_EQ(delay(2), kDone);
    sysClkEnable();
    EXPECT_GE(tickGet() - before, 2u);
    EXPECT_EQ(delay(2), kDone);
}

TEST_F(ClockTest, Announce_RunningClock_AddsToItsTicks) {
    ASSERT_EQ(setRate(1), kDone);
    const RunningClock running;
    const ULONG before = tickGet();
    Outcome delayed = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { delayed = delay(1000); });
    tick(1000);
    EXPECT_EQ(delayed, kDone);
    EXPECT_GE(tickGet() - before, 1000u);
}

TEST_F(ClockTest, RateSet_RunningClock_SpeedsUpAWaitUnderWay) {
    ASSERT_EQ(setRate(1), kDone);
    const Queue queue(1);
    char buffer[16];
    Crew crew;
    const RunningClock running;
    // At one tick per second this is over half an hour.
    crew.startAndSettle(kPriority, [&] {
        char message[] = "awake";
        taskDelay(2000);
        msgQSend(queue, message, 5, NO_WAIT, MSG_PRI_NORMAL);
    });
    ASSERT_EQ(setRate(10000), kDone);
    EXPECT_EQ(receive(queue, buffer, sizeof buffer, WAIT_FOREVER), returned(5));
}

}  // namespace
