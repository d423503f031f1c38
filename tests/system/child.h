// SPDX-License-Identifier: Apache-2.0
// Processes that tests start: none outlives its test, and no wait for one is without an end.
#ifndef JORN_TESTS_SYSTEM_CHILD_H
#define JORN_TESTS_SYSTEM_CHILD_H

#include <sys/types.h>

#include <chrono>

namespace test {

using Milliseconds = std::chrono::milliseconds;

/// How long a test waits for what should come at once. Less than the time limit of a test, so that it is the
/// test that fails and cleans up.
constexpr Milliseconds kPatience = std::chrono::seconds(JORN_IS_SLOW ? 300 : 100);

/// Whether a descriptor becomes ready for `events` of poll() within the limit. A reader that is gone, or a
/// writer, counts as ready: the next call reports it.
bool isReadyWithin(int descriptor, short events, Milliseconds limit);

/// A process and those that it starts. Whatever happens in the test, it is killed and reaped at the end of
/// this object; when the test program itself is killed, it is killed too.
class Child {
public:
    Child() = default;
    /// Takes what fork() or the like returned to the parent, and fails the test if that is an error.
    explicit Child(pid_t process);
    ~Child() { end(); }
    Child(Child &&other) noexcept;
    Child &operator=(Child &&other) noexcept;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    /// To be called first in the new process.
    static void begin();

    pid_t process() const { return process_; }

    /// Fails the test if there is no process (whose number would stand for all processes).
    void signal(int number) const;

    /// Stops the process, and returns when it has stopped. Fails the test if it has ended instead.
    void halt();

    /// Waits for the end. Returns the exit code; 128 and the signal's number when a signal ended it. When it
    /// takes longer than the limit, the test fails, and the process is killed. -1, with the test failed, when
    /// there is no process.
    int wait(Milliseconds limit = kPatience);

private:
    void end();

    pid_t process_ = -1;
};

}  // namespace test

#endif
