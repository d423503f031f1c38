// SPDX-License-Identifier: Apache-2.0
// Tasks. vxWorks.h says what holds for every call.
#ifndef TASKLIB_H
#define TASKLIB_H

#include <objLib.h>
#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Designates a task; positive. 0 stands for the calling task where a declaration says so.
typedef int TASK_ID;

/// A priority outside 0 to 255.
#define S_taskLib_ILLEGAL_PRIORITY 0x3006d

/// Starts a task that calls `entryPt` with the ten arguments. It may run before the call returns. The task
/// ends when its entry returns, or by taskDelete; its id is stale from then on.
///
/// - `name`: ignored: no call of the port finds a task by its name.
/// - `priority`: 0 (highest) to 255. It decides the order of waiting in queues of that kind and nothing
///   else: the host's scheduling is left alone.
/// - `options`: ignored.
/// - `stackSize`: bytes; anything below 1 MiB is rounded up to that, because the host's C library needs far
///   more stack than that of a device. Pages never touched cost no memory.
///
/// Signals that a program handles are not delivered to tasks.
///
/// Returns its id, or ERROR with errno S_taskLib_ILLEGAL_PRIORITY, EINVAL (entryPt is null) or
/// S_memLib_NOT_ENOUGH_MEMORY. Does not wait.
TASK_ID taskSpawn(char *name, int priority, int options, int stackSize, FUNCPTR entryPt, _Vx_usr_arg_t arg1,
                  _Vx_usr_arg_t arg2, _Vx_usr_arg_t arg3, _Vx_usr_arg_t arg4, _Vx_usr_arg_t arg5,
                  _Vx_usr_arg_t arg6, _Vx_usr_arg_t arg7, _Vx_usr_arg_t arg8, _Vx_usr_arg_t arg9,
                  _Vx_usr_arg_t arg10);

/// Ends a task and returns when it is gone: its thread no longer runs and has released its stack. `tid` 0 or
/// the caller's own id ends the calling task; then the call does not return.
///
/// Another task ends only where it would wait: in semTake, msgQSend or msgQReceive when it has to wait, in
/// taskDelay, in taskDelete and in posixPortSettle. One that is running continues until it gets there, so a
/// task that never waits again and never returns from its entry keeps the caller waiting without bound. A
/// task that was handed what it waited for counts as running. While it holds a SEM_DELETE_SAFE semaphore, a
/// task does not end at such places.
///
/// Nothing of the task's own is cleaned up, as on the device: no destructor in its frames runs, and a
/// semaphore that it held stays taken (deleting it wakes those who wait on it). It leaves no lock of the port
/// held.
///
/// Returns OK, or ERROR with errno
/// - S_objLib_OBJ_ID_ERROR: no such task, or 0 from a thread not made by taskSpawn;
/// - S_objLib_OBJ_DELETED: another caller was deleting the task already; the task is gone.
STATUS taskDelete(TASK_ID tid);

/// Waits for `ticks` announcements of a tick; 0 lets other threads run.
///
/// Returns OK, or ERROR with errno EINVAL (negative) or S_memLib_NOT_ENOUGH_MEMORY (the thread that runs the
/// clock cannot be started).
STATUS taskDelay(int ticks);

/// Puts the current priority of a task, an inherited one included, into `*priority`; 0 designates the
/// caller. Returns OK, or ERROR with errno S_objLib_OBJ_ID_ERROR and `*priority` left alone. (No other call
/// shows the priority that a task has inherited while it waits, nor whether it is gone, without ending it.)
STATUS taskPriorityGet(TASK_ID tid, int *priority);

#ifdef __cplusplus
}
#endif

#endif
