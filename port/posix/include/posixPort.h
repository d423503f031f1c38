// SPDX-License-Identifier: Apache-2.0
// What the port offers beyond the calls of VxWorks: the module's own platform call, and what tests need to
// force an interleaving. vxWorks.h says what holds for every call.
#ifndef POSIXPORT_H
#define POSIXPORT_H

#include <semLib.h>
#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Makes one directory level with permissions 0750, less what the process's umask takes away: like every
/// program of the host, the port grants no more than its user allows. What exists, a missing parent and null
/// are errors. Returns 0, or -1 with the host's error number in errno.
int jorn_MakeDirectory(const char *name);

/// Returns when every task made by taskSpawn, the caller left out, waits in a call of this port or is gone.
/// Whoever ends a task's wait marks it ready in the same step, so after
///
///     tickAnnounce();
///     posixPortSettle();
///
/// everything that the tick set going has come to rest; with the clock disabled nothing moves after that
/// until the caller, or another thread not made by taskSpawn, acts. A task that waits for something else, a
/// file say, counts as moving. Tasks that call this wait for the other tasks, not for each other.
void posixPortSettle(void);

/// Number of threads, tasks or not, that wait to take the semaphore; ERROR with errno S_objLib_OBJ_ID_ERROR
/// for no such semaphore.
int posixPortSemWaiters(SEM_ID semId);

#ifdef __cplusplus
}
#endif

#endif
