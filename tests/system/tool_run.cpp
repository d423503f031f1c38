// SPDX-License-Identifier: Apache-2.0
#include "tool_run.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace test {
namespace {

namespace fs = std::filesystem;

/// Sanitizers reserve more address space than a limit could allow.
constexpr bool kIsSanitized = JORN_IS_SANITIZED;

std::string readAll(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// A new empty file outside the directory that a test examines.
std::string scratchFile() {
    char name[] = "/tmp/jorn-test-io-XXXXXX";
    const int fd = mkstemp(name);
    EXPECT_GE(fd, 0);
    close(fd);
    return name;
}

std::string takeScratch(const std::string &path) {
    std::string content = readAll(path);
    fs::remove(path);
    return content;
}

/// Reads what comes within the usual time, after which the test fails. Otherwise returns as read() does.
ssize_t readWithin(int descriptor, std::array<char, 4096> *block) {
    if (!isReadyWithin(descriptor, POLLIN, kPatience)) {
        ADD_FAILURE() << "nothing came";
        return -1;
    }
    return ::read(descriptor, block->data(), block->size());
}

void redirect(int target, const std::string &path, int flags) {
    const int fd = open(path.c_str(), flags);
    if (fd < 0 || dup2(fd, target) < 0) {
        _exit(126);
    }
    close(fd);
}

/// What is run next will not have this capability of root's. (Another user might not even reach the tool.)
void giveUp(unsigned long capability) {
    if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) {
        _exit(126);
    }
}

void applySetting(const Setting &setting) {
    for (const auto &[name, value] : setting.variables) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    if (setting.fileSizeLimit) {
        const rlimit limit = {*setting.fileSizeLimit, *setting.fileSizeLimit};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (setting.memoryLimit && !kIsSanitized) {
        const rlimit limit = {*setting.memoryLimit, *setting.memoryLimit};
        setrlimit(RLIMIT_AS, &limit);
    }
    if (setting.processorSeconds) {
        const rlimit limit = {*setting.processorSeconds, *setting.processorSeconds};
        setrlimit(RLIMIT_CPU, &limit);
        // A process that waits for ever uses no processor time.
        alarm(static_cast<unsigned>(*setting.processorSeconds) * 3);
    }
    for (const int fd : setting.closed) {
        close(fd);
    }
    if (setting.obeysPermissions && geteuid() == 0) {
        giveUp(CAP_DAC_OVERRIDE);
        giveUp(CAP_DAC_READ_SEARCH);
        giveUp(CAP_FOWNER);
    }
}

/// What is left of a run when the process has ended.
Outcome endOf(Child *child) {
    Outcome run;
    run.status = child->wait();
    return run;
}

/// Words of a command line, in the form in which a program receives them.
std::vector<char *> pointersTo(std::vector<std::string> *words) {
    std::vector<char *> argv(words->size() + 1, nullptr);
    std::transform(words->begin(), words->end(), argv.begin(), [](std::string &word) { return word.data(); });
    return argv;
}

std::vector<std::string> commandLine(const std::vector<std::string> &arguments) {
    std::vector<std::string> words = {JORN_TOOL_COMMAND};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

[[noreturn]] void become(std::vector<std::string> words) {
    execvp(words[0].c_str(), pointersTo(&words).data());
    _exit(127);
}

/// Opens the tool first, as that user may not reach it. The group with the next number is a supplementary
/// one.
[[noreturn]] void becomeToolAs(uid_t user, const std::vector<std::string> &arguments) {
    std::vector<std::string> words = commandLine(arguments);
    const int program = open(words[0].c_str(), O_RDONLY | O_CLOEXEC);
    const gid_t second = user + 1;
    if (program < 0 || setgroups(1, &second) != 0 || setresgid(user, user, user) != 0 ||
        setresuid(user, user, user) != 0) {
        _exit(126);
    }
    fexecve(program, pointersTo(&words).data(), environ);
    _exit(127);
}

}  // namespace

void becomeTool(const std::vector<std::string> &arguments) { become(commandLine(arguments)); }

void becomeMeasuredTool(const std::string &peakPath, const std::vector<std::string> &arguments) {
    std::vector<std::string> words = {JORN_MEASURING_COMMAND, peakPath};
    const std::vector<std::string> tool = commandLine(arguments);
    words.insert(words.end(), tool.begin(), tool.end());
    become(std::move(words));
}

std::string whyNoOtherUser() {
    if (std::vector<std::string>{JORN_TOOL_COMMAND}.size() != 1) {
        return "an emulator would have to be run as the other user";
    }
    return geteuid() == 0 ? "" : "only root can run the tool as another user";
}

Outcome runOnTerminal(const std::vector<std::string> &arguments, const Setting &setting) {
    int terminal = -1;
    const winsize size = {24, 60, 0, 0};
    Child child(forkpty(&terminal, nullptr, nullptr, &size));
    if (child.process() == 0) {
        Child::begin();
        unsetenv("COLUMNS");
        setenv("TERM", "xterm", 1);
        applySetting(setting);
        becomeTool(arguments);
    }
    std::string typed = setting.input;
    std::string output;
    std::array<char, 4096> block{};
    // The read fails once the tool, the terminal's only user, has gone.
    for (ssize_t length = 0; (length = readWithin(terminal, &block)) > 0;) {
        output.append(block.data(), static_cast<size_t>(length));
        // Not before now: the tool is running, and asks.
        EXPECT_EQ(::write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        typed.clear();
    }
    close(terminal);
    Outcome run = endOf(&child);
    run.out = output;
    return run;
}

Outcome runInto(int out, const std::vector<std::string> &arguments) {
    const std::string errPath = scratchFile();
    Child child(fork());
    if (child.process() == 0) {
        Child::begin();
        dup2(out, STDOUT_FILENO);
        redirect(STDERR_FILENO, errPath, O_WRONLY);
        becomeTool(arguments);
    }
    Outcome run = endOf(&child);
    run.err = takeScratch(errPath);
    return run;
}

RunningTool::RunningTool(const std::string &workDirectory, const std::vector<std::string> &arguments,
                         const std::string &stdinPath, bool obeysPermissions)
    : outPath_(scratchFile()), errPath_(scratchFile()) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    // A write that waits has no limit of time.
    EXPECT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    child_ = Child(fork());
    if (child_.process() == 0) {
        Child::begin();
        dup2(ends[0], STDIN_FILENO);
        if (!stdinPath.empty()) {
            redirect(STDIN_FILENO, stdinPath, O_RDONLY);
        }
        redirect(STDOUT_FILENO, outPath_, O_WRONLY);
        redirect(STDERR_FILENO, errPath_, O_WRONLY);
        if (chdir(workDirectory.c_str()) != 0) {
            _exit(126);
        }
        Setting setting;
        setting.obeysPermissions = obeysPermissions;
        applySetting(setting);
        becomeTool(arguments);
    }
    close(ends[0]);
    input_ = ends[1];
}

void RunningTool::feed(const std::string &bytes, Milliseconds limit) {
    size_t done = 0;
    while (done < bytes.size()) {
        ASSERT_TRUE(isReadyWithin(input_, POLLOUT, limit)) << "the tool does not read its input";
        const ssize_t written = ::write(input_, bytes.data() + done, bytes.size() - done);
        ASSERT_GT(written, 0);
        done += static_cast<size_t>(written);
    }
}

void RunningTool::endInput() {
    if (input_ >= 0) {
        close(input_);
        input_ = -1;
    }
}

Outcome RunningTool::wait() {
    Outcome run = endOf(&child_);
    run.out = takeScratch(outPath_);
    run.err = takeScratch(errPath_);
    return run;
}

CloseWatch::CloseWatch(const std::string &directory) : watch_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    EXPECT_GE(inotify_add_watch(watch_, directory.c_str(), IN_CLOSE_WRITE), 0);
}

CloseWatch::~CloseWatch() { close(watch_); }

void CloseWatch::waitUntil(const std::function<bool()> &holds, Milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point last = Clock::now() + limit;
    while (!holds()) {
        const auto left = std::chrono::duration_cast<Milliseconds>(last - Clock::now());
        ASSERT_TRUE(left.count() > 0 && isReadyWithin(watch_, POLLIN, left)) << "nothing was written";
        char events[4096];
        ASSERT_GT(::read(watch_, events, sizeof events), 0);
    }
}

ToolTest::ToolTest() {
    char name[] = "/tmp/jorn-test-XXXXXX";
    EXPECT_NE(mkdtemp(name), nullptr);
    root_ = name;
    // A test that writes to a tool that has ended must get an error.
    ::signal(SIGPIPE, SIG_IGN);
}

ToolTest::~ToolTest() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

Outcome ToolTest::jorn(const std::vector<std::string> &arguments, const Setting &setting) const {
    const std::string inPath = scratchFile();
    const std::string outPath = scratchFile();
    const std::string errPath = scratchFile();
    const std::string peakPath = setting.isMeasured ? scratchFile() : "";
    std::ofstream(inPath, std::ios::binary) << setting.input;
    Child child(fork());
    if (child.process() == 0) {
        Child::begin();
        redirect(STDIN_FILENO, inPath, O_RDONLY);
        redirect(STDOUT_FILENO, outPath, O_WRONLY);
        redirect(STDERR_FILENO, errPath, O_WRONLY);
        if (chdir((setting.directory.empty() ? root_ : setting.directory).c_str()) != 0) {
            _exit(126);
        }
        ::signal(SIGPIPE, SIG_DFL);
        applySetting(setting);
        if (setting.isMeasured) {
            becomeMeasuredTool(peakPath, arguments);
        }
        if (setting.user) {
            becomeToolAs(*setting.user, arguments);
        }
        becomeTool(arguments);
    }
    Outcome run = endOf(&child);
    run.out = takeScratch(outPath);
    run.err = takeScratch(errPath);
    if (setting.isMeasured) {
        std::istringstream(takeScratch(peakPath)) >> run.peakKibibytes;
    }
    fs::remove(inPath);
    return run;
}

void ToolTest::makeDirectory(const std::string &name) const { fs::create_directories(path(name)); }

void ToolTest::write(const std::string &name, const std::string &bytes) const {
    std::ofstream file(path(name), std::ios::binary);
    file << bytes;
    ASSERT_TRUE(file.flush().good()) << name;
}

std::string ToolTest::read(const std::string &name) const { return readAll(path(name)); }

bool ToolTest::exists(const std::string &name) const { return fs::exists(path(name)); }

std::vector<std::string> ToolTest::textsIn(const std::string &name) const {
    std::vector<std::string> texts;
    for (const std::string &line : linesOf(read(name))) {
        size_t start = 0;
        for (int field = 0; field < 3; ++field) {
            start = line.find(',', start) + 1;
        }
        texts.push_back(line.substr(start));
    }
    return texts;
}

std::string numberedText(const std::string &prefix, int number) {
    char digits[16];
    snprintf(digits, sizeof digits, "%07d", number);
    return prefix + digits;
}

std::vector<std::string> numberedTexts(const std::string &prefix, int first, int last) {
    std::vector<std::string> texts;
    for (int number = first; number <= last; ++number) {
        texts.push_back(numberedText(prefix, number));
    }
    return texts;
}

std::string numberedLines(const std::string &prefix, int count) {
    std::string lines;
    for (int number = 1; number <= count; ++number) {
        lines += numberedText(prefix, number) + "\n";
    }
    return lines;
}

std::string dataLine(uint32_t time, int level, int slot, const std::string &text) {
    return std::to_string(time) + "," + std::to_string(level) + "," + std::to_string(slot) + "," + text +
           "\n";
}

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> shownTexts(const std::string &out) {
    std::vector<std::string> texts;
    for (const std::string &line : linesOf(out)) {
        size_t start = 0;
        for (int field = 0; field < 4; ++field) {
            start = line.find(' ', start) + 1;
        }
        texts.push_back(line.substr(start));
    }
    return texts;
}

bool hasNamelessFiles(const std::string &directory) {
    const int fd = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0) {
        close(fd);
    }
    return fd >= 0;
}

std::string stateOf(const std::string &directory) {
    std::vector<std::string> names = {directory};
    for (const auto &entry : fs::directory_iterator(directory)) {
        names.push_back(entry.path().string());
    }
    std::sort(names.begin(), names.end());
    std::ostringstream state;
    for (const std::string &name : names) {
        struct stat status = {};
        EXPECT_EQ(lstat(name.c_str(), &status), 0);
        state << name << ' ' << status.st_ino << ' ' << status.st_mode << ' ' << status.st_size << ' '
              << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << ' ' << status.st_ctim.tv_sec << '.'
              << status.st_ctim.tv_nsec << '\n';
        if (S_ISREG(status.st_mode)) {
            state << readAll(name) << '\n';
        }
    }
    return state.str();
}

}  // namespace test
