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

/// It ends when the command and whoever else has got its outputs have closed them; once the command itself
/// has ended, also with the next signal that asks to end.
class CommandOutput : public InputStream {
public:
    /// Starts the command. Throws Failure.
    CommandOutput(const std::vector<std::string> &command, const HandedSignals *signals);

    Event next() override;
    std::string_view block() const override { return {buffer_.data(), length_}; }
    Channel channel() const override { return channel_; }
    void wait() override;

    /// Waits for the end of the command, and returns its exit code.
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
