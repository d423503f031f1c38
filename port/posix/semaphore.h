// SPDX-License-Identifier: Apache-2.0
// What the end of a thread means to the semaphores it holds.
#ifndef JORN_PORT_POSIX_SEMAPHORE_H
#define JORN_PORT_POSIX_SEMAPHORE_H

namespace port {

struct Task;

/// Leaves the semaphores that an ending thread holds taken for good. Called with the kernel lock held.
void orphanSemaphores(Task &task);

}  // namespace port

#endif
