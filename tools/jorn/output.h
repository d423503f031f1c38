// SPDX-License-Identifier: Apache-2.0
// Standard output of the reading commands, through a pager where that is wanted.
#ifndef JORN_TOOLS_OUTPUT_H
#define JORN_TOOLS_OUTPUT_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "descriptor.h"

namespace tool {

/// Whether standard output is a terminal.
bool isOutputTerminal();

/// A reader that has closed its pipe, or a user who has left the pager, wants no more, and that is no error;
/// any other failure to write throws Failure.
class Output {
public:
    /// Starts the pager when its command line is not empty and standard output is a terminal.
    explicit Output(const std::string &pager = "");
    /// Waits for the pager.
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /// Takes text to be written, now or soon. False when nobody wants any more.
    bool write(std::string_view text);

    /// Writes what was taken, and waits until the user has left the pager. To be called when all is taken.
    void finish();

private:
    bool flush();
    void startPager(const std::string &command);
    void waitForPager();

    Descriptor pipe_;
    pid_t pager_ = -1;
    bool isClosed_ = false;
    std::string buffer_;
};

}  // namespace tool

#endif
