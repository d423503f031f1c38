// SPDX-License-Identifier: Apache-2.0
// Timers of waiting tasks. Both calls are made with the kernel lock held.
#ifndef JORN_PORT_POSIX_CLOCK_H
#define JORN_PORT_POSIX_CLOCK_H

namespace port {

struct Task;

/// Lets the wait that a task is about to begin end after `ticks` (positive) announcements, starting the
/// clock when it is not under way. False when it cannot be started.
bool startTimer(Task &task, int ticks);

/// Stops a task's timer, if it has one.
void stopTimer(Task &task);

}  // namespace port

#endif
