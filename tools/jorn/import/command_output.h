// SPDX-License-Identifier: Apache-2.0
// What a command prints, as the input of a recording.
#ifndef JORN_TOOLS_COMMAND_OUTPUT_H
#define JORN_TOOLS_COMMAND_OUTPUT_H

#include <string>
#include <vector>

#include "import/input_stream.h"
#include "system/child_process.h"
#include "system/handed_signals.h"

namespace tool {

/// Ends when the command and every process that inherited its outputs have closed them, or when the command
/// itself has ended and a signal has asked to stop.
class CommandOutput : public InputStream {
public:
    /// Starts the command. Throws Failure.
    CommandOutput(const std::vector<std::string> &command, const HandedSignals *signals);

    Event next() override;
    std::string_view block() const override { return {buffer_.data(), length_}; }
    Channel channel() const override { return channel_; }
    void wait() override;

    /// Waits for the command to end and returns its exit code.
    int waitForEnd();

private:
    void handOnSignals();
    Descriptor &outputOf(Channel channel);
    bool read(Channel channel);

    const HandedSignals *const signals_;
    ChildProcess process_;
    std::vector<char> buffer_;
    size_t length_ = 0;
    Channel channel_ = Channel::Error;
    bool isEndAsked_ = false;
};

}  // namespace tool

#endif
