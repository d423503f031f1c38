// SPDX-License-Identifier: Apache-2.0
// Tasks of the port for tests that force an interleaving: the port knows when such a task waits, so
// posixPortSettle() returns when it has got as far as it can.
#ifndef JORN_TESTS_LOAD_PORT_TASKS_H
#define JORN_TESTS_LOAD_PORT_TASKS_H

#include <posixPort.h>
#include <taskLib.h>
#include <tickLib.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>
#include <string>
#include <utility>

namespace load {

/// A call that runs in a task of its own.
class TaskCall {
public:
    TaskCall(std::string name, std::function<int32_t()> work)
        : name_(std::move(name)), work_(std::move(work)) {}
    TaskCall(const TaskCall &) = delete;
    TaskCall &operator=(const TaskCall &) = delete;

    void spawn() {
        static char taskName[] = "tTest";
        constexpr int kPriority = 100;
        constexpr int kStack = 65536;
        taskSpawn(taskName, kPriority, 0, kStack, reinterpret_cast<FUNCPTR>(run),
                  reinterpret_cast<_Vx_usr_arg_t>(this), 0, 0, 0, 0, 0, 0, 0, 0, 0);
    }

    const std::string &name() const { return name_; }
    bool isDone() const { return isDone_; }
    int32_t result() const { return result_; }

private:
    static int run(_Vx_usr_arg_t self) {
        auto *const call = reinterpret_cast<TaskCall *>(self);
        call->result_ = call->work_();
        call->isDone_ = true;
        return 0;
    }

    std::string name_;
    std::function<int32_t()> work_;
    std::atomic<int32_t> result_{0};
    std::atomic<bool> isDone_{false};
};

/// Gives ticks until all calls are done. Calls that never end are a deadlock, after which nothing can be
/// cleaned up: the program ends.
inline void finish(const std::list<TaskCall> &calls) {
    constexpr int kTicksMax = 2000;
    posixPortSettle();
    for (const TaskCall &call : calls) {
        for (int ticks = 0; !call.isDone(); ++ticks) {
            if (ticks == kTicksMax) {
                fprintf(stderr, "deadlock: %s never ends\n", call.name().c_str());
                abort();
            }
            tickAnnounce();
            posixPortSettle();
        }
    }
}

}  // namespace load

#endif
