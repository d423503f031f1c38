// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <errno.h>
#include <unistd.h>

#include <string_view>

#include "failure.h"

namespace tool {

bool isOutputTerminal() { return isatty(STDOUT_FILENO) == 1; }

void writeOutput(const std::string &text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = write(STDOUT_FILENO, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EPIPE) {
            return;
        } else if (errno != EINTR) {
            throw systemFailure("standard output", errno);
        }
    }
}

}  // namespace tool
