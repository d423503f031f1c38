// SPDX-License-Identifier: Apache-2.0
#include "waiting.h"

#include <memLib.h>
#include <objLib.h>
#include <posixPort.h>

#include "ticks.h"

namespace port {

namespace {

constexpr size_t kClockStack = size_t{1} << 20;

/// Tasks made by taskSpawn that neither wait nor are gone.
int movingTasks;

/// Threads that wait until no task moves.
WaitQueue settlers;

/// Waiting tasks that have a timeout, the earliest first.
TimerList timers;

/// Whether the clock has its thread, which sleeps until the next tick that a task waits for.
bool threaded;

/// Signals to the clock's thread that the first timer has changed, or the ticks.
pthread_cond_t clockChanged;

bool isSpawned(const Task &task) { return task.id != 0; }

/// Wakes the waiting settle() callers. A task among them moves again when it is woken, so the others are
/// woken only when no task is left.
void wakeSettlers() {
    bool wokeTask = false;
    for (Task *task = settlers.first(); task != nullptr;) {
        Task *const next = task->nextInQueue;
        if (isSpawned(*task)) {
            wake(*task, 0);
            wokeTask = true;
        }
        task = next;
    }
    if (!wokeTask) {
        wakeAll(settlers, 0);
    }
}

void stopsMoving(const Task &task) {
    if (isSpawned(task) && --movingTasks == 0) {
        wakeSettlers();
    }
}

int settle() {
    const Lock lock;
    Task &me = self();
    if (movingTasks == 0) {
        return 0;
    }
    return wait(me, &settlers, WAIT_FOREVER);
}

/// Ends every wait whose last tick has been announced. A plain delay succeeds, everything else times out.
void expireTimers() {
    const uint64_t now = currentTick();
    for (Task *task = timers.first(); task != nullptr && task->deadline <= now; task = timers.first()) {
        wake(*task, task->queue == nullptr ? 0 : S_objLib_OBJ_TIMEOUT);
    }
}

/// The clock's thread; lives until the process ends.
[[noreturn]] void *runClock(void *) {
    pthread_detach(pthread_self());
    const Lock lock;
    for (;;) {
        const Task *const first = timers.first();
        if (areTicksStopped() || first == nullptr) {
            sleep(clockChanged);
        } else if (first->deadline <= currentTick()) {
            expireTimers();
        } else {
            sleepUntil(clockChanged, timeOfTick(first->deadline));
        }
    }
}

/// Makes sure that a clock that is to run has its thread.
bool startClock() {
    if (areTicksStopped() || threaded) {
        return true;
    }
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&clockChanged, &attributes);
    pthread_condattr_destroy(&attributes);
    threaded = startThread(kClockStack, runClock, nullptr);
    if (!threaded) {
        pthread_cond_destroy(&clockChanged);
    }
    return threaded;
}

void tellClock() {
    if (threaded) {
        pthread_cond_signal(&clockChanged);
    }
}

/// Makes the wait that a task is about to begin end after `ticks` (positive) announcements, and starts the
/// clock when it is not running. False when it cannot be started.
bool startTimer(Task &task, int ticks) {
    if (!startClock()) {
        return false;
    }
    task.timed = true;
    task.deadline = currentTick() + static_cast<uint64_t>(ticks);
    timers.insert(task, [](const Task &one, const Task &other) { return one.deadline < other.deadline; });
    if (timers.first() == &task) {
        tellClock();
    }
    return true;
}

/// Stops a task's timer, if it has one.
void stopTimer(Task &task) {
    if (task.timed) {
        task.timed = false;
        timers.remove(task);
    }
}

}  // namespace

bool endsBeforeWaiting(const Task &task) { return task.endRequested && task.heldDeleteSafe == 0; }

int wait(Task &me, WaitQueue *queue, int timeout) {
    if (endsBeforeWaiting(me)) {
        return kTaskEnds;
    }
    if (timeout > 0 && !startTimer(me, timeout)) {
        return S_memLib_NOT_ENOUGH_MEMORY;
    }
    me.waiting = true;
    me.queue = queue;
    if (queue != nullptr) {
        queue->insert(me);
    }
    stopsMoving(me);
    while (me.waiting) {
        sleep(me.wakeUp);
    }
    return me.outcome;
}

void wake(Task &task, int outcome) {
    if (task.queue != nullptr) {
        task.queue->remove(task);
        task.queue = nullptr;
    }
    task.wanted = nullptr;
    stopTimer(task);
    task.waiting = false;
    task.outcome = outcome;
    taskBegins(task);
    pthread_cond_signal(&task.wakeUp);
}

void wakeAll(WaitQueue &queue, int outcome) {
    while (Task *const task = queue.first()) {
        wake(*task, outcome);
    }
}

void taskBegins(const Task &task) {
    if (isSpawned(task)) {
        ++movingTasks;
    }
}

void taskIsGone(const Task &task) { stopsMoving(task); }

void applyTicks() {
    expireTimers();
    tellClock();
}

}  // namespace port

extern "C" void posixPortSettle(void) { port::conclude(port::settle()); }
