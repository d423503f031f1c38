// SPDX-License-Identifier: Apache-2.0
// The count of ticks: how many have passed, and when a given one is due. It knows nothing of tasks. All of it
// is called with the kernel lock held.
#ifndef JORN_PORT_POSIX_TICKS_H
#define JORN_PORT_POSIX_TICKS_H

#include <stdint.h>
#include <time.h>

namespace port {

/// Ticks per second.
int tickRate();

/// Changes the rate, from the present tick on.
void setTickRate(int rate);

/// Whether only countTick() makes ticks, as from stopTicks() on.
bool areTicksStopped();
void stopTicks();

/// Counts one more tick.
void countTick();

/// The present tick.
uint64_t currentTick();

/// The moment of the host's monotonic clock at which a tick is complete.
timespec timeOfTick(uint64_t tick);

}  // namespace port

#endif
