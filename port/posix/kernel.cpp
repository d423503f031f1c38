// SPDX-License-Identifier: Apache-2.0
#include "kernel.h"

#include <errno.h>
#include <memLib.h>
#include <objLib.h>
#include <posixPort.h>
#include <signal.h>

#include "clock.h"
#include "semaphore.h"

namespace port {

namespace {

/// Priority of a thread not made by taskSpawn.
constexpr int kVisitorPriority = 100;

pthread_mutex_t kernelLock = PTHREAD_MUTEX_INITIALIZER;

/// Tasks made by taskSpawn that neither wait nor are gone.
int movingTasks;

/// Those who wait until no task moves.
WaitQueue settlers;

/// The calling thread's record, when it has one already.
thread_local Task *current;

/// The record of a thread not made by taskSpawn. It lies in the thread's own storage: nothing is allocated,
/// and outside its waits only the semaphores that the thread holds refer to it.
struct Visitor {
    Visitor() { record.priority = record.ownPriority = kVisitorPriority; }
    ~Visitor() {
        const Lock lock;
        orphanSemaphores(record);
    }
    Visitor(const Visitor &) = delete;
    Visitor &operator=(const Visitor &) = delete;

    Task record;
};

Task *visitorRecord() {
    static thread_local Visitor visitor;
    return &visitor.record;
}

bool isSpawned(const Task &task) { return task.id != 0; }

/// Lets those go on who waited for everything to come to rest. A task among them moves again when it goes
/// on, so the others go on only when no task is left.
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

/// Turns of an idle loop between two tries for the kernel lock: at 3 GHz from a third of a microsecond to
/// about five.
constexpr int kShortestPause = 1024;
constexpr int kLongestPause = 16 * 1024;

/// Lets so many turns pass. (Without the processor's own instruction for it, which takes ten times as long on
/// one as on another.)
void pauseFor(int turns) {
    for (int turn = 0; turn < turns; ++turn) {
        asm volatile("" ::: "memory");
    }
}

/// Signals that report a fault of the thread itself; everything else is left to the program's own threads.
constexpr std::array<int, 6> kFaultSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT};

sigset_t signalsOfProgram() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : kFaultSignals) {
        sigdelset(&signals, fault);
    }
    return signals;
}

}  // namespace

int WaitQueue::length() const { return tasks_.length(); }

void WaitQueue::insert(Task &task) {
    tasks_.insert(task, [this](const Task &arriving, const Task &present) {
        return byPriority_ && arriving.priority < present.priority;
    });
}

void WaitQueue::remove(Task &task) { tasks_.remove(task); }

void WaitQueue::reposition(Task &task) {
    remove(task);
    insert(task);
}

// What is done under the lock takes a tenth of a microsecond, and going to sleep for it a hundred times as
// long, also for the holder, who has to wake the sleeper. So a thread tries some times before it sleeps. It
// makes long pauses: each try takes the lock out of the holder's cache, and meanwhile the holder gets several
// calls done. Where the holder cannot run meanwhile, on a single processor or below this thread's priority,
// the pauses are lost, ten microseconds in all, and the thread sleeps.
Lock::Lock() {
    for (int turns = kShortestPause; turns <= kLongestPause; turns *= 2) {
        if (pthread_mutex_trylock(&kernelLock) == 0) {
            return;
        }
        pauseFor(turns);
    }
    pthread_mutex_lock(&kernelLock);
}

Lock::~Lock() { pthread_mutex_unlock(&kernelLock); }

Task &self() {
    if (current == nullptr) {
        current = visitorRecord();
    }
    return *current;
}

void becomeTask(Task *task) { current = task; }

// A task ends by a jump back to the frame that called its entry, and not by pthread_exit: that unwinds the
// stack, which aborts the program at a noexcept function (every destructor is one) and on targets whose
// code carries no unwind tables, and it would run destructors or not depending on how a frame was compiled.
// The jump skips them always, as the deletion of a task does on the device. It is safe because frames above
// are left for good, the lock is not held, no frame of the port with a destructor is skipped (each call
// jumps from its outermost function, here), and the thread's own storage is destroyed afterwards as usual.
STATUS conclude(int outcome) {
    if (outcome == 0) {
        return OK;
    }
    if (outcome == kTaskEnds) {
        longjmp(*self().exitPoint, 1);  // NOLINT(cert-err52-cpp): see above
    }
    errno = outcome;
    return ERROR;
}

bool startThread(size_t stackSize, void *(*body)(void *), void *argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    const sigset_t blocked = signalsOfProgram();
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    pthread_t thread;
    const int failure = pthread_create(&thread, &attributes, body, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return failure == 0;
}

void sleep(pthread_cond_t &condition) { pthread_cond_wait(&condition, &kernelLock); }

void sleepUntil(pthread_cond_t &condition, const timespec &end) {
    pthread_cond_timedwait(&condition, &kernelLock, &end);
}

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

}  // namespace port

extern "C" void posixPortSettle(void) { port::conclude(port::settle()); }
