// SPDX-License-Identifier: Apache-2.0
#include <memLib.h>
#include <posixPort.h>
#include <semLib.h>

#include "pool.h"
#include "waiting.h"

namespace port {

struct Semaphore {
    int options = 0;
    Task *owner = nullptr;
    int depth = 0;  ///< times that the owner has to give it
    WaitQueue waiters;
};

namespace {

constexpr int kQueueMask = 0x03;
constexpr int kOptionMask = kQueueMask | SEM_DELETE_SAFE | SEM_INVERSION_SAFE;

Pool<Semaphore, uintptr_t, 1> semaphores;

/// Owner of what a thread that is gone held. It has the highest priority, so that it inherits none.
Task departed;

uintptr_t numberOf(SEM_ID id) { return reinterpret_cast<uintptr_t>(id); }

Semaphore *find(SEM_ID id) { return semaphores.find(numberOf(id)); }

bool hasOption(const Semaphore &semaphore, int option) { return (semaphore.options & option) != 0; }

/// Leaves the semaphores that an ending thread holds taken for good.
void orphanSemaphores(Task &task) {
    const auto isHeld = [&task](const Semaphore &semaphore) { return semaphore.owner == &task; };
    while (task.held > 0) {
        semaphores.findIf(isHeld)->owner = &departed;
        --task.held;
    }
}

/// Gives a free semaphore to a task.
void own(Semaphore &semaphore, Task &task) {
    semaphore.owner = &task;
    semaphore.depth = 1;
    task.orphanSemaphores = orphanSemaphores;
    ++task.held;
    task.heldInversionSafe += hasOption(semaphore, SEM_INVERSION_SAFE);
    task.heldDeleteSafe += hasOption(semaphore, SEM_DELETE_SAFE);
}

/// Drops an inherited priority. The task may be waiting, when another one deletes its semaphore.
void restorePriority(Task &task) {
    task.priority = task.ownPriority;
    if (task.queue != nullptr) {
        task.queue->reposition(task);
    }
}

/// Takes a semaphore from its owner, if it has one.
void disown(Semaphore &semaphore) {
    Task *const owner = semaphore.owner;
    if (owner == nullptr) {
        return;
    }
    semaphore.owner = nullptr;
    --owner->held;
    owner->heldDeleteSafe -= hasOption(semaphore, SEM_DELETE_SAFE);
    if (hasOption(semaphore, SEM_INVERSION_SAFE) && --owner->heldInversionSafe == 0) {
        restorePriority(*owner);
    }
}

/// Raises the owner to a waiter's priority, then the owner of what that owner waits for, and so on. Each step
/// raises one task, so a cycle of owners that wait for each other does not make it endless.
void inherit(const Semaphore *semaphore, int priority) {
    while (semaphore != nullptr && hasOption(*semaphore, SEM_INVERSION_SAFE) &&
           semaphore->owner->priority > priority) {
        Task &owner = *semaphore->owner;
        owner.priority = priority;
        if (owner.queue != nullptr) {
            owner.queue->reposition(owner);
        }
        semaphore = owner.wanted;
    }
}

int checkOptions(int options) {
    if ((options & kQueueMask) != SEM_Q_FIFO && (options & kQueueMask) != SEM_Q_PRIORITY) {
        return S_semLib_INVALID_QUEUE_TYPE;
    }
    if ((options & ~kOptionMask) != 0) {
        return S_semLib_INVALID_OPTION;
    }
    const bool inversionSafe = (options & SEM_INVERSION_SAFE) != 0;
    return inversionSafe && (options & kQueueMask) != SEM_Q_PRIORITY ? S_semLib_INVALID_OPTION : 0;
}

int create(int options, SEM_ID *id) {
    const int refusal = checkOptions(options);
    if (refusal != 0) {
        return refusal;
    }
    const Lock lock;
    uintptr_t number = 0;
    Semaphore *const semaphore = semaphores.take(&number);
    if (semaphore == nullptr) {
        return S_memLib_NOT_ENOUGH_MEMORY;
    }
    semaphore->options = options;
    semaphore->waiters = WaitQueue((options & kQueueMask) == SEM_Q_PRIORITY);
    *id = reinterpret_cast<SEM_ID>(number);  // NOLINT(performance-no-int-to-ptr): never dereferenced
    return 0;
}

int take(SEM_ID id, int timeout) {
    const Lock lock;
    Semaphore *const semaphore = find(id);
    if (semaphore == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    Task &me = self();
    if (semaphore->owner == nullptr) {
        own(*semaphore, me);
        return 0;
    }
    if (semaphore->owner == &me) {
        ++semaphore->depth;
        return 0;
    }
    if (timeout == NO_WAIT) {
        return S_objLib_OBJ_UNAVAILABLE;
    }
    if (endsBeforeWaiting(me)) {
        return kTaskEnds;
    }
    inherit(semaphore, me.priority);
    me.wanted = semaphore;
    return wait(me, &semaphore->waiters, timeout);
}

int give(SEM_ID id) {
    const Lock lock;
    Semaphore *const semaphore = find(id);
    if (semaphore == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    if (semaphore->owner != &self()) {
        return S_semLib_INVALID_OPERATION;
    }
    if (--semaphore->depth > 0) {
        return 0;
    }
    disown(*semaphore);
    if (Task *const next = semaphore->waiters.first()) {
        own(*semaphore, *next);
        wake(*next, 0);
    }
    return 0;
}

int remove(SEM_ID id) {
    const Lock lock;
    Semaphore *const semaphore = find(id);
    if (semaphore == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    disown(*semaphore);
    wakeAll(semaphore->waiters, S_objLib_OBJ_DELETED);
    semaphores.release(numberOf(id));
    return 0;
}

}  // namespace

}  // namespace port

extern "C" {

SEM_ID semMCreate(int options) {
    SEM_ID id = nullptr;
    port::conclude(port::create(options, &id));
    return id;
}

STATUS semTake(SEM_ID semId, int timeout) { return port::conclude(port::take(semId, timeout)); }

STATUS semGive(SEM_ID semId) { return port::conclude(port::give(semId)); }

STATUS semDelete(SEM_ID semId) { return port::conclude(port::remove(semId)); }

int posixPortSemWaiters(SEM_ID semId) {
    const port::Lock lock;
    const port::Semaphore *const semaphore = port::find(semId);
    return semaphore != nullptr ? semaphore->waiters.length() : port::conclude(S_objLib_OBJ_ID_ERROR);
}

}  // extern "C"
