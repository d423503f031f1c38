// SPDX-License-Identifier: Apache-2.0
#include "trace/traced_run.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "trace/program_start.h"

// Changing a call needs the processor's registers by name.
#if defined(__x86_64__) && defined(__LP64__)
#define JORN_CAN_TRACE 1
#else
#define JORN_CAN_TRACE 0
#endif

namespace test {
namespace {

constexpr int kNotStarted = 126;  // As shells report it.

#if JORN_CAN_TRACE
constexpr int kOptions = PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK |
                         PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC | PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
constexpr int kCallStop = SIGTRAP | 0x80;

long trace(__ptrace_request request, pid_t thread, uintptr_t address, uintptr_t data) {
    return ptrace(request, thread, reinterpret_cast<void *>(address), reinterpret_cast<void *>(data));
}

user_regs_struct registersOf(pid_t thread) {
    user_regs_struct registers = {};
    trace(PTRACE_GETREGS, thread, 0, reinterpret_cast<uintptr_t>(&registers));
    return registers;
}

void setRegisters(pid_t thread, user_regs_struct registers) {
    trace(PTRACE_SETREGS, thread, 0, reinterpret_cast<uintptr_t>(&registers));
}

/// Skips the call; the result register keeps the value set here.
void skipCall(pid_t thread, int64_t result) {
    user_regs_struct registers = registersOf(thread);
    registers.orig_rax = static_cast<unsigned long long>(-1);
    registers.rax = static_cast<unsigned long long>(result);
    setRegisters(thread, registers);
}

void setThirdArgument(pid_t thread, int64_t value) {
    user_regs_struct registers = registersOf(thread);
    registers.rdx = static_cast<unsigned long long>(value);
    setRegisters(thread, registers);
}

/// A filter that stops the calls with these numbers and lets all others pass at full speed.
std::vector<sock_filter> filterFor(const std::vector<long> &calls) {
    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const long call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

bool installFilter(const std::vector<sock_filter> &filter) {
    sock_fprog program = {static_cast<unsigned short>(filter.size()),
                          const_cast<sock_filter *>(filter.data())};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}
#else
bool installFilter(const std::vector<sock_filter> &) { return false; }
std::vector<sock_filter> filterFor(const std::vector<long> &) { return {}; }
#endif

pid_t processOf(pid_t thread) {
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    for (std::string word; status >> word;) {
        pid_t process = -1;
        if (word == "Tgid:" && status >> process) {
            return process;
        }
    }
    return thread;
}

}  // namespace

/// ptrace obeys only the thread that attached, so this has a thread of its own, which is also the program's
/// parent.
class TracedRun::Tracer {
public:
    Tracer(std::vector<std::string> words, TraceOptions options)
        : options_(std::move(options)),
          words_(std::move(words)),
          environment_(environmentWith(options_.variables)),
          filter_(filterFor(options_.calls)),
          input_(memfd_create("input", MFD_CLOEXEC)),
          out_(memfd_create("out", MFD_CLOEXEC)),
          err_(memfd_create("err", MFD_CLOEXEC)) {
        fill(input_, options_.input);
    }

    ~Tracer() {
        if (thread_.joinable()) {
            killAll();
            letGo();
            thread_.join();
        }
    }
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    void setCallback(Callback callback) { callback_ = std::move(callback); }

    void start() {
        if (isStarted_) {
            return;
        }
        isStarted_ = true;
        deadline_ = std::chrono::steady_clock::now() + options_.limit;
        thread_ = std::thread([this] { run(); });
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return process_ > 0 || hasEnded_; });
    }

    bool waitUntilHeld() {
        start();
        std::unique_lock<std::mutex> lock(mutex_);
        const auto isReached = [this] { return !held_.empty() || hasEnded_; };
        if (!changed_.wait_until(lock, deadline_, isReached)) {
            outcome_.hasTimedOut = true;
            return false;
        }
        return !held_.empty();
    }

    SystemCall heldCall() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return held_.empty() ? SystemCall() : held_.back();
    }

    void letGo() {
        const std::lock_guard<std::mutex> lock(mutex_);
        isLettingGo_ = !held_.empty();
        changed_.notify_all();
    }

    pid_t process() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return process_;
    }

    void signal(int number) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (process_ > 0 && !isReaped_) {
            ::kill(process_, number);
        }
    }

    TraceOutcome wait() {
        start();
        letGo();
        {
            std::unique_lock<std::mutex> lock(mutex_);
            const auto isOver = [this] { return hasEnded_; };
            if (!changed_.wait_until(lock, deadline_, isOver)) {
                outcome_.hasTimedOut = true;
                lock.unlock();
                killAll();
                letGo();
            }
        }
        if (thread_.joinable()) {
            thread_.join();
        }
        outcome_.out = contentOf(out_);
        outcome_.err = contentOf(err_);
        return outcome_;
    }

    const std::vector<SystemCall> &calls() const { return calls_; }

private:
    void run() {
#if JORN_CAN_TRACE
        begin();
        while (serve()) {
        }
#endif
        const std::lock_guard<std::mutex> lock(mutex_);
        hasEnded_ = true;
        changed_.notify_all();
    }

    void killAll() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto &[thread, state] : threads_) {
            ::kill(state.process, SIGKILL);
        }
    }

    struct ThreadState {
        pid_t process = -1;
        std::optional<SystemCall> call;  ///< The one that it is in.
        bool isTearing = false;          ///< To be killed at its exit.
    };

#if JORN_CAN_TRACE
    /// The child waits until it is traced: its parent closes the pipe.
    void begin() {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        const Fd gate(ends[0]);
        Fd opener(ends[1]);
        const pid_t child = fork();
        if (child == 0) {
            close(ends[1]);
            becomeProgram(ends[0]);
        }
        const bool isTraced = child > 0 && trace(PTRACE_SEIZE, child, 0, kOptions) == 0;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            process_ = child;
            if (isTraced) {
                threads_[child].process = child;
            }
            changed_.notify_all();
        }
        if (child > 0 && !isTraced) {
            ::kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

    /// Only what may be called between fork and exec in a program with threads.
    [[noreturn]] void becomeProgram(int gate) const {
        char byte = 0;
        while (read(gate, &byte, 1) < 0 && errno == EINTR) {
        }
        ::signal(SIGPIPE, SIG_DFL);
        const int in = options_.inputFd >= 0 ? options_.inputFd : input_.get();
        const bool isReady = (options_.directory.empty() || chdir(options_.directory.c_str()) == 0) &&
                             dup2(in, 0) >= 0 && dup2(out_.get(), 1) >= 0 && dup2(err_.get(), 2) >= 0 &&
                             installFilter(filter_);
        if (isReady) {
            execve(words_.get()[0], words_.get(), environment_.get());
        }
        _exit(kNotStarted);
    }

    /// Handles one event; false when there is no process left to wait for.
    bool serve() {
        int status = 0;
        // Another thread releases held calls but cannot end this wait, so while calls are held it must not
        // block.
        const bool isHolding = releaseIfAsked();
        const pid_t thread = waitpid(-1, &status, __WALL | __WNOTHREAD | (isHolding ? WNOHANG : 0));
        if (thread < 0) {
            return errno == EINTR;
        }
        if (thread == 0) {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait_for(lock, std::chrono::milliseconds(1), [this] { return isLettingGo_; });
            return true;
        }
        if (WIFSTOPPED(status)) {
            stateOf(thread);
            atStop(thread, status);
        } else {
            atEnd(thread, status);
        }
        return true;
    }

    ThreadState &stateOf(pid_t thread) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ThreadState &state = threads_[thread];
        if (state.process < 0) {
            state.process = processOf(thread);
        }
        return state;
    }

    void atEnd(pid_t thread, int status) {
        const std::lock_guard<std::mutex> lock(mutex_);
        threads_.erase(thread);
        held_.erase(std::remove_if(held_.begin(), held_.end(),
                                   [thread](const SystemCall &call) { return call.thread == thread; }),
                    held_.end());
        if (thread == process_) {
            isReaped_ = true;
            outcome_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
    }

    void atStop(pid_t thread, int status) {
        const int signal = WSTOPSIG(status);
        const int event = status >> 16;
        if (event == PTRACE_EVENT_SECCOMP) {
            atEntry(thread);
        } else if (signal == kCallStop) {
            atExit(thread);
        } else if (event == PTRACE_EVENT_STOP && signal != SIGTRAP) {
            trace(PTRACE_LISTEN, thread, 0, 0);  // Stopped by a signal, until SIGCONT.
        } else if (event != 0) {
            trace(PTRACE_CONT, thread, 0, 0);
        } else {
            // A call that was interrupted has its exit still to come.
            const bool isInCall = stateOf(thread).call.has_value();
            trace(isInCall ? PTRACE_SYSCALL : PTRACE_CONT, thread, 0, static_cast<uintptr_t>(signal));
        }
    }

    void atEntry(pid_t thread) {
        __ptrace_syscall_info info = {};
        if (trace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, reinterpret_cast<uintptr_t>(&info)) <= 0) {
            return;  // Killed meanwhile.
        }
        ThreadState &state = stateOf(thread);
        SystemCall call;
        call.ordinal = count_++;
        call.process = state.process;
        call.thread = thread;
        call.number = static_cast<long>(info.seccomp.nr);
        std::copy(std::begin(info.seccomp.args), std::end(info.seccomp.args), call.arguments.begin());
        decodeEntry(&call);
        if (options_.recordsCalls) {
            calls_.push_back(call);
        }
        state.call = call;
        obey(decide(call), call);
    }

    void atExit(pid_t thread) {
        __ptrace_syscall_info info = {};
        ThreadState &state = stateOf(thread);
        if (!state.call ||
            trace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, reinterpret_cast<uintptr_t>(&info)) <= 0) {
            return;
        }
        SystemCall call = *std::exchange(state.call, std::nullopt);
        call.moment = Moment::Exit;
        call.result = info.exit.rval;
        decodeExit(&call);
        if (options_.recordsCalls) {
            calls_[call.ordinal] = call;
        }
        obey(state.isTearing ? Action::kill() : decide(call), call);
    }

    Action decide(const SystemCall &call) const { return callback_ ? callback_(call) : Action::proceed(); }

    void obey(const Action &action, const SystemCall &call) {
        switch (action.kind()) {
            case Action::Kind::Kill:
                // Also wakes the stopped thread; the kernel makes no call for a process that is about to die.
                ::kill(call.process, SIGKILL);
                return;
            case Action::Kind::Hold: {
                const std::lock_guard<std::mutex> lock(mutex_);
                held_.push_back(call);
                changed_.notify_all();
                return;
            }
            case Action::Kind::Fail:
                skipCall(call.thread, -action.value());
                break;
            case Action::Kind::Tear:
                stateOf(call.thread).isTearing = true;
                setThirdArgument(call.thread, action.value());
                break;
            case Action::Kind::Shorten:
                setThirdArgument(call.thread, action.value());
                break;
            case Action::Kind::Proceed:
                break;
        }
        resume(call);
    }

    static void resume(const SystemCall &call) {
        trace(call.isEntry() ? PTRACE_SYSCALL : PTRACE_CONT, call.thread, 0, 0);
    }

    /// Returns whether calls are still held.
    bool releaseIfAsked() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (std::exchange(isLettingGo_, false)) {
            std::for_each(held_.begin(), held_.end(), resume);
            held_.clear();
        }
        return !held_.empty();
    }
#endif

    const TraceOptions options_;
    const Texts words_;
    const Texts environment_;
    const std::vector<sock_filter> filter_;
    const Fd input_;
    const Fd out_;
    const Fd err_;
    Callback callback_;
    std::vector<SystemCall> calls_;  ///< The tracing thread's until it has ended, like the next one.
    size_t count_ = 0;
    std::thread thread_;
    bool isStarted_ = false;
    std::chrono::steady_clock::time_point deadline_;

    mutable std::mutex mutex_;  ///< For all below.
    std::condition_variable changed_;
    std::map<pid_t, ThreadState> threads_;
    std::vector<SystemCall> held_;
    TraceOutcome outcome_;
    pid_t process_ = -1;
    bool isReaped_ = false;
    bool isLettingGo_ = false;
    bool hasEnded_ = false;
};

const std::string &TracedRun::obstacle() {
    static const std::string found = []() -> std::string {
#if JORN_CAN_TRACE
        // Emulators and some containers refuse the calls that this needs.
        TracedRun probe({"/bin/sh", "-c", ": > /dev/null"}, {});
        const TraceOutcome outcome = probe.wait();
        const auto opensNull = [](const SystemCall &call) {
            return call.isOpen() && call.path == "/dev/null";
        };
        const bool hasSeen = std::any_of(probe.calls().begin(), probe.calls().end(), opensNull);
        return outcome.status == 0 && hasSeen ? "" : "system calls cannot be traced here";
#else
        return "system calls are traced on x86-64 only";
#endif
    }();
    return found;
}

TracedRun::TracedRun(std::vector<std::string> words, TraceOptions options)
    : tracer_(std::make_unique<Tracer>(std::move(words), std::move(options))) {}
TracedRun::~TracedRun() = default;

void TracedRun::onCall(Callback callback) { tracer_->setCallback(std::move(callback)); }
void TracedRun::start() { tracer_->start(); }
bool TracedRun::waitUntilHeld() { return tracer_->waitUntilHeld(); }
SystemCall TracedRun::heldCall() const { return tracer_->heldCall(); }
void TracedRun::letGo() { tracer_->letGo(); }
pid_t TracedRun::process() const { return tracer_->process(); }
void TracedRun::signal(int number) const { tracer_->signal(number); }
TraceOutcome TracedRun::wait() { return tracer_->wait(); }
const std::vector<SystemCall> &TracedRun::calls() const { return tracer_->calls(); }

}  // namespace test
