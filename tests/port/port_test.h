// SPDX-License-Identifier: Apache-2.0
// What the tests of the port share: the clock stopped, tasks that run a lambda, and outcomes of calls.
//
// Every interleaving is forced in the same way: a test starts a task and calls posixPortSettle(), after which
// the task is known to wait in the call that it made last, or to be gone.
#ifndef JORN_TESTS_PORT_PORT_TEST_H
#define JORN_TESTS_PORT_PORT_TEST_H

#include <errno.h>
#include <gtest/gtest.h>
#include <msgQLib.h>
#include <posixPort.h>
#include <semLib.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace port_test {

constexpr int kPriority = 120;

/// Result of a call and what it left in errno, which was 0 before.
struct Outcome {
    int result = 0;
    int error = 0;
};

inline bool operator==(const Outcome &one, const Outcome &other) {
    return one.result == other.result && one.error == other.error;
}

inline std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << outcome.result << " with errno 0x" << std::hex << outcome.error << std::dec;
}

/// Stands in for the outcome of a call that has not returned.
constexpr Outcome kNotReturned = {-99, -99};

/// Success leaves errno alone.
constexpr Outcome kDone = {OK, 0};

constexpr Outcome returned(int result) { return {result, 0}; }
constexpr Outcome failed(int error) { return {ERROR, error}; }

template <typename Call>
Outcome outcomeOf(Call call) {
    errno = 0;
    const int result = call();
    return {result, errno};
}

inline Outcome take(SEM_ID mutex, int timeout) {
    return outcomeOf([=] { return semTake(mutex, timeout); });
}
inline Outcome give(SEM_ID mutex) {
    return outcomeOf([=] { return semGive(mutex); });
}

/// Success while the task is there.
inline Outcome verify(TASK_ID task) {
    int priority = 0;
    return outcomeOf([&] { return taskPriorityGet(task, &priority); });
}

inline Outcome remove(TASK_ID task) {
    return outcomeOf([=] { return taskDelete(task); });
}
inline Outcome receive(MSG_Q_ID queue, char *buffer, UINT size, int timeout) {
    return outcomeOf([=] { return msgQReceive(queue, buffer, size, timeout); });
}
inline Outcome send(MSG_Q_ID queue, const char *text, int timeout, int priority = MSG_PRI_NORMAL) {
    std::string message = text;
    return outcomeOf([&] {
        return msgQSend(queue, message.data(), static_cast<UINT>(message.size()), timeout, priority);
    });
}

/// The text of the next message, or "-" when there is none.
inline std::string next(MSG_Q_ID queue) {
    char buffer[64];
    const int length = msgQReceive(queue, buffer, sizeof buffer, NO_WAIT);
    return length == ERROR ? "-" : std::string(buffer, static_cast<size_t>(length));
}

inline void tick(int ticks = 1) {
    for (; ticks > 0; --ticks) {
        tickAnnounce();
        posixPortSettle();
    }
}

/// What tasks did, in order.
class Journal {
public:
    void add(const char *what) {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.emplace_back(what);
    }
    std::vector<std::string> entries() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> entries_;
};

using Entries = std::vector<std::string>;

/// A semaphore for a scope, unless the test deletes it before.
class Mutex {
public:
    explicit Mutex(int options = SEM_Q_PRIORITY) : id_(semMCreate(options)) { EXPECT_NE(id_, nullptr); }
    ~Mutex() { semDelete(id_); }
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;
    operator SEM_ID() const { return id_; }

private:
    SEM_ID id_;
};

/// A message queue for a scope, unless the test deletes it before.
class Queue {
public:
    explicit Queue(int slots, int slotSize = 16, int options = MSG_Q_FIFO)
        : id_(msgQCreate(slots, slotSize, options)) {
        EXPECT_NE(id_, nullptr);
    }
    ~Queue() { msgQDelete(id_); }
    Queue(const Queue &) = delete;
    Queue &operator=(const Queue &) = delete;
    operator MSG_Q_ID() const { return id_; }

private:
    MSG_Q_ID id_;
};

/// The tasks of a test. Declared after everything that its tasks refer to, so that they are gone first.
/// Frames of a deleted task are not unwound, so a body keeps nothing of its own on the heap during a wait.
class Crew {
public:
    Crew() = default;
    ~Crew() {
        for (const TASK_ID task : tasks_) {
            taskDelete(task);
        }
    }
    Crew(const Crew &) = delete;
    Crew &operator=(const Crew &) = delete;

    /// Starts a task, which may already be running when the call returns. Tasks of the crew may call it.
    TASK_ID start(int priority, std::function<void()> body) {
        const std::lock_guard<std::mutex> lock(mutex_);
        bodies_.push_back(std::move(body));
        const TASK_ID task =
            taskSpawn(nullptr, priority, 0, 0, reinterpret_cast<FUNCPTR>(run),
                      reinterpret_cast<_Vx_usr_arg_t>(&bodies_.back()), 0, 0, 0, 0, 0, 0, 0, 0, 0);
        EXPECT_NE(task, ERROR);
        tasks_.push_back(task);
        return task;
    }

    /// Starts a task and returns when it waits or is gone.
    TASK_ID startAndSettle(int priority, std::function<void()> body) {
        const TASK_ID task = start(priority, std::move(body));
        posixPortSettle();
        return task;
    }

    /// Id of the task of the crew that calls it.
    TASK_ID own() {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto isRunning = [](const std::function<void()> &body) { return &body == running(); };
        const auto found = std::find_if(bodies_.begin(), bodies_.end(), isRunning);
        return tasks_.at(static_cast<size_t>(found - bodies_.begin()));
    }

private:
    /// The body that the calling task runs.
    static const std::function<void()> *&running() {
        static thread_local const std::function<void()> *body = nullptr;
        return body;
    }

    static int run(const std::function<void()> *body) {
        running() = body;
        (*body)();
        return OK;
    }

    std::mutex mutex_;
    std::deque<std::function<void()>> bodies_;
    std::vector<TASK_ID> tasks_;
};

/// Only hand-made ticks come, at a rate at which a clock that was not stopped would soon show.
class PortTest : public ::testing::Test {
protected:
    void SetUp() override {
        sysClkDisable();
        ASSERT_EQ(sysClkRateSet(10000), OK);
    }
    void TearDown() override { ASSERT_EQ(sysClkRateSet(60), OK); }
};

}  // namespace port_test

#endif
