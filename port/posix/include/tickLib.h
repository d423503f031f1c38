// SPDX-License-Identifier: Apache-2.0
// Ticks made by hand. vxWorks.h says what holds for every call, sysLib.h what makes ticks.
#ifndef TICKLIB_H
#define TICKLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Announces one tick, even while the clock runs. Every task whose wait ends with it is marked ready before
/// the call returns.
void tickAnnounce(void);

#ifdef __cplusplus
}
#endif

#endif
