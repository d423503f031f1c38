// SPDX-License-Identifier: Apache-2.0
#include "fuzz/tool_process.h"

#include <sys/mman.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "commands/commands.h"
#include "fuzz/finding.h"
#include "system/failure.h"

namespace fuzz {

/// Whether standard output should look like a terminal.
static bool isOutputTerminal = false;

}  // namespace fuzz

extern "C" {

/// A damaged index is read again after a pause. Waiting is useless here.
int usleep(useconds_t) { return 0; }

/// No power is cut here.
int fsync(int) { return 0; }

/// Whether the tool takes a descriptor for a terminal.
int isatty(int fd) { return fuzz::isOutputTerminal && fd == STDOUT_FILENO ? 1 : 0; }

/// Sets where the sanitizers report to; absent without them.
void __sanitizer_set_report_fd(void *) __attribute__((weak));
}

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr int kOutputs = 2;  ///< Standard output and standard error.

/// Replaces standard output and standard error by memory. The sanitizers keep reporting where they did.
class CapturedOutput {
public:
    CapturedOutput() {
        fflush(stdout);
        for (int fd = STDOUT_FILENO; fd <= STDERR_FILENO; ++fd) {
            saved_[fd - 1] = dup(fd);
            taken_[fd - 1] = memfd_create("output", MFD_CLOEXEC);
            dup2(taken_[fd - 1], fd);
        }
        report(saved_[STDERR_FILENO - 1]);
    }
    ~CapturedOutput() {
        for (int fd = STDOUT_FILENO; fd <= STDERR_FILENO; ++fd) {
            dup2(saved_[fd - 1], fd);
            close(saved_[fd - 1]);
            close(taken_[fd - 1]);
        }
        report(STDERR_FILENO);
    }
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    /// What went to standard output.
    std::string text() const {
        const int taken = taken_[0];
        std::string bytes(static_cast<size_t>(lseek(taken, 0, SEEK_END)), '\0');
        const ssize_t count = pread(taken, bytes.data(), bytes.size(), 0);
        expectNumber("bytes of captured output", count, static_cast<int64_t>(bytes.size()));
        return bytes;
    }

private:
    static void report(int fd) {
        if (__sanitizer_set_report_fd != nullptr) {
            __sanitizer_set_report_fd(reinterpret_cast<void *>(static_cast<intptr_t>(fd)));
        }
    }

    int saved_[kOutputs]{};
    int taken_[kOutputs]{};
};

std::string changeOf(const fs::path &path) {
    return std::to_string(fs::last_write_time(path).time_since_epoch().count());
}

int exitCodeOf(std::vector<std::string> arguments) {
    static const std::map<std::string, void (*)(CLI::App *, int *)> kCommands = {
        {"show", tool::addShowCommand},     {"count", tool::addCountCommand},
        {"check", tool::addCheckCommand},   {"stats", tool::addStatsCommand},
        {"follow", tool::addFollowCommand}, {"export", tool::addExportCommand},
        {"clear", tool::addClearCommand},   {"logs", tool::addLogsCommand},
    };
    CLI::App app("tool", "jorn");
    app.require_subcommand(1);
    int exitCode = tool::kExitDone;
    kCommands.at(arguments.front())(&app, &exitCode);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &) {
        return tool::kExitUsage;
    } catch (const tool::Failure &failure) {
        return failure.exitCode();
    }
    return exitCode;
}

}  // namespace

Directory::Directory() {
    char name[] = "/tmp/jornXXXXXX";
    expectThat(mkdtemp(name) != nullptr, "a directory can be made");
    path_ = name;
}

Directory::~Directory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void Directory::fill(const test::NamedFiles &files) const {
    const std::vector<fs::directory_entry> present{fs::directory_iterator(path_), {}};
    for (const fs::directory_entry &entry : present) {
        fs::remove(entry.path());
    }
    for (const auto &[name, bytes] : files) {
        std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
    }
}

test::NamedFiles Directory::files() const {
    test::NamedFiles found;
    for (const auto &entry : fs::directory_iterator(path_)) {
        std::ifstream file(entry.path(), std::ios::binary);
        found[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return found;
}

std::map<std::string, std::string> Directory::times() const {
    std::map<std::string, std::string> found = {{"", changeOf(path_)}};
    for (const auto &entry : fs::directory_iterator(path_)) {
        found[entry.path().filename()] = changeOf(entry.path());
    }
    return found;
}

Run run(const std::vector<std::string> &arguments) {
    const CapturedOutput captured;
    const int exitCode = exitCodeOf(arguments);
    expectThat(exitCode >= tool::kExitDone && exitCode <= tool::kExitInputOutput, "the exit code is told of");
    return {exitCode, captured.text()};
}

Run runOnTerminal(const std::vector<std::string> &arguments) {
    isOutputTerminal = true;
    Run onTerminal = run(arguments);
    isOutputTerminal = false;
    return onTerminal;
}

}  // namespace fuzz
