// SPDX-License-Identifier: Apache-2.0
// Where the bytes of a recording come from.
#ifndef JORN_TOOLS_INPUT_STREAM_H
#define JORN_TOOLS_INPUT_STREAM_H

#include <string_view>

namespace tool {

class InputStream {
public:
    enum class Event {
        Data,   ///< There are bytes in block().
        Pause,  ///< No bytes for now. wait() returns when that may have changed.
        End,    ///< There will be no more.
    };

    /// Which output of a command: standard output or standard error.
    enum class Channel { Output, Error };

    virtual ~InputStream() = default;

    /// Reads what is there, without waiting for more. Throws Failure.
    virtual Event next() = 0;

    /// Valid until the next call of next().
    virtual std::string_view block() const = 0;

    /// Where block() came from.
    virtual Channel channel() const { return Channel::Output; }

    /// Waits after a pause.
    virtual void wait() = 0;
};

}  // namespace tool

#endif
