// SPDX-License-Identifier: Apache-2.0
// Runs a program under ptrace: a test sees each system call before and after it is made, and can end the
// program there, hold the call up, cut a write short or make the call fail.
//
//     TracedRun run(jornCommand({"export", "log"}), {});
//     run.onCall([](const SystemCall &call) {
//         return call.isEntry() && call.isRename() ? Action::kill() : Action::proceed();
//     });
//     const TraceOutcome outcome = run.wait();
//
// All threads and children of the program are followed. Only calls that are asked for stop it.
#ifndef JORN_TESTS_TRACE_TRACED_RUN_H
#define JORN_TESTS_TRACE_TRACED_RUN_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "trace/system_call.h"

namespace test {

/// What is to happen to a call.
class Action {
public:
    enum class Kind { Proceed, Kill, Hold, Fail, Shorten, Tear };

    /// The call is made, or, at its exit, the program goes on.
    static Action proceed() { return {Kind::Proceed, 0}; }
    /// The process is ended by SIGKILL; at entry the call is not made any more.
    static Action kill() { return {Kind::Kill, 0}; }
    /// The thread stands where it is until TracedRun::letGo(); the others go on.
    static Action hold() { return {Kind::Hold, 0}; }
    /// At entry: the call is not made and fails with this errno.
    static Action fail(int error) { return {Kind::Fail, error}; }
    /// At entry of write or pwrite64: only so many of its bytes are written, which is its result.
    static Action shorten(size_t bytes) { return {Kind::Shorten, static_cast<int64_t>(bytes)}; }
    /// The same, and the process is ended by SIGKILL right after it.
    static Action tear(size_t bytes) { return {Kind::Tear, static_cast<int64_t>(bytes)}; }

    Kind kind() const { return kind_; }
    int64_t value() const { return value_; }

private:
    Action(Kind kind, int64_t value) : kind_(kind), value_(value) {}
    Kind kind_;
    int64_t value_;
};

struct TraceOptions {
    std::string input;      ///< Standard input, as a file.
    int inputFd = -1;       ///< Standard input instead, for example the end of a pipe.
    std::string directory;  ///< Working directory, the caller's if empty.
    std::vector<std::pair<std::string, std::string>> variables = {};  ///< Added to the environment.
    std::vector<long> calls = callsOfFiles();  ///< Numbers of the calls that are seen (SYS_...).
    bool recordsCalls = true;                  ///< For calls(); without it a long run needs less memory.
    std::chrono::milliseconds limit = std::chrono::seconds(30);  ///< Then the run is killed.
};

struct TraceOutcome {
    int status = -1;  ///< Exit code; 128 and the signal's number when a signal ended it.
    std::string out;
    std::string err;
    bool hasTimedOut = false;
};

/// A run of a program, from its first call to its end. Ended with the object at the latest.
class TracedRun {
public:
    using Callback = std::function<Action(const SystemCall &)>;

    /// Why no program can be traced here (emulation, forbidden, another processor); empty if it can. Tests
    /// skip themselves with it.
    static const std::string &obstacle();
    static bool isPossible() { return obstacle().empty(); }

    /// The first of the words is the program's path.
    explicit TracedRun(std::vector<std::string> words, TraceOptions options = {});
    ~TracedRun();
    TracedRun(const TracedRun &) = delete;
    TracedRun &operator=(const TracedRun &) = delete;

    /// Before start(). Called at entry and exit of each call, in a thread of the run's own, never twice at a
    /// time; what it does meanwhile, like running other programs, it does while the call is held up.
    void onCall(Callback callback);

    /// Begins, and returns at once.
    void start();
    /// Until a call is held up; false when the run ended, or its time was up, without it.
    bool waitUntilHeld();
    /// The call that is held up.
    SystemCall heldCall() const;
    /// Lets the calls that are held up go on.
    void letGo();
    pid_t process() const;
    void signal(int number) const;
    /// Until the program and all its children have ended. Starts them if need be, and lets go what is held.
    TraceOutcome wait();

    /// All calls that were seen, in the order of their entries; those that returned are at their exit.
    /// After wait().
    const std::vector<SystemCall> &calls() const;

private:
    class Tracer;
    std::unique_ptr<Tracer> tracer_;
};

#ifdef JORN_TRACED_TOOL
/// The words that run the tool.
inline std::vector<std::string> jornCommand(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), JORN_TRACED_TOOL);
    return arguments;
}
#endif

}  // namespace test

#endif
