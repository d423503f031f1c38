// SPDX-License-Identifier: Apache-2.0
// Basic types and constants of VxWorks, on POSIX.
//
// What holds for every call of this port:
// - It may be called from any thread: from a task made by taskSpawn, from the thread that called main, and
//   from any other thread. A thread not made by taskSpawn counts as a task of priority 100 without an id.
//   No call may be made from a signal handler, nor by the child of a fork.
// - A call that fails returns ERROR (or a null id) and leaves the reason in errno; one that succeeds leaves
//   errno alone. The reasons that a declaration lists are all there are.
// - Ids are numbers, never addresses. A null, stale or garbage id is an error and never a crash, even when a
//   new object took the place of its own.
// - Timeouts and delays are ticks of the clock, sysClkRateGet() per second. NO_WAIT never waits; a wait of n
//   ticks ends with the n-th announcement of a tick after its beginning; WAIT_FOREVER, and every other
//   negative timeout, waits without bound.
// - A task ends at a taskDelete by another only where it would wait: see taskDelete.
#ifndef VXWORKS_H
#define VXWORKS_H

#include <stdint.h>

typedef int STATUS;
typedef int BOOL;
typedef unsigned int UINT;
typedef unsigned long ULONG;

/// An argument of a task's entry: as wide as a pointer.
typedef intptr_t _Vx_usr_arg_t;

#ifdef __cplusplus
typedef int (*FUNCPTR)(...);
#else
typedef int (*FUNCPTR)();
#endif

#define OK 0
#define ERROR (-1)

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

/// Timeouts in ticks: do not wait at all; wait without bound.
#define NO_WAIT 0
#define WAIT_FOREVER (-1)

#endif
