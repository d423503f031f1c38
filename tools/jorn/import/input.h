// SPDX-License-Identifier: Apache-2.0
// The input of a recording, with every way in which it can pause and end.
#ifndef JORN_TOOLS_INPUT_H
#define JORN_TOOLS_INPUT_H

#include <sys/types.h>

#include <string_view>
#include <vector>

#include "import/input_stream.h"
#include "system/descriptor.h"
#include "system/stop_signals.h"

namespace tool {

class Input : public InputStream {
public:
    /// With `keepsGoing`, the end of the input is a pause: the input is a pipe that may get a new writer, or
    /// a file that may grow. Throws Failure.
    Input(int fd, StopSignals *signals, bool keepsGoing);

    /// After a stop signal, still reads what a pipe holds at that moment, then returns End.
    Event next() override;
    std::string_view block() const override { return {buffer_.data(), length_}; }
    void wait() override;

private:
    bool isReadable();
    void beginStop();
    Event read();
    Event atEnd();
    void restartIfTruncated();

    const int fd_;
    StopSignals *const signals_;
    const bool keepsGoing_;
    bool isRegular_ = false;
    bool isAtEnd_ = false;  ///< The last read reached the end of the input.
    bool isStopping_ = false;
    size_t leftToRead_ = 0;  ///< Once stopping: bytes to read before the end.
    Descriptor ownWriter_;   ///< Keeps a pipe from ending when its last writer closes it.
    Descriptor growth_;      ///< Becomes readable when a file grows.
    std::vector<char> buffer_;
    size_t length_ = 0;
};

}  // namespace tool

#endif
