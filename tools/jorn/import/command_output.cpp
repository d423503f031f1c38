// SPDX-License-Identifier: Apache-2.0
#include "import/command_output.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>

#include "system/failure.h"

namespace tool {
namespace {

constexpr size_t kBlockSize = 65536;
constexpr int kForever = -1;

}  // namespace

CommandOutput::CommandOutput(const std::vector<std::string> &command, const HandedSignals *signals)
    : signals_(signals), process_(command, signals->formerMask()), buffer_(kBlockSize) {}

/// The outputs take turns, so that none waits for the other's end.
InputStream::Event CommandOutput::next() {
    handOnSignals();
    const Channel other = channel_ == Channel::Output ? Channel::Error : Channel::Output;
    if (read(other) || read(channel_)) {
        return Event::Data;
    }
    if (isEndAsked_ && process_.ended()) {
        return Event::End;
    }
    return process_.output().isOpen() || process_.error().isOpen() ? Event::Pause : Event::End;
}

Descriptor &CommandOutput::outputOf(Channel channel) {
    return channel == Channel::Output ? process_.output() : process_.error();
}

/// False when there is nothing to read there, now or any more.
bool CommandOutput::read(Channel channel) {
    Descriptor &output = outputOf(channel);
    pollfd ready = {output.get(), POLLIN, 0};
    if (!output.isOpen() || poll(&ready, 1, 0) <= 0) {
        return false;
    }
    const ssize_t length = ::read(output.get(), buffer_.data(), buffer_.size());
    if (length < 0) {
        throw systemFailure("output of the command", errno);
    }
    if (length == 0) {
        output = Descriptor();
        return false;
    }
    channel_ = channel;
    length_ = static_cast<size_t>(length);
    return true;
}

void CommandOutput::handOnSignals() {
    isEndAsked_ = signals_->handOn([this](int number) { process_.signal(number); }) || isEndAsked_;
}

void CommandOutput::wait() {
    std::array<pollfd, 3> events = {{{signals_->descriptor(), POLLIN, 0},
                                     {process_.output().get(), POLLIN, 0},
                                     {process_.error().get(), POLLIN, 0}}};
    poll(events.data(), events.size(), kForever);
}

int CommandOutput::waitForEnd() {
    pollfd signal = {signals_->descriptor(), POLLIN, 0};
    while (!process_.ended()) {
        poll(&signal, 1, kForever);
        handOnSignals();
    }
    return *process_.ended();
}

}  // namespace tool
