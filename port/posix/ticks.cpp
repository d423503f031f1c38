// SPDX-License-Identifier: Apache-2.0
#include "ticks.h"

namespace port {

namespace {

constexpr int kRateDefault = 60;
constexpr int64_t kNanosecondsPerSecond = 1000000000;

/// While ticks follow the clock, nothing is counted: the tick is computed from the host's monotonic clock.
struct TickCount {
    int rate = kRateDefault;
    bool stopped = false;
    bool begun = false;  ///< the epoch is set
    uint64_t ticks = 0;  ///< up to the epoch; all of them while stopped
    int64_t epoch = 0;   ///< nanoseconds of the host's monotonic clock
};

TickCount count;

int64_t monotonicNow() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
}

/// Whole ticks in a number of nanoseconds. Seconds and the rest are converted separately, so that nothing
/// overflows.
uint64_t ticksIn(int64_t nanoseconds) {
    const int64_t rest = nanoseconds % kNanosecondsPerSecond;
    return static_cast<uint64_t>(nanoseconds / kNanosecondsPerSecond * count.rate +
                                 rest * count.rate / kNanosecondsPerSecond);
}

/// Restarts the count from the present tick, before the rate changes or ticks stop.
void moveEpoch() {
    count.ticks = currentTick();
    count.epoch = monotonicNow();
}

}  // namespace

int tickRate() { return count.rate; }

void setTickRate(int rate) {
    moveEpoch();
    count.rate = rate;
}

bool areTicksStopped() { return count.stopped; }

void stopTicks() {
    moveEpoch();
    count.stopped = true;
}

void countTick() { ++count.ticks; }

uint64_t currentTick() {
    if (count.stopped) {
        return count.ticks;
    }
    if (!count.begun) {
        count.begun = true;
        count.epoch = monotonicNow();
    }
    return count.ticks + ticksIn(monotonicNow() - count.epoch);
}

timespec timeOfTick(uint64_t tick) {
    const auto rate = static_cast<uint64_t>(count.rate);
    const uint64_t fromEpoch = tick > count.ticks ? tick - count.ticks : 0;
    const auto seconds = static_cast<int64_t>(fromEpoch / rate);
    const uint64_t scaled = fromEpoch % rate * static_cast<uint64_t>(kNanosecondsPerSecond);
    const int64_t nanoseconds =
        count.epoch % kNanosecondsPerSecond + static_cast<int64_t>((scaled + rate - 1) / rate);
    timespec time;
    time.tv_sec = static_cast<time_t>(count.epoch / kNanosecondsPerSecond + seconds +
                                      nanoseconds / kNanosecondsPerSecond);
    time.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
    return time;
}

}  // namespace port
