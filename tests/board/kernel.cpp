// SPDX-License-Identifier: Apache-2.0
// A small kernel with the calls of VxWorks that the module makes: tasks with priorities and stacks of their
// own, preempted by the tick; mutexes with recursion and inheritance; message queues. It keeps the contract
// in the headers of port/posix/include except for options that the module does not use. One core; interrupts
// are masked while it works.
#include "kernel.h"

#include <errno.h>
#include <memLib.h>
#include <msgQLib.h>
#include <reent.h>
#include <semLib.h>
#include <stdlib.h>
#include <string.h>
#include <sysLib.h>
#include <tickLib.h>

#include "libc_glue.h"
#include "machine.h"

extern "C" {
void boardSwitch(uintptr_t *from, uintptr_t to);
void boardDispatch(void);
extern char boardStacks[];
}

namespace {

constexpr int kTasks = 24;
constexpr int kObjects = 24;
constexpr int kIdlePriority = 256;
constexpr uint8_t kPaint = 0xa5;

struct Task;
struct Mutex;

/// Tasks in the order of their turn: by priority, then arrival, or by arrival alone.
struct Line {
    Task *first = nullptr;
    bool isByPriority = true;
    void insert(Task *task);
    void remove(Task *task);
};

struct Message {
    char *bytes;
    UINT size;
    bool isUrgent;
};

using Entry = int (*)(intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t,
                      intptr_t, intptr_t);

struct Task {
    uintptr_t stackPointer;
    Task *next;
    Line *line;  // that of ready tasks, or of those that wait for the same thing
    int priority, ownPriority;
    bool isTimed;
    ULONG wakeTick;
    int error;        // how a wait ended: 0, or the reason
    Message message;  // to send, or the room to receive into
    Mutex *wanted;    // what it waits for, where that inherits
    int inheritable;  // mutexes held through which it inherits
    int generation;   // odd while the task lives
    int stackSize;
    char name[16];
    Entry entry;
    intptr_t arguments[10];
    _reent library;  // what the C library keeps for each task
};

struct Mutex {
    int generation, options, depth;
    Task *owner;
    Line waiters;
};

struct Queue {
    int generation, slots, slotSize, head, count;
    char *memory;  // for each slot its length, then its bytes
    Line senders, receivers;
    char *slot(int place) const {
        return memory + static_cast<size_t>(place % slots) * (sizeof(UINT) + static_cast<size_t>(slotSize));
    }
};

Task tasks[kTasks];
Mutex mutexes[kObjects];
Queue queues[kObjects];
Line ready;
Line sleepers;
Task *current;
Task gone;  // has the mutexes of tasks that were deleted with them
ULONG ticks;
int holds;
char shrunkName[16];
int shrunkSize;

void Line::insert(Task *task) {
    Task **place = &first;
    while (*place != nullptr && (!isByPriority || (*place)->priority <= task->priority)) {
        place = &(*place)->next;
    }
    task->next = *place;
    *place = task;
    task->line = this;
}

void Line::remove(Task *task) {
    Task **place = &first;
    while (*place != task) {
        place = &(*place)->next;
    }
    *place = task->next;
    task->line = nullptr;
}

/// Masks interrupts for a scope. At its end, the task whose turn it is runs.
class Section {
public:
    Section() { asm volatile("mrs %0, cpsr\n cpsid i" : "=r"(status_) : : "memory"); }
    ~Section() {
        if (boardIsInterrupt() == 0) {
            boardDispatch();
        }
        asm volatile("msr cpsr_c, %0" : : "r"(status_) : "memory");
    }
    Section(const Section &) = delete;
    Section &operator=(const Section &) = delete;

private:
    uint32_t status_;
};

/// Ids hold a place and a generation, so that a stale id designates nothing.
template <typename Object, int kCount>
int idOf(const Object (&all)[kCount], const Object *object) {
    return (object->generation << 8) + static_cast<int>(object - all) + 1;
}

template <typename Object, int kCount>
Object *objectOf(Object (&all)[kCount], int id) {
    const int place = (id & 0xff) - 1;
    const bool isOne = place >= 0 && place < kCount && (id >> 8) % 2 == 1 && all[place].generation == id >> 8;
    if (!isOne) {
        errno = S_objLib_OBJ_ID_ERROR;
    }
    return isOne ? &all[place] : nullptr;
}

template <typename Object, int kCount>
Object *freeOf(Object (&all)[kCount]) {
    for (Object &each : all) {
        if (each.generation % 2 == 0) {
            const int generation = each.generation + 1;
            each = Object();
            each.generation = generation;
            return &each;
        }
    }
    errno = S_memLib_NOT_ENOUGH_MEMORY;
    return nullptr;
}

int failWith(int error) {
    errno = error;
    return ERROR;
}

/// Makes the caller wait in a line. Returns OK, or ERROR with the reason.
int waitIn(Line *line, int timeout) {
    Task *const self = current;
    ready.remove(self);
    line->insert(self);
    self->isTimed = timeout > 0;
    self->wakeTick = ticks + static_cast<ULONG>(timeout);
    boardDispatch();
    return self->error == 0 ? OK : failWith(self->error);
}

void wake(Task *task, int error) {
    task->line->remove(task);
    task->isTimed = false;
    task->error = error;
    task->wanted = nullptr;
    ready.insert(task);
}

void wakeAll(Line *line, int error) {
    while (line->first != nullptr) {
        wake(line->first, error);
    }
}

void setPriority(Task *task, int priority) {
    Line *const line = task->line;
    task->priority = priority;
    if (line != nullptr) {
        line->remove(task);
        line->insert(task);
    }
}

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

/// Copies a message into the queue.
void store(Queue *queue, const Message &message) {
    if (message.isUrgent) {
        queue->head = (queue->head + queue->slots - 1) % queue->slots;
    }
    char *const slot = queue->slot(queue->head + (message.isUrgent ? 0 : queue->count));
    memcpy(slot, &message.size, sizeof message.size);
    memcpy(slot + sizeof message.size, message.bytes, message.size);
    ++queue->count;
}

/// Hands a message to a receiver that waits for one.
void deliver(Task *receiver, const char *bytes, UINT size) {
    receiver->message.size = size < receiver->message.size ? size : receiver->message.size;
    memcpy(receiver->message.bytes, bytes, receiver->message.size);
}

char *stackOf(const Task *task) { return boardStacks + (task - tasks) * kBoardStackPlace + kBoardPage; }

void begin() {
    asm volatile("cpsie i");
    const intptr_t *const a = current->arguments;
    current->entry(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9]);
    taskDelete(0);
}

/// Prepares a task whose stack ends exactly at the unmapped page, whatever its size.
void prepare(Task *task, int stackSize) {
    char *const stack = stackOf(task);
    task->stackSize = stackSize & ~7;
    memset(stack, kPaint, static_cast<size_t>(task->stackSize));
    constexpr int kSavedRegisters = 9;
    auto *const frame = reinterpret_cast<uintptr_t *>(stack + task->stackSize) - kSavedRegisters - 1;
    memset(frame, 0, kSavedRegisters * sizeof *frame);
    frame[kSavedRegisters - 1] = reinterpret_cast<uintptr_t>(begin);
    task->stackPointer = reinterpret_cast<uintptr_t>(frame);
    _REENT_INIT_PTR(&task->library);
}

/// Deepest place where the paint has been overwritten.
const char *deepest(const Task *task) {
    const char *place = stackOf(task);
    while (static_cast<uint8_t>(*place) == kPaint) {
        ++place;
    }
    return place;
}

int idle() {
    for (;;) {
        asm volatile("wfi");
    }
}

}  // namespace

void boardDispatch(void) {
    Task *const before = current;
    if (ready.first != before && holds == 0) {
        current = ready.first;
        _impure_ptr = &current->library;
        boardSwitch(&before->stackPointer, current->stackPointer);
    }
}

void boardKernelStart(void (*entry)(void), int priority) {
    static Task boot;
    current = &boot;
    sleepers.isByPriority = false;
    ready.insert(&boot);
    taskSpawn(const_cast<char *>("idle"), kIdlePriority, 0, 512, reinterpret_cast<FUNCPTR>(idle), 0, 0, 0, 0,
              0, 0, 0, 0, 0, 0);
    taskSpawn(const_cast<char *>("root"), priority, 0, kBoardStackPlace - kBoardPage,
              reinterpret_cast<FUNCPTR>(entry), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    ready.remove(&boot);
    boardDispatch();
}

TASK_ID taskSpawn(char *name, int priority, int, int stackSize, FUNCPTR entryPt, intptr_t a1, intptr_t a2,
                  intptr_t a3, intptr_t a4, intptr_t a5, intptr_t a6, intptr_t a7, intptr_t a8, intptr_t a9,
                  intptr_t a10) {
    const Section section;
    if (priority < 0 || priority > kIdlePriority) {
        return failWith(S_taskLib_ILLEGAL_PRIORITY);
    }
    Task *const task = freeOf(tasks);
    if (task == nullptr) {
        return ERROR;
    }
    strncpy(task->name, name != nullptr ? name : "t", sizeof task->name - 1);
    const bool isShrunk = shrunkSize != 0 && strcmp(task->name, shrunkName) == 0;
    const intptr_t arguments[] = {a1, a2, a3, a4, a5, a6, a7, a8, a9, a10};
    memcpy(task->arguments, arguments, sizeof arguments);
    task->entry = reinterpret_cast<Entry>(entryPt);
    task->priority = task->ownPriority = priority;
    prepare(task, isShrunk ? shrunkSize : stackSize);
    ready.insert(task);
    return idOf(tasks, task);
}

STATUS taskDelete(TASK_ID tid) {
    const Section section;
    Task *const task = tid == 0 ? current : objectOf(tasks, tid);
    if (task == nullptr) {
        return ERROR;
    }
    task->line->remove(task);
    task->isTimed = false;
    ++task->generation;
    for (Mutex &mutex : mutexes) {
        mutex.owner = mutex.owner == task ? &gone : mutex.owner;
    }
    return OK;
}

STATUS taskDelay(int delay) {
    const Section section;
    if (delay < 0) {
        return failWith(EINVAL);
    }
    if (delay == 0) {
        setPriority(current, current->priority);
        return OK;
    }
    return waitIn(&sleepers, delay);
}

STATUS taskPriorityGet(TASK_ID tid, int *priority) {
    const Task *const task = tid == 0 ? current : objectOf(tasks, tid);
    if (task == nullptr) {
        return ERROR;
    }
    *priority = task->priority;
    return OK;
}

void tickAnnounce(void) {
    const Section section;
    ++ticks;
    for (Task &task : tasks) {
        if (task.isTimed && task.wakeTick == ticks) {
            wake(&task, task.line == &sleepers ? 0 : S_objLib_OBJ_TIMEOUT);
        }
    }
}

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

namespace {
Mutex *mutexOf(SEM_ID id) { return objectOf(mutexes, reinterpret_cast<intptr_t>(id)); }
Queue *queueOf(MSG_Q_ID id) { return objectOf(queues, reinterpret_cast<intptr_t>(id)); }
}  // namespace

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

MSG_Q_ID msgQCreate(int maxMsgs, int maxMsgLength, int options) {
    int error = 0;
    if (options != MSG_Q_FIFO && options != MSG_Q_PRIORITY) {
        error = S_msgQLib_INVALID_QUEUE_TYPE;
    } else if (maxMsgLength < 0) {
        error = S_msgQLib_INVALID_MSG_LENGTH;
    } else if (maxMsgs < 1) {
        error = EINVAL;
    }
    char *const memory =
        error != 0 ? nullptr
                   : static_cast<char *>(malloc(static_cast<size_t>(maxMsgs) *
                                                (sizeof(UINT) + static_cast<size_t>(maxMsgLength))));
    const Section section;
    Queue *const queue = memory != nullptr ? freeOf(queues) : nullptr;
    if (queue == nullptr) {
        errno = error != 0 ? error : S_memLib_NOT_ENOUGH_MEMORY;
        free(memory);
        return nullptr;
    }
    queue->slots = maxMsgs;
    queue->slotSize = maxMsgLength;
    queue->memory = memory;
    queue->senders.isByPriority = queue->receivers.isByPriority = options == MSG_Q_PRIORITY;
    return reinterpret_cast<MSG_Q_ID>(idOf(queues, queue));
}

STATUS msgQSend(MSG_Q_ID msgQId, char *buffer, UINT nBytes, int timeout, int priority) {
    const Section section;
    Queue *const queue = queueOf(msgQId);
    if (queue == nullptr) {
        return ERROR;
    }
    if (nBytes > static_cast<UINT>(queue->slotSize)) {
        return failWith(S_msgQLib_INVALID_MSG_LENGTH);
    }
    if (queue->receivers.first != nullptr) {
        deliver(queue->receivers.first, buffer, nBytes);
        wake(queue->receivers.first, 0);
        return OK;
    }
    const Message message = {buffer, nBytes, priority == MSG_PRI_URGENT};
    if (queue->count < queue->slots) {
        store(queue, message);
        return OK;
    }
    if (timeout == NO_WAIT) {
        return failWith(S_objLib_OBJ_UNAVAILABLE);
    }
    current->message = message;
    return waitIn(&queue->senders, timeout);
}

int msgQReceive(MSG_Q_ID msgQId, char *buffer, UINT maxNBytes, int timeout) {
    const Section section;
    Queue *const queue = queueOf(msgQId);
    if (queue == nullptr) {
        return ERROR;
    }
    if (static_cast<int>(maxNBytes) < 0) {
        return failWith(S_msgQLib_INVALID_MSG_LENGTH);
    }
    current->message = {buffer, maxNBytes, false};
    if (queue->count == 0) {
        if (timeout == NO_WAIT) {
            return failWith(S_objLib_OBJ_UNAVAILABLE);
        }
        return waitIn(&queue->receivers, timeout) == OK ? static_cast<int>(current->message.size) : ERROR;
    }
    const char *const slot = queue->slot(queue->head);
    UINT size;
    memcpy(&size, slot, sizeof size);
    deliver(current, slot + sizeof size, size);
    queue->head = (queue->head + 1) % queue->slots;
    --queue->count;
    if (queue->senders.first != nullptr) {
        store(queue, queue->senders.first->message);
        wake(queue->senders.first, 0);
    }
    return static_cast<int>(current->message.size);
}

int msgQNumMsgs(MSG_Q_ID msgQId) {
    const Section section;
    const Queue *const queue = queueOf(msgQId);
    return queue != nullptr ? queue->count : ERROR;
}

STATUS msgQDelete(MSG_Q_ID msgQId) {
    char *memory;
    {
        const Section section;
        Queue *const queue = queueOf(msgQId);
        if (queue == nullptr) {
            return ERROR;
        }
        memory = queue->memory;
        wakeAll(&queue->senders, S_objLib_OBJ_DELETED);
        wakeAll(&queue->receivers, S_objLib_OBJ_DELETED);
        ++queue->generation;
    }
    free(memory);
    return OK;
}

int boardStackUsed(const char *name) {
    for (const Task &task : tasks) {
        if (strcmp(task.name, name) == 0) {
            return static_cast<int>(stackOf(&task) + task.stackSize - deepest(&task));
        }
    }
    return -1;
}

int boardStackOfCall(const char *(*call)(void *), void *argument) {
    const char *here;
    asm volatile("mov %0, sp" : "=r"(here));
    for (volatile char *place = stackOf(current); place != here; ++place) {
        *place = static_cast<char>(kPaint);
    }
    const char *const begin = call(argument);
    const char *const end = deepest(current);
    return end < begin ? static_cast<int>(begin - end) : 0;
}

void boardSetStack(const char *name, int bytes) {
    strncpy(shrunkName, name, sizeof shrunkName - 1);
    shrunkSize = bytes;
}

void boardSetPriority(int priority) {
    const Section section;
    current->ownPriority = priority;
    setPriority(current, priority);
}

void boardHoldTasks(int change) {
    const Section section;
    holds += change;
}

const char *boardDescribe(uintptr_t address) {
    static char text[64];
    const uintptr_t offset = address - reinterpret_cast<uintptr_t>(boardStacks);
    if (offset / kBoardStackPlace >= kTasks || offset % kBoardStackPlace >= kBoardPage) {
        return nullptr;
    }
    const Task &task = tasks[offset / kBoardStackPlace];
    strcpy(text, "overflow of the stack of ");
    return strcat(text, task.name);
}
