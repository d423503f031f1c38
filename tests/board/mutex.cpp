// SPDX-License-Identifier: Apache-2.0
// The kernel's mutexes: recursive, with an owner, inheriting priority on request.
#include <semLib.h>

#include "kernel_parts.h"

namespace kernel {

struct Mutex {
    int generation, options, depth;
    Task *owner;
    Line waiters;
};

namespace {

Mutex mutexes[kObjects];
Task gone;  // has the mutexes of tasks that were deleted with them

Mutex *mutexOf(SEM_ID id) { return objectOf(mutexes, reinterpret_cast<intptr_t>(id)); }

bool isInheriting(const Mutex *mutex) { return (mutex->options & SEM_INVERSION_SAFE) != 0; }

/// Raises the owner of what the caller waits for, the owner of what that one waits for, and so on, to at
/// least the caller's priority.
void lendPriority(const Mutex *mutex) {
    while (mutex != nullptr && isInheriting(mutex) && mutex->owner->priority > current->priority) {
        setPriority(mutex->owner, current->priority);
        mutex = mutex->owner->wanted;
    }
}

void own(Mutex *mutex, Task *task) {
    mutex->owner = task;
    mutex->depth = 1;
    task->inheritable += isInheriting(mutex) ? 1 : 0;
}

void disown(Mutex *mutex) {
    Task *const owner = mutex->owner;
    mutex->owner = nullptr;
    if (isInheriting(mutex) && --owner->inheritable == 0 && owner->priority != owner->ownPriority) {
        setPriority(owner, owner->ownPriority);
    }
}

}  // namespace

void orphanMutexes(const Task *task) {
    for (Mutex &mutex : mutexes) {
        mutex.owner = mutex.owner == task ? &gone : mutex.owner;
    }
}

}  // namespace kernel

using namespace kernel;

SEM_ID semMCreate(int options) {
    const Section section;
    if ((options & 3) > SEM_Q_PRIORITY) {
        errno = S_semLib_INVALID_QUEUE_TYPE;
        return nullptr;
    }
    if ((options & ~(SEM_Q_PRIORITY | SEM_INVERSION_SAFE)) != 0 || options == SEM_INVERSION_SAFE) {
        errno = S_semLib_INVALID_OPTION;
        return nullptr;
    }
    Mutex *const mutex = freeOf(mutexes);
    if (mutex == nullptr) {
        return nullptr;
    }
    mutex->options = options;
    mutex->waiters.isByPriority = (options & SEM_Q_PRIORITY) != 0;
    return reinterpret_cast<SEM_ID>(idOf(mutexes, mutex));
}

STATUS semTake(SEM_ID semId, int timeout) {
    const Section section;
    Mutex *const mutex = mutexOf(semId);
    if (mutex == nullptr) {
        return ERROR;
    }
    if (mutex->owner == current) {
        ++mutex->depth;
        return OK;
    }
    if (mutex->owner == nullptr) {
        own(mutex, current);
        return OK;
    }
    if (timeout == NO_WAIT) {
        return failWith(S_objLib_OBJ_UNAVAILABLE);
    }
    current->wanted = mutex;
    lendPriority(mutex);
    return waitIn(&mutex->waiters, timeout);
}

STATUS semGive(SEM_ID semId) {
    const Section section;
    Mutex *const mutex = mutexOf(semId);
    if (mutex == nullptr) {
        return ERROR;
    }
    if (mutex->owner != current) {
        return failWith(S_semLib_INVALID_OPERATION);
    }
    if (--mutex->depth > 0) {
        return OK;
    }
    disown(mutex);
    Task *const next = mutex->waiters.first;
    if (next != nullptr) {
        own(mutex, next);
        wake(next, 0);
    }
    return OK;
}

STATUS semDelete(SEM_ID semId) {
    const Section section;
    Mutex *const mutex = mutexOf(semId);
    if (mutex == nullptr) {
        return ERROR;
    }
    if (mutex->owner != nullptr) {
        disown(mutex);
    }
    wakeAll(&mutex->waiters, S_objLib_OBJ_DELETED);
    ++mutex->generation;
    return OK;
}
