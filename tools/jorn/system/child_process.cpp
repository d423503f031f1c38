// SPDX-License-Identifier: Apache-2.0
#include "system/child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "system/failure.h"

namespace tool {
namespace {

struct Pipe {
    Descriptor reader;
    Descriptor writer;
};

Pipe makePipe() {
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) < 0) {
        throw Failure(std::string("pipe: ") + strerror(errno), kExitOfRunner);
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// What the command does not inherit unchanged.
class SpawnSettings {
public:
    SpawnSettings(const sigset_t &mask, int output, int error) {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigaddset(&defaults, SIGXFSZ);
        posix_spawnattr_setsigmask(&attributes_, &mask);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, error, STDERR_FILENO);
    }
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    const posix_spawnattr_t *attributes() const { return &attributes_; }
    const posix_spawn_file_actions_t *actions() const { return &actions_; }

private:
    posix_spawnattr_t attributes_;
    posix_spawn_file_actions_t actions_;
};

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string> &words, const sigset_t &mask) {
    Pipe output = makePipe();
    Pipe error = makePipe();
    const SpawnSettings settings(mask, output.writer.get(), error.writer.get());
    std::vector<std::string> copies = words;
    std::vector<char *> arguments;
    for (std::string &word : copies) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const int reason = posix_spawnp(&id_, arguments.front(), settings.actions(), settings.attributes(),
                                    arguments.data(), environ);
    if (reason != 0) {
        throw Failure(words.front() + ": " + strerror(reason),
                      reason == ENOENT ? kExitNotFound : kExitNotRun);
    }
    output_ = std::move(output.reader);
    error_ = std::move(error.reader);
}

/// An ended command keeps its process id until it is waited for, which only ended() does.
void ChildProcess::signal(int number) {
    if (!ended()) {
        kill(id_, number);
    }
}

std::optional<int> ChildProcess::ended() {
    int status = 0;
    if (!exitCode_ && waitpid(id_, &status, WNOHANG) == id_) {
        constexpr int kOfSignals = 128;
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : kOfSignals + WTERMSIG(status);
    }
    return exitCode_;
}

}  // namespace tool
