// SPDX-License-Identifier: Apache-2.0
// Runs the command-line tool as a user does, each test in a directory of its own.
#ifndef JORN_TESTS_SYSTEM_TOOL_RUN_H
#define JORN_TESTS_SYSTEM_TOOL_RUN_H

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "child.h"

namespace test {

/// What a run left.
struct Outcome {
    int status = -1;  ///< Exit code; 128 and the signal's number when a signal ended it.
    std::string out;
    std::string err;
    long peakKibibytes = -1;  ///< Peak memory, where it was measured.
};

/// What a run is given besides its arguments.
struct Setting {
    std::string input;      ///< Standard input, as a file; on a terminal, typed when it asks.
    std::string directory;  ///< Working directory, the test's if empty.
    std::vector<std::pair<std::string, std::string>> variables;  ///< Added to the environment.
    std::optional<uint64_t> fileSizeLimit;                       ///< RLIMIT_FSIZE.
    bool obeysPermissions = false;  ///< Even when root runs the tests; exit code 126 when that is impossible.
    std::optional<uint64_t> memoryLimit = std::nullopt;       ///< RLIMIT_AS; not with sanitizers.
    std::optional<uint64_t> processorSeconds = std::nullopt;  ///< RLIMIT_CPU; also ends one that hangs.
    std::vector<int> closed = {};                             ///< Standard descriptors to be closed.
    bool isMeasured = false;                                  ///< By jorn(), for the outcome's peak.
    /// Runs as this user, in the groups with that number and the next; root only.
    std::optional<uid_t> user = std::nullopt;
};

/// Runs the tool in place of the calling process, which is a child that a test has made.
[[noreturn]] void becomeTool(const std::vector<std::string> &arguments);

/// The same through a small program, which writes the tool's peak memory to a file.
[[noreturn]] void becomeMeasuredTool(const std::string &peakPath, const std::vector<std::string> &arguments);

/// Why the tool cannot be run as another user here; empty when it can.
std::string whyNoOtherUser();

/// Runs the tool on a terminal of its own, 60 columns wide; `out` is all that was shown there, what is typed
/// included.
Outcome runOnTerminal(const std::vector<std::string> &arguments, const Setting &setting = {});

/// Runs the tool with a descriptor as standard output; only its `err` is kept.
Outcome runInto(int out, const std::vector<std::string> &arguments);

/// The tool while it runs, fed through a pipe.
class RunningTool {
public:
    /// With `stdinPath`, that is standard input instead of the pipe.
    RunningTool(const std::string &workDirectory, const std::vector<std::string> &arguments,
                const std::string &stdinPath = "", bool obeysPermissions = false);
    ~RunningTool() { endInput(); }
    RunningTool(const RunningTool &) = delete;
    RunningTool &operator=(const RunningTool &) = delete;

    /// Fails the test when the tool does not read all of it within the limit.
    void feed(const std::string &bytes, Milliseconds limit = kPatience);
    void endInput();
    void signal(int number) const { child_.signal(number); }
    /// Stops the process, so that it sees all that happens until resume() at once.
    void halt() { child_.halt(); }
    void resume() const { signal(SIGCONT); }
    Outcome wait();

private:
    Child child_;
    int input_ = -1;
    std::string outPath_;
    std::string errPath_;
};

/// Watches a directory for files that are closed after writing.
class CloseWatch {
public:
    explicit CloseWatch(const std::string &directory);
    ~CloseWatch();
    CloseWatch(const CloseWatch &) = delete;
    CloseWatch &operator=(const CloseWatch &) = delete;

    /// Returns when the condition holds, which is tested at the beginning and whenever a file is closed.
    /// Fails the test when that takes longer than the limit.
    void waitUntil(const std::function<bool()> &holds, Milliseconds limit = kPatience);

private:
    int watch_ = -1;
};

class ToolTest : public ::testing::Test {
protected:
    ToolTest();
    ~ToolTest() override;

    Outcome jorn(const std::vector<std::string> &arguments, const Setting &setting = {}) const;

    /// A path below the test's directory.
    std::string path(const std::string &name) const { return root_ + "/" + name; }
    void makeDirectory(const std::string &name) const;
    void write(const std::string &name, const std::string &bytes) const;
    std::string read(const std::string &name) const;
    bool exists(const std::string &name) const;

    /// The texts in a data file, in its order.
    std::vector<std::string> textsIn(const std::string &name) const;

    std::string root_;
};

/// A log in "log", written by hand.
class LogTest : public ToolTest {
protected:
    LogTest() { makeDirectory("log"); }

    void writeIndex(const std::string &positions) const {
        write("log/index.csv", "version:1\n" + positions + "\n");
    }
};

/// "prefix1\n" to "prefixN\n", numbers padded with zeros to one width.
std::string numberedLines(const std::string &prefix, int count);
std::string numberedText(const std::string &prefix, int number);
std::vector<std::string> numberedTexts(const std::string &prefix, int first, int last);

/// One line of a data file.
std::string dataLine(uint32_t time, int level, int slot, const std::string &text);

/// The texts in what `show` printed, newest first.
std::vector<std::string> shownTexts(const std::string &out);

std::vector<std::string> linesOf(const std::string &text);

/// Whether the file system of a directory supports unnamed files.
bool hasNamelessFiles(const std::string &directory);

/// Name, type, size, times and content of a directory and all that is in it, to be compared.
std::string stateOf(const std::string &directory);

}  // namespace test

#endif
