// SPDX-License-Identifier: Apache-2.0
// The tool while it runs.
#ifndef JORN_TESTS_SYSTEM_PIPED_TOOL_H
#define JORN_TESTS_SYSTEM_PIPED_TOOL_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tool_run.h"

namespace test {

/// The tool with its output on pipes, to be read line by line while it runs.
class PipedTool {
public:
    explicit PipedTool(const std::string &workDirectory, const std::vector<std::string> &arguments) {
        int out[2];
        int err[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
        process_ = fork();
        if (process_ == 0) {
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
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }

    PipedTool(const PipedTool &) = delete;
    PipedTool &operator=(const PipedTool &) = delete;

    pid_t process() const { return process_; }

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
    void halt() const {
        int status = 0;
        kill(process_, SIGSTOP);
        EXPECT_EQ(waitpid(process_, &status, WUNTRACED), process_);
    }
    void resume() const { kill(process_, SIGCONT); }

    void closeOutput() {
        if (out_ >= 0) {
            close(out_);
            out_ = -1;
        }
    }

    /// Exit code, after a signal if one is given.
    int end(int signalNumber = 0) {
        if (signalNumber > 0) {
            kill(process_, signalNumber);
        }
        int status = 0;
        EXPECT_EQ(waitpid(process_, &status, 0), process_);
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    /// What it has printed that has not been read, after its end.
    std::string rest() { return restFrom(out_, outRest_); }
    std::string restOfNotes() { return restFrom(err_, errRest_); }

private:
    static std::string restFrom(int file, std::string all) {
        char block[4096];
        for (ssize_t length = 0; (length = ::read(file, block, sizeof block)) > 0;) {
            all.append(block, static_cast<size_t>(length));
        }
        return all;
    }

    /// Empty, with the test failed, when no line comes for a long time.
    static std::string lineFrom(int file, std::string *rest) {
        constexpr int kTwoMinutes = 120000;
        size_t end = 0;
        while ((end = rest->find('\n')) == std::string::npos) {
            pollfd event = {file, POLLIN, 0};
            char block[4096];
            const ssize_t length = poll(&event, 1, kTwoMinutes) == 1 ? ::read(file, block, sizeof block) : -1;
            if (length <= 0) {
                ADD_FAILURE() << "no line came, but '" << *rest << "'";
                return "";
            }
            rest->append(block, static_cast<size_t>(length));
        }
        std::string line = rest->substr(0, end);
        rest->erase(0, end + 1);
        return line;
    }

    pid_t process_ = -1;
    int out_ = -1;
    int err_ = -1;
    std::string outRest_;
    std::string errRest_;
};

}  // namespace test

#endif
