// SPDX-License-Identifier: Apache-2.0
#include "import/input.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "log/store_directory.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr size_t kBlockSize = 65536;

/// Polling interval for an input at its end that may continue without notice: a file on a network, a
/// terminal.
constexpr int kLookAgainMilliseconds = 250;
constexpr int kForever = -1;

Failure inputFailure(int error) { return systemFailure("standard input", error); }

}  // namespace

Input::Input(int fd, StopSignals *signals, bool keepsGoing)
    : fd_(fd), signals_(signals), keepsGoing_(keepsGoing), buffer_(kBlockSize) {
    struct stat status;
    if (fstat(fd, &status) < 0) {
        throw inputFailure(errno);
    }
    isRegular_ = S_ISREG(status.st_mode);
    const std::string name = descriptorName(fd);
    if (keepsGoing && S_ISFIFO(status.st_mode)) {
        ownWriter_ = Descriptor(open(name.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    }
    if (keepsGoing && isRegular_) {
        growth_ = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        // If the file cannot be watched, wait() still polls it.
        inotify_add_watch(growth_.get(), name.c_str(), IN_MODIFY);
    }
}

Input::Event Input::next() {
    if (!isStopping_ && signals_->hasCome()) {
        beginStop();
    }
    if (isStopping_ && leftToRead_ == 0) {
        return Event::End;
    }
    if (isReadable()) {
        return read();
    }
    return isStopping_ ? Event::End : Event::Pause;
}

bool Input::isReadable() {
    pollfd input = {fd_, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

/// Data that is already in a pipe would be lost with the pipe, so it is still read. A file keeps its data.
void Input::beginStop() {
    signals_->accept();
    isStopping_ = true;
    int waiting = 0;
    if (!isRegular_ && ioctl(fd_, FIONREAD, &waiting) == 0 && waiting > 0) {
        leftToRead_ = static_cast<size_t>(waiting);
    }
}

Input::Event Input::read() {
    const size_t wanted = isStopping_ ? std::min(leftToRead_, kBlockSize) : kBlockSize;
    const ssize_t length = ::read(fd_, buffer_.data(), wanted);
    if (length < 0) {
        if (errno == EAGAIN || errno == EINTR) {
            return isStopping_ ? Event::End : Event::Pause;
        }
        throw inputFailure(errno);
    }
    if (length == 0) {
        return atEnd();
    }
    isAtEnd_ = false;
    length_ = static_cast<size_t>(length);
    leftToRead_ -= std::min(leftToRead_, length_);
    return Event::Data;
}

Input::Event Input::atEnd() {
    if (!keepsGoing_ || isStopping_) {
        return Event::End;
    }
    isAtEnd_ = true;
    restartIfTruncated();
    return Event::Pause;
}

/// A file that was truncated to be rewritten is read from its beginning.
void Input::restartIfTruncated() {
    struct stat status;
    const bool isKnown = isRegular_ && fstat(fd_, &status) == 0;
    if (isKnown && status.st_size < lseek(fd_, 0, SEEK_CUR)) {
        lseek(fd_, 0, SEEK_SET);
    }
}

void Input::wait() {
    // At its end an input always polls as readable, although there is nothing to read.
    std::array<pollfd, 2> events = {{{signals_->descriptor(), POLLIN, 0}, {fd_, POLLIN, 0}}};
    if (isAtEnd_) {
        events[1].fd = growth_.get();
    }
    poll(events.data(), events.size(), isAtEnd_ ? kLookAgainMilliseconds : kForever);
    std::array<char, 4096> notices;
    while (isAtEnd_ && growth_.isOpen() && ::read(growth_.get(), notices.data(), notices.size()) > 0) {
    }
}

}  // namespace tool
