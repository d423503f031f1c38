// SPDX-License-Identifier: Apache-2.0
#include "output/output.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "system/failure.h"

namespace tool {
namespace {

constexpr size_t kBufferSize = size_t{64} * 1024;

/// The value of LESS for a pager. The command comes first and ends with a dollar sign, so that it does not
/// run into an option of the user's.
std::string lessOptions(PagerStart start) {
    const char *const own = getenv("LESS");
    return std::string(start == PagerStart::End ? "+G$" : "") + (own != nullptr ? own : kLessOptions);
}

}  // namespace

bool isOutputTerminal() { return isatty(STDOUT_FILENO) == 1; }

Output::Output(const std::string &pager, PagerStart start) {
    if (!pager.empty() && isOutputTerminal()) {
        startPager(pager, start);
    }
}

Output::Output(int file, std::string name) : file_(file), name_(std::move(name)) {}

Output::~Output() { waitForPager(); }

void Output::startPager(const std::string &command, PagerStart start) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0) {
        throw systemFailure("pager", errno);
    }
    Descriptor readEnd(ends[0]);
    pipe_ = Descriptor(ends[1]);
    pager_ = fork();
    if (pager_ < 0) {
        throw systemFailure("pager", errno);
    }
    if (pager_ == 0) {
        signal(SIGPIPE, SIG_DFL);
        dup2(readEnd.get(), STDIN_FILENO);
        setenv("LESS", lessOptions(start).c_str(), 1);
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    // The interrupt key belongs to the pager, which ends this program by closing the pipe.
    signal(SIGINT, SIG_IGN);
}

bool Output::write(std::string_view text) {
    buffer_ += text;
    return buffer_.size() < kBufferSize ? !isClosed_ : flush();
}

bool Output::flush() {
    const int file = pipe_.isOpen() ? pipe_.get() : file_;
    std::string_view rest = buffer_;
    while (!rest.empty() && !isClosed_) {
        const ssize_t written = ::write(file, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EPIPE) {
            isClosed_ = true;
        } else if (errno != EINTR) {
            const int reason = errno;
            buffer_.clear();
            throw systemFailure(name_, reason);
        }
    }
    buffer_.clear();
    return !isClosed_;
}

void Output::finish() {
    flush();
    if (!waitForPager()) {
        throw Failure("the pager could not be started: see JORN_PAGER, PAGER and --no-pager");
    }
}

bool Output::waitForPager() {
    pipe_ = Descriptor();
    if (pager_ <= 0) {
        return true;
    }
    int status = 0;
    while (waitpid(pager_, &status, 0) < 0 && errno == EINTR) {
    }
    pager_ = -1;
    signal(SIGINT, SIG_DFL);
    return !WIFEXITED(status) || (WEXITSTATUS(status) != 126 && WEXITSTATUS(status) != 127);
}

}  // namespace tool
