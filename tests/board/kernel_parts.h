// SPDX-License-Identifier: Apache-2.0
// What the parts of the kernel share: tasks, lines of them, waiting, and ids. Interrupts are masked wherever
// any of it is used (Section).
#ifndef JORN_TESTS_BOARD_KERNEL_PARTS_H
#define JORN_TESTS_BOARD_KERNEL_PARTS_H

#include <errno.h>
#include <memLib.h>
#include <objLib.h>
#include <reent.h>
#include <stddef.h>
#include <stdint.h>
#include <vxWorks.h>

#include "machine.h"

extern "C" void boardDispatch(void);

namespace kernel {

constexpr int kTasks = 24;
/// Mutexes, and queues.
constexpr int kObjects = 24;

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

extern Task *current;

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

/// Leaves the reason of a failure in errno. Returns ERROR.
inline int failWith(int error) {
    errno = error;
    return ERROR;
}

/// Makes the caller wait in a line. Returns OK, or ERROR with the reason.
int waitIn(Line *line, int timeout);
/// Ends a task's wait.
void wake(Task *task, int error);
void wakeAll(Line *line, int error);

void setPriority(Task *task, int priority);

/// Leaves the mutexes of a task that is deleted to nobody: they stay taken.
void orphanMutexes(const Task *task);

}  // namespace kernel

#endif
