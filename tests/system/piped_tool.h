// SPDX-License-Identifier: Apache-2.0
// The tool while it runs.
#ifndef JORN_TESTS_SYSTEM_PIPED_TOOL_H
#define JORN_TESTS_SYSTEM_PIPED_TOOL_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "child.h"
#include "tool_run.h"

namespace test {

/// The tool with its output on pipes, to be read line by line while it runs.
class PipedTool {
public:
    /// `patience` is how long each read waits.
    explicit PipedTool(const std::string &workDirectory, const std::vector<std::string> &arguments,
                       Milliseconds patience = kPatience)
        : patience_(patience) {
        int out[2];
        int err[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
        child_ = Child(fork());
        if (child_.process() == 0) {
            Child::begin();
            // It must not wait for what is typed at the test.
            dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            if (chdir(workDirectory.c_str()) != 0) {
                _exit(126);
            }
            becomeTool(arguments);
        }
        close(out[1]);
        close(err[1]);
        out_ = out[0];
        err_ = err[0];
    }

    ~PipedTool() {
        closeOutput();
        close(err_);
    }

    PipedTool(const PipedTool &) = delete;
    PipedTool &operator=(const PipedTool &) = delete;

    pid_t process() const { return child_.process(); }

    std::string nextLine() { return lineFrom(out_, &outRest_); }
    std::string nextNote() { return lineFrom(err_, &errRest_); }

    std::vector<std::string> nextTexts(int count) {
        std::string lines;
        for (int i = 0; i < count; ++i) {
            lines += nextLine() + "\n";
        }
        return shownTexts(lines);
    }

    /// Stops the process, so that it sees all that happens until resume() at once. What it has printed was
    /// the end of a look.
    void halt() { child_.halt(); }
    void resume() const { child_.signal(SIGCONT); }

    void closeOutput() {
        if (out_ >= 0) {
            close(out_);
            out_ = -1;
        }
    }

    /// Exit code, after a signal if one is given.
    int end(int signalNumber = 0) {
        if (signalNumber > 0) {
            child_.signal(signalNumber);
        }
        return child_.wait(patience_);
    }

    /// What it has printed that has not been read, after its end.
    std::string rest() { return restFrom(out_, outRest_); }
    std::string restOfNotes() { return restFrom(err_, errRest_); }

private:
    std::string restFrom(int file, std::string all) {
        char block[4096];
        for (ssize_t length = 0; (length = readFrom(file, block, sizeof block)) > 0;) {
            all.append(block, static_cast<size_t>(length));
        }
        EXPECT_FALSE(isLate_) << "the output was not closed after '" << all << "'";
        return all;
    }

    /// Reads what comes within the patience, for which only the first read in vain waits: a test may ask for
    /// many lines. Returns -1 when nothing comes, and otherwise as read() does.
    ssize_t readFrom(int file, char *block, size_t size) {
        isLate_ = isLate_ || !isReadyWithin(file, POLLIN, patience_);
        return isLate_ ? -1 : ::read(file, block, size);
    }

    /// Empty, with the test failed, when no line comes.
    std::string lineFrom(int file, std::string *rest) {
        const bool hasFailed = isLate_;
        size_t end = 0;
        while ((end = rest->find('\n')) == std::string::npos) {
            char block[4096];
            const ssize_t length = readFrom(file, block, sizeof block);
            if (length <= 0) {
                EXPECT_TRUE(hasFailed) << "no line came, but '" << *rest << "'";
                return "";
            }
            rest->append(block, static_cast<size_t>(length));
        }
        std::string line = rest->substr(0, end);
        rest->erase(0, end + 1);
        return line;
    }

    const Milliseconds patience_;
    bool isLate_ = false;
    Child child_;
    int out_ = -1;
    int err_ = -1;
    std::string outRest_;
    std::string errRest_;
};

}  // namespace test

#endif
