// SPDX-License-Identifier: Apache-2.0
#include "port_test.h"

namespace {

using namespace port_test;

using ClockTest = PortTest;

Outcome setRate(int rate) {
    return outcomeOf([=] { return sysClkRateSet(rate); });
}

Outcome delay(int ticks) {
    return outcomeOf([=] { return taskDelay(ticks); });
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

TEST_F(ClockTest, Delay_DisabledClock_CountsAnnouncementsAndNothingElse) {
    Outcome delayed = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { delayed = delay(1); });
    for (int each = 0; each < 200; ++each) {  // takes many ticks of this rate
        crew.startAndSettle(kPriority, [] {});
    }
    EXPECT_EQ(delayed, kNotReturned);
    tick();
    EXPECT_EQ(delayed, kDone);
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

}  // namespace
