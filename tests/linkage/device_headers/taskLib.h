// SPDX-License-Identifier: Apache-2.0
// A task's id is a pointer in some releases of the platform, and a number in others.
#ifndef TASKLIB_H
#define TASKLIB_H

#include <stdint.h>
#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef TASK_ID_IS_POINTER
typedef struct deviceTask *TASK_ID;
#else
typedef int TASK_ID;
#endif

TASK_ID taskSpawn(char *name, int priority, int options, int stackSize, FUNCPTR entryPt, intptr_t arg1,
                  intptr_t arg2, intptr_t arg3, intptr_t arg4, intptr_t arg5, intptr_t arg6, intptr_t arg7,
                  intptr_t arg8, intptr_t arg9, intptr_t arg10);
STATUS taskDelete(TASK_ID tid);
STATUS taskDelay(int ticks);

#ifdef __cplusplus
}
#endif

#endif
