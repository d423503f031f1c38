// SPDX-License-Identifier: Apache-2.0
// Runs a program under ptrace: a test sees each system call before and after it is made, and can end the
// program there, hold the call, cut a write short or make the call fail.
//
//     TracedRun run(jornCommand({"export", "log"}), {});
//     run.onCall([](const SystemCall &call) {
//         return call.isEntry() && call.isRename() ? Action::kill() : Action::proceed();
//     });
//     const TraceOutcome outcome = run.wait();
//
// All threads and children of the program are followed. Only the requested calls stop it.
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

/// What to do with a call.
class Action {
public:
    enum class Kind { Proceed, Kill, Hold, Fail, Shorten, Tear };

    /// The call is made or, at its exit, the program continues.
    static Action proceed() { return {Kind::Proceed, 0}; }
    /// The process is ended by SIGKILL; at entry, the call is not made.
    static Action kill() { return {Kind::Kill, 0}; }
    /// The thread stays where it is until TracedRun::letGo(); the others continue.
    static Action hold() { return {Kind::Hold, 0}; }
    /// At entry: the call is not made and fails with this errno.
    static Action fail(int error) { return {Kind::Fail, error}; }
    /// At entry of write or pwrite64: only `bytes` of its bytes are written, and that is its result.
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
    int inputFd = -1;       ///< Standard input instead of `input`, for example the end of a pipe.
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

/// A run of a program, from its first call to its end. Destroying the object ends it.
class TracedRun {
public:
    using Callback = std::function<Action(const SystemCall &)>;

    /// Why no program can be traced here (emulation, no permission, another processor); empty if one can.
    /// Tests use it to skip themselves.
    static const std::string &obstacle();
    static bool isPossible() { return obstacle().empty(); }

    /// The first of the words is the program's path.
    explicit TracedRun(std::vector<std::string> words, TraceOptions options = {});
    ~TracedRun();
    TracedRun(const TracedRun &) = delete;
    TracedRun &operator=(const TracedRun &) = delete;

    /// Before start(). Called at entry and exit of each call, in a thread of the run's own, never twice at a
    /// time; the call is held during all it does, such as running other programs.
    void onCall(Callback callback);

    /// Begins, and returns at once.
    void start();
    /// Waits until a call is held; false when the run ended, or its time was up, before that.
    bool waitUntilHeld();
    /// The call that is held.
    SystemCall heldCall() const;
    /// Releases the calls that are held.
    void letGo();
    pid_t process() const;
    void signal(int number) const;
    /// Waits until the program and all its children have ended. Starts them if need be, and releases held
    /// calls.
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
