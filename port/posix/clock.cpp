// SPDX-License-Identifier: Apache-2.0
#include "clock.h"

#include <errno.h>
#include <memLib.h>
#include <objLib.h>
#include <sched.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>
#include <time.h>

#include "kernel.h"

namespace port {

namespace {

constexpr int kRateMin = 1;
constexpr int kRateMax = 10000;
constexpr int kRateDefault = 60;
constexpr int64_t kNanosecondsPerSecond = 1000000000;
constexpr size_t kClockStack = size_t{1} << 20;

/// While it runs, the clock counts nothing: the tick is computed from the host's monotonic clock, and its
/// thread sleeps until the tick that somebody waits for.
struct Clock {
    int rate = kRateDefault;
    bool disabled = false;
    bool begun = false;     ///< the epoch is set
    bool threaded = false;  ///< the clock has its thread
    uint64_t ticks = 0;     ///< announced up to the epoch; all of them while disabled
    int64_t epoch = 0;      ///< nanoseconds of the host's monotonic clock
};

Clock systemClock;

/// Tells the clock's thread that the first timer or the running of the clock has changed.
pthread_cond_t clockChanged;

/// Waits with an end, the earliest in front.
TimerList timers;

int64_t monotonicNow() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
}

/// Whole ticks of a number of nanoseconds. Seconds and the rest apart, so that nothing overflows.
uint64_t ticksOf(int64_t nanoseconds) {
    const int64_t rest = nanoseconds % kNanosecondsPerSecond;
    return static_cast<uint64_t>(nanoseconds / kNanosecondsPerSecond * systemClock.rate +
                                 rest * systemClock.rate / kNanosecondsPerSecond);
}

/// The moment at which a tick, not before the epoch, is complete.
timespec timeOf(uint64_t tick) {
    const auto rate = static_cast<uint64_t>(systemClock.rate);
    const uint64_t fromEpoch = tick > systemClock.ticks ? tick - systemClock.ticks : 0;
    const auto seconds = static_cast<int64_t>(fromEpoch / rate);
    const uint64_t scaled = fromEpoch % rate * static_cast<uint64_t>(kNanosecondsPerSecond);
    const int64_t nanoseconds =
        systemClock.epoch % kNanosecondsPerSecond + static_cast<int64_t>((scaled + rate - 1) / rate);
    timespec time;
    time.tv_sec = static_cast<time_t>(systemClock.epoch / kNanosecondsPerSecond + seconds +
                                      nanoseconds / kNanosecondsPerSecond);
    time.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
    return time;
}

/// The present tick.
uint64_t currentTick() {
    if (systemClock.disabled) {
        return systemClock.ticks;
    }
    if (!systemClock.begun) {
        systemClock.begun = true;
        systemClock.epoch = monotonicNow();
    }
    return systemClock.ticks + ticksOf(monotonicNow() - systemClock.epoch);
}

/// Begins to count anew at the present tick, before a change of the rate or of the running.
void moveEpoch() {
    systemClock.ticks = currentTick();
    systemClock.epoch = monotonicNow();
}

/// Ends every wait whose last tick has been announced. A mere delay ends well, everything else by timeout.
void expireTimers() {
    const uint64_t now = currentTick();
    for (Task *task = timers.first(); task != nullptr && task->deadline <= now; task = timers.first()) {
        wake(*task, task->queue == nullptr ? 0 : S_objLib_OBJ_TIMEOUT);
    }
}

/// The clock's thread; lives until the process ends.
[[noreturn]] void *runClock(void *) {
    pthread_detach(pthread_self());
    const Lock lock;
    for (;;) {
        const Task *const first = timers.first();
        if (systemClock.disabled || first == nullptr) {
            sleep(clockChanged);
        } else if (first->deadline <= currentTick()) {
            expireTimers();
        } else {
            sleepUntil(clockChanged, timeOf(first->deadline));
        }
    }
}

/// Makes sure that a clock that is to run has its thread.
bool startClock() {
    if (systemClock.disabled || systemClock.threaded) {
        return true;
    }
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&clockChanged, &attributes);
    pthread_condattr_destroy(&attributes);
    systemClock.threaded = startThread(kClockStack, runClock, nullptr);
    if (!systemClock.threaded) {
        pthread_cond_destroy(&clockChanged);
    }
    return systemClock.threaded;
}

void tellClock() {
    if (systemClock.threaded) {
        pthread_cond_signal(&clockChanged);
    }
}

int delay(int ticks) {
    if (ticks < 0) {
        return EINVAL;
    }
    const Lock lock;
    Task &me = self();
    if (ticks == 0) {
        return endsBeforeWaiting(me) ? kTaskEnds : 0;
    }
    return wait(me, nullptr, ticks);
}

}  // namespace

bool startTimer(Task &task, int ticks) {
    if (!startClock()) {
        return false;
    }
    task.timed = true;
    task.deadline = currentTick() + static_cast<uint64_t>(ticks);
    timers.insert(task, [](const Task &one, const Task &other) { return one.deadline < other.deadline; });
    if (timers.first() == &task) {
        tellClock();
    }
    return true;
}

void stopTimer(Task &task) {
    if (task.timed) {
        task.timed = false;
        timers.remove(task);
    }
}

}  // namespace port

extern "C" {

STATUS taskDelay(int ticks) {
    const STATUS status = port::conclude(port::delay(ticks));
    if (status == OK && ticks == 0) {
        sched_yield();
    }
    return status;
}

int sysClkRateGet(void) {
    const port::Lock lock;
    return port::systemClock.rate;
}

STATUS sysClkRateSet(int ticksPerSecond) {
    if (ticksPerSecond < port::kRateMin || ticksPerSecond > port::kRateMax) {
        return port::conclude(EINVAL);
    }
    const port::Lock lock;
    port::moveEpoch();
    port::systemClock.rate = ticksPerSecond;
    port::tellClock();
    return OK;
}

void sysClkEnable(void) {
    const port::Lock lock;
    if (!port::systemClock.disabled) {
        return;
    }
    port::systemClock.disabled = false;
    port::systemClock.begun = true;
    port::systemClock.epoch = port::monotonicNow();
    // A clock without a thread is started by the next wait; for waits begun while it was disabled, here.
    if (port::timers.first() != nullptr) {
        port::startClock();
    }
    port::tellClock();
}

void sysClkDisable(void) {
    const port::Lock lock;
    port::moveEpoch();
    port::systemClock.disabled = true;
    port::expireTimers();
    port::tellClock();
}

void tickAnnounce(void) {
    const port::Lock lock;
    ++port::systemClock.ticks;
    port::expireTimers();
    port::tellClock();
}

ULONG tickGet(void) {
    const port::Lock lock;
    return static_cast<ULONG>(port::currentTick());
}

}  // extern "C"
