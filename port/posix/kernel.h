// SPDX-License-Identifier: Apache-2.0
// The kernel of the port: one lock, a record for each thread, waiting and waking.
//
// All state of the port is accessed only with the kernel lock held. A thread that has to wait enters its
// record into a queue and sleeps on the record's own condition variable. Whoever ends the wait takes the
// record out of the queue, hands over what was waited for and marks the thread ready, all in one step under
// the lock: nothing can be taken away between waking and running, and the number of moving tasks is exact at
// every moment.
#ifndef JORN_PORT_POSIX_KERNEL_H
#define JORN_PORT_POSIX_KERNEL_H

#include <pthread.h>
#include <setjmp.h>
#include <stddef.h>
#include <stdint.h>
#include <taskLib.h>
#include <time.h>
#include <vxWorks.h>

#include <array>

namespace port {

/// Outcomes of a call's locked part are error numbers, 0 for success, and this one: the calling task ends
/// here.
constexpr int kTaskEnds = -1;

struct Semaphore;
struct Task;

/// Links of a task in the lists that it may be in, at most one of each kind.
struct TaskLinks {
    Task *nextInQueue = nullptr;
    Task *nextInTimers = nullptr;
};

/// A list of tasks through one of their links.
template <Task *TaskLinks::*kNext>
class TaskList {
public:
    Task *first() const { return first_; }

    /// Inserts a task before the first one that it `precedes`, else at the end.
    template <typename Order>
    void insert(Task &task, Order precedes);

    /// Removes a task that is in the list.
    void remove(Task &task);

    int length() const;

private:
    Task *first_ = nullptr;
};

using TimerList = TaskList<&TaskLinks::nextInTimers>;

/// Tasks that wait for the same thing, the one to be served first in front.
class WaitQueue {
public:
    WaitQueue() = default;
    explicit WaitQueue(bool byPriority) : byPriority_(byPriority) {}

    Task *first() const { return tasks_.first(); }
    int length() const;
    void insert(Task &task);
    void remove(Task &task);

    /// Moves a task to its new place after a change of its priority.
    void reposition(Task &task);

private:
    bool byPriority_ = false;
    TaskList<&TaskLinks::nextInQueue> tasks_;
};

/// The record of a thread, whether it is a task or not. Initially all zero bytes.
struct Task : TaskLinks {
    pthread_cond_t wakeUp = PTHREAD_COND_INITIALIZER;
    TASK_ID id = 0;  ///< 0 for a thread not made by taskSpawn
    int priority = 0;
    int ownPriority = 0;  ///< without inheritance

    // The wait under way.
    bool waiting = false;
    WaitQueue *queue = nullptr;         ///< null for a plain delay
    const Semaphore *wanted = nullptr;  ///< the semaphore that is waited for
    bool timed = false;                 ///< in the list of timers
    uint64_t deadline = 0;              ///< tick that ends the wait, when timed
    int outcome = 0;                    ///< of the wait, when it has ended
    const char *outgoing = nullptr;     ///< the message of a waiting sender
    bool urgent = false;                ///< whether it goes before all others
    char *incoming = nullptr;           ///< the buffer of a waiting receiver
    UINT bytes = 0;                     ///< length of the message or of the buffer; then what was received
    pthread_t gone{};                   ///< the thread that a taskDelete waited for

    // Semaphores held, each counted once.
    int held = 0;
    int heldInversionSafe = 0;
    int heldDeleteSafe = 0;
    void (*orphanSemaphores)(Task &) = nullptr;  ///< leaves them taken for good; set with the first one

    // Of tasks made by taskSpawn only.
    bool endRequested = false;  ///< ends where it would wait next
    WaitQueue deleters;         ///< the threads that wait until it is gone
    jmp_buf *exitPoint = nullptr;
    FUNCPTR entry = nullptr;
    std::array<_Vx_usr_arg_t, 10> arguments{};
};

template <Task *TaskLinks::*kNext>
template <typename Order>
void TaskList<kNext>::insert(Task &task, Order precedes) {
    Task **place = &first_;
    while (*place != nullptr && !precedes(task, **place)) {
        place = &((*place)->*kNext);
    }
    task.*kNext = *place;
    *place = &task;
}

template <Task *TaskLinks::*kNext>
void TaskList<kNext>::remove(Task &task) {
    Task **place = &first_;
    while (*place != &task) {
        place = &((*place)->*kNext);
    }
    *place = task.*kNext;
}

template <Task *TaskLinks::*kNext>
int TaskList<kNext>::length() const {
    int length = 0;
    for (const Task *task = first_; task != nullptr; task = task->*kNext) {
        ++length;
    }
    return length;
}

/// Holds the kernel lock for a scope.
class [[nodiscard]] Lock {
public:
    Lock();
    ~Lock();
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
};

/// The record of the calling thread. Needs no lock.
Task &self();

/// Makes a record the calling thread's; with null, the thread has none. Needs no lock.
void becomeTask(Task *task);

/// Leaves the semaphores that an ending thread holds taken for good. Called with the lock held.
void leaveSemaphores(Task &task);

/// Turns the outcome of a call's locked part into the call's result: OK, or ERROR with errno set. Ends the
/// calling task when that is the outcome. The caller does not hold the lock.
STATUS conclude(int outcome);

/// Starts a thread that handles no signal of the program, with a stack of `stackSize` bytes. The thread must
/// be joined or detached. Returns whether it was started.
bool startThread(size_t stackSize, void *(*body)(void *), void *argument);

// Everything below is called with the lock held.

/// Releases the lock until the condition variable is signalled or, with an end, until that time on its clock.
/// May return without either.
void sleep(pthread_cond_t &condition);
void sleepUntil(pthread_cond_t &condition, const timespec &end);

}  // namespace port

#endif
