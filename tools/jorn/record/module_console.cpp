// SPDX-License-Identifier: Apache-2.0
#include "record/module_console.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace tool {

ModuleConsole::ModuleConsole(bool isWanted)
    : output_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    fflush(stdout);
    const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    dup2(isWanted ? STDERR_FILENO : nowhere.get(), STDOUT_FILENO);
    // Line-buffered even when it is not a terminal.
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

}  // namespace tool
