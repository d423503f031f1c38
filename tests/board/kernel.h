// SPDX-License-Identifier: Apache-2.0
// What the kernel offers beyond the calls of VxWorks: starting it, and what tests examine.
#ifndef JORN_TESTS_BOARD_KERNEL_H
#define JORN_TESTS_BOARD_KERNEL_H

#include <taskLib.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Starts the first task and becomes it. Does not return.
void boardKernelStart(void (*entry)(void), int priority);

/// Deepest stack that a task of this name has used since it was started, the registers that an interrupt
/// saves included; kept when the task is gone. -1 when there was none.
int boardStackUsed(const char *name);
/// Makes a call that returns where its stack began, and returns how much of the task's stack it took from
/// there.
int boardStackOfCall(const char *(*call)(void *), void *argument);

/// Gives the next task of this name a different stack from what it requests; 0 ends that.
void boardSetStack(const char *name, int bytes);

/// Changes the caller's priority.
void boardSetPriority(int priority);

#ifdef __cplusplus
}
#endif

#endif
