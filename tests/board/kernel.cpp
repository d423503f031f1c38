// SPDX-License-Identifier: Apache-2.0
// A small kernel with the calls of VxWorks that the module makes: tasks with priorities and stacks of their
// own, preempted by the tick (here); mutexes with recursion and inheritance (mutex.cpp); message queues
// (message_queue.cpp). It keeps the contract in the headers of port/posix/include except for options that the
// module does not use. One core; interrupts are masked while it works.
#include "kernel.h"

#include <string.h>
#include <tickLib.h>

#include "kernel_parts.h"
#include "libc_glue.h"

extern "C" {
void boardSwitch(uintptr_t *from, uintptr_t to);
extern char boardStacks[];
}

namespace kernel {

Task *current;

namespace {

constexpr int kIdlePriority = 256;
constexpr uint8_t kPaint = 0xa5;

Task tasks[kTasks];
Line ready;
Line sleepers;
ULONG ticks;
int holds;
char shrunkName[16];
int shrunkSize;

}  // namespace

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

}  // namespace kernel

using namespace kernel;

namespace {

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
    orphanMutexes(task);
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
