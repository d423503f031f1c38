// SPDX-License-Identifier: Apache-2.0
#include "output/live_output.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "system/failure.h"

namespace tool {

bool LiveOutput::write(std::string_view text) {
    constexpr size_t kMuch = size_t{64} * 1024;
    buffer_ += text;
    return buffer_.size() < kMuch ? !isStopped_ && !isClosed_ : flush();
}

bool LiveOutput::flush() {
    std::string_view rest = buffer_;
    while (!rest.empty() && !isClosed_ && waitUntilWritable()) {
        rest.remove_prefix(writeSome(rest));
    }
    buffer_.clear();
    return !isStopped_ && !isClosed_;
}

/// False when a stop signal arrived first.
bool LiveOutput::waitUntilWritable() {
    std::array<pollfd, 2> events = {{{signals_.descriptor(), POLLIN, 0}, {STDOUT_FILENO, POLLOUT, 0}}};
    while (poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
    }
    isStopped_ = isStopped_ || events[0].revents != 0;
    return !isStopped_;
}

/// Writes as much as a writable pipe takes without blocking; returns how much that was.
size_t LiveOutput::writeSome(std::string_view text) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
    if (written >= 0) {
        return static_cast<size_t>(written);
    }
    if (errno == EPIPE || errno == EIO) {
        isClosed_ = true;  // EIO: the terminal is gone.
    } else if (errno != EINTR && errno != EAGAIN) {
        throw systemFailure("standard output", errno);
    }
    return 0;
}

}  // namespace tool
