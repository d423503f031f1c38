// SPDX-License-Identifier: Apache-2.0
// Runs a command, ends as it does, and writes its peak memory, in KiB, to a file. usage: measured_run FILE
// COMMAND... The kernel counts the memory of a process before exec towards its peak: for a child of a large
// test that would be the test's memory. The child of this small program begins with almost none.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace {

constexpr int kNotStarted = 126;

[[noreturn]] void endLike(int status) {
    if (WIFSIGNALED(status)) {
        signal(WTERMSIG(status), SIG_DFL);
        raise(WTERMSIG(status));
    }
    _exit(WEXITSTATUS(status));
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        return kNotStarted;
    }
    const pid_t process = fork();
    if (process == 0) {
        // A time limit ends this program, and the command with it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(argv[2], argv + 2);
        _exit(kNotStarted);
    }
    int status = 0;
    rusage used = {};
    FILE *const report = fopen(argv[1], "w");
    if (process < 0 || report == nullptr || wait4(process, &status, 0, &used) != process ||
        fprintf(report, "%ld\n", used.ru_maxrss) < 0 || fclose(report) != 0) {
        return kNotStarted;
    }
    endLike(status);
}
