// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <sched.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>

#include "ticks.h"
#include "waiting.h"

namespace port {

namespace {

constexpr int kRateMin = 1;
constexpr int kRateMax = 10000;

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
    return port::tickRate();
}

STATUS sysClkRateSet(int ticksPerSecond) {
    if (ticksPerSecond < port::kRateMin || ticksPerSecond > port::kRateMax) {
        return port::conclude(EINVAL);
    }
    const port::Lock lock;
    port::setTickRate(ticksPerSecond);
    port::applyTicks();
    return OK;
}

void sysClkDisable(void) {
    const port::Lock lock;
    port::stopTicks();
    port::applyTicks();
}

void tickAnnounce(void) {
    const port::Lock lock;
    port::countTick();
    port::applyTicks();
}

}  // extern "C"
