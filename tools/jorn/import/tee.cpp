// SPDX-License-Identifier: Apache-2.0
#include "import/tee.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

namespace tool {

void Tee::pass(std::string_view bytes) {
    while (output_ >= 0 && !bytes.empty()) {
        const ssize_t written = write(output_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            // Whoever shares the output has made it so.
            pollfd room = {output_, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            endBecauseOf(errno);
        }
    }
}

void Tee::endBecauseOf(int error) {
    output_ = -1;
    if (error != EPIPE) {
        problem_ = name_ + ": " + strerror(error);
    }
}

}  // namespace tool
