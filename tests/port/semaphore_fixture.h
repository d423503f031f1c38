// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of the semaphore.
#ifndef JORN_TESTS_PORT_SEMAPHORE_FIXTURE_H
#define JORN_TESTS_PORT_SEMAPHORE_FIXTURE_H

#include <functional>

#include "port_test.h"

namespace port_test {

inline constexpr int kInheriting = SEM_Q_PRIORITY | SEM_INVERSION_SAFE;

class SemaphoreTest : public PortTest {
protected:
    static int priorityOf(TASK_ID task) {
        int priority = -1;
        EXPECT_EQ(taskPriorityGet(task, &priority), OK);
        return priority;
    }

    /// Body of a task that takes a semaphore, records it, and gives it.
    static std::function<void()> taker(SEM_ID mutex, Journal &journal, const char *name) {
        return [mutex, &journal, name] {
            semTake(mutex, WAIT_FOREVER);
            journal.add(name);
            semGive(mutex);
        };
    }
};

}  // namespace port_test

#endif
