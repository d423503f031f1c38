// SPDX-License-Identifier: Apache-2.0
// The system clock. vxWorks.h says what holds for every call.
//
// The clock runs unless it is disabled. It costs nothing while no task waits for a tick, and its thread is
// started with the first wait that has a timeout; ticks follow the host's monotonic clock without drift.
#ifndef SYSLIB_H
#define SYSLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Ticks per second: 60 unless set.
int sysClkRateGet(void);

/// Sets the ticks per second, 1 to 10000. Waits under way keep their number of ticks. Returns OK, or ERROR
/// with errno EINVAL (outside the range) and the rate left alone.
STATUS sysClkRateSet(int ticksPerSecond);

/// Stops the clock for good: once the call has returned, only tickAnnounce() makes ticks.
void sysClkDisable(void);

#ifdef __cplusplus
}
#endif

#endif
