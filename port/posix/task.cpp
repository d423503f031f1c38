// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <memLib.h>
#include <taskLib.h>

#include <algorithm>

#include "pool.h"
#include "waiting.h"

namespace port {

namespace {

constexpr int kPriorityMax = 255;

/// Room for the host's C library, its thread-local storage and, in checked builds, the checkers' frames.
constexpr int kStackMin = 1 << 20;

using Arguments = std::array<_Vx_usr_arg_t, 10>;

Pool<Task, TASK_ID, 2> tasks;

/// The task with an id, 0 being the caller; null when there is none.
Task *findOrSelf(TASK_ID id) { return id == 0 ? &self() : tasks.find(id); }

/// Calls the entry; returns when it returns, or when a call of the port ends the task by a jump to here.
#if defined(__clang__)
// Entries are called through one type, whatever their own type is.
__attribute__((no_sanitize("function")))
#endif
void callEntry(Task &task) {
    using Entry = int (*)(_Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t,
                          _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t);
    jmp_buf exitPoint;
    task.exitPoint = &exitPoint;
    if (setjmp(exitPoint) == 0) {  // NOLINT(cert-err52-cpp): conclude() says why no exception
        const Arguments &a = task.arguments;
        reinterpret_cast<Entry>(task.entry)(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9]);
    }
}

/// Releases a task whose entry has ended. The first of the threads that wait until it is gone joins its
/// thread; without any, the thread is detached.
void retire(Task &task) {
    const Lock lock;
    becomeTask(nullptr);
    leaveSemaphores(task);
    if (Task *const deleter = task.deleters.first()) {
        deleter->gone = pthread_self();
        wake(*deleter, 0);
        wakeAll(task.deleters, S_objLib_OBJ_DELETED);
    } else {
        pthread_detach(pthread_self());
    }
    taskIsGone(task);
    tasks.release(task.id);
}

void *runTask(void *argument) {
    Task &task = *static_cast<Task *>(argument);
    becomeTask(&task);
    callEntry(task);
    retire(task);
    return nullptr;
}

int spawn(int priority, int stackSize, FUNCPTR entry, const Arguments &arguments, TASK_ID *id) {
    if (priority < 0 || priority > kPriorityMax) {
        return S_taskLib_ILLEGAL_PRIORITY;
    }
    if (entry == nullptr) {
        return EINVAL;
    }
    const Lock lock;
    TASK_ID number = 0;
    Task *const task = tasks.take(&number);
    if (task == nullptr) {
        return S_memLib_NOT_ENOUGH_MEMORY;
    }
    task->id = number;
    task->priority = task->ownPriority = priority;
    task->entry = entry;
    task->arguments = arguments;
    if (!startThread(static_cast<size_t>(std::max(stackSize, kStackMin)), runTask, task)) {
        tasks.release(number);
        return S_memLib_NOT_ENOUGH_MEMORY;
    }
    taskBegins(*task);
    *id = number;
    return 0;
}

/// Asks a task to end and waits until it is about to; the caller must then join its thread.
int requestEnd(TASK_ID id, pthread_t *thread) {
    const Lock lock;
    Task &me = self();
    Task *const task = findOrSelf(id);
    if (task == nullptr || task->id == 0) {
        return S_objLib_OBJ_ID_ERROR;
    }
    if (task == &me) {
        return kTaskEnds;
    }
    task->endRequested = true;
    if (task->waiting && endsBeforeWaiting(*task)) {
        wake(*task, kTaskEnds);
    }
    const int outcome = wait(me, &task->deleters, WAIT_FOREVER);
    *thread = me.gone;
    return outcome;
}

int priorityOf(TASK_ID id, int *priority) {
    const Lock lock;
    const Task *const task = findOrSelf(id);
    if (task == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    *priority = task->priority;
    return 0;
}

}  // namespace

}  // namespace port

extern "C" {

TASK_ID taskSpawn(char *, int priority, int, int stackSize, FUNCPTR entryPt, _Vx_usr_arg_t arg1,
                  _Vx_usr_arg_t arg2, _Vx_usr_arg_t arg3, _Vx_usr_arg_t arg4, _Vx_usr_arg_t arg5,
                  _Vx_usr_arg_t arg6, _Vx_usr_arg_t arg7, _Vx_usr_arg_t arg8, _Vx_usr_arg_t arg9,
                  _Vx_usr_arg_t arg10) {
    const port::Arguments arguments = {arg1, arg2, arg3, arg4, arg5, arg6, arg7, arg8, arg9, arg10};
    TASK_ID id = ERROR;
    port::conclude(port::spawn(priority, stackSize, entryPt, arguments, &id));
    return id;
}

STATUS taskDelete(TASK_ID tid) {
    pthread_t thread{};
    if (port::conclude(port::requestEnd(tid, &thread)) == ERROR) {
        return ERROR;
    }
    pthread_join(thread, nullptr);
    return OK;
}

STATUS taskPriorityGet(TASK_ID tid, int *priority) { return port::conclude(port::priorityOf(tid, priority)); }

}  // extern "C"
