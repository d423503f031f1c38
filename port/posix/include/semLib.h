// SPDX-License-Identifier: Apache-2.0
// Mutex semaphores: recursive, with an owner, inheriting priority on request. vxWorks.h says what holds for
// every call.
#ifndef SEMLIB_H
#define SEMLIB_H

#include <objLib.h>
#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Designates a semaphore; never dereferenced. Null is no semaphore.
typedef struct vxSemaphore *SEM_ID;

/// Waiting tasks get the semaphore in the order of their arrival.
#define SEM_Q_FIFO 0x00
/// Waiting tasks get it by priority, those of the same priority in the order of their arrival.
#define SEM_Q_PRIORITY 0x01
/// A task that holds the semaphore is not ended by taskDelete until it has given it.
#define SEM_DELETE_SAFE 0x04
/// The holder's priority is raised to that of the highest waiter. The rise ends when the holder has given
/// the last of its inversion-safe semaphores, and not before: a waiter that leaves does not lower it. Needs
/// SEM_Q_PRIORITY.
#define SEM_INVERSION_SAFE 0x08

/// An unknown option, or SEM_INVERSION_SAFE without SEM_Q_PRIORITY.
#define S_semLib_INVALID_OPTION 0x160066
/// No such order of waiting.
#define S_semLib_INVALID_QUEUE_TYPE 0x160067
/// Giving a semaphore that the caller does not hold.
#define S_semLib_INVALID_OPERATION 0x160068

/// Makes a mutex semaphore that nobody holds.
///
/// `options` is SEM_Q_FIFO or SEM_Q_PRIORITY, with SEM_DELETE_SAFE and SEM_INVERSION_SAFE added as wanted.
///
/// Returns its id, or null with errno S_semLib_INVALID_QUEUE_TYPE, S_semLib_INVALID_OPTION or
/// S_memLib_NOT_ENOUGH_MEMORY. Does not wait.
SEM_ID semMCreate(int options);

/// Takes a semaphore, waiting up to `timeout` ticks while another task holds it. A task that holds it takes
/// it again at once and has to give it as often as it took it.
///
/// Returns OK, or ERROR with errno
/// - S_objLib_OBJ_ID_ERROR: no such semaphore;
/// - S_objLib_OBJ_UNAVAILABLE: another task holds it, and the timeout is NO_WAIT;
/// - S_objLib_OBJ_TIMEOUT: the timeout elapsed;
/// - S_objLib_OBJ_DELETED: the semaphore was deleted during the wait;
/// - S_memLib_NOT_ENOUGH_MEMORY: the thread that runs the clock cannot be started.
STATUS semTake(SEM_ID semId, int timeout);

/// Gives a semaphore back. With the last of the nested gives it goes to the first waiter directly: nobody
/// can take it in between.
///
/// Returns OK, or ERROR with errno S_objLib_OBJ_ID_ERROR (no such semaphore) or S_semLib_INVALID_OPERATION
/// (the caller does not hold it). Does not wait.
STATUS semGive(SEM_ID semId);

/// Deletes a semaphore, held or not; anyone may call this. Its id is stale from then on; every task waiting
/// on it wakes with S_objLib_OBJ_DELETED, and the holder's later semGive finds no such semaphore.
///
/// Returns OK, or ERROR with errno S_objLib_OBJ_ID_ERROR. Does not wait.
STATUS semDelete(SEM_ID semId);

#ifdef __cplusplus
}
#endif

#endif
