// SPDX-License-Identifier: Apache-2.0
// Waiting and waking, with the timers of waiting tasks and the thread that ends them. All of it is called
// with the kernel lock held.
#ifndef JORN_PORT_POSIX_WAITING_H
#define JORN_PORT_POSIX_WAITING_H

#include "kernel.h"

namespace port {

/// Whether the task has to end instead of waiting.
bool endsBeforeWaiting(const Task &task);

/// Makes the calling thread wait in a queue, or with null just for the delay, until it is woken or `timeout`
/// ticks have passed; negative waits without bound, and 0 is not allowed. Returns the waker's outcome,
/// S_objLib_OBJ_TIMEOUT after the timeout (0 for a plain delay), kTaskEnds, or S_memLib_NOT_ENOUGH_MEMORY
/// when the clock cannot be started. The lock is released during the wait.
int wait(Task &me, WaitQueue *queue, int timeout);

/// Ends the wait of a waiting thread with an outcome.
void wake(Task &task, int outcome);

/// Wakes all of a queue with an outcome.
void wakeAll(WaitQueue &queue, int outcome);

/// Counts a task as moving when it begins, and no longer when it is gone.
void taskBegins(const Task &task);
void taskIsGone(const Task &task);

/// Ends every wait whose last tick has come, and notifies the clock's thread that the ticks have changed.
void applyTicks();

}  // namespace port

#endif
