// SPDX-License-Identifier: Apache-2.0
// What the tracer's tests run: `traced_program DIRECTORY` writes some files there from two threads and a
// child. Its exit code is the errno of its first write that failed, or 200 when fewer bytes were written than
// it meant.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <thread>

namespace {

constexpr int kShortWrite = 200;

int writeFile(const char *name, const char *text, size_t length) {
    const int fd = open(name, O_WRONLY | O_CREAT | O_APPEND, 0600);
    const ssize_t written = write(fd, text, length);
    const int error = errno;
    close(fd);
    if (written < 0) {
        return error;
    }
    return static_cast<size_t>(written) == length ? 0 : kShortWrite;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2 || chdir(argv[1]) != 0) {
        return 1;
    }
    int first = 0;
    std::thread([&first] { first = writeFile("thread", "from a thread\n", 14); }).join();
    const pid_t child = fork();
    if (child == 0) {
        _exit(writeFile("child", "from a child\n", 13));
    }
    waitpid(child, nullptr, 0);
    rename("thread", "renamed");
    mkdir("made", 0700);
    printf("done\n");
    return first;
}
