// SPDX-License-Identifier: Apache-2.0
// Where the reading commands write: standard output, through a pager where that is wanted, or a file.
#ifndef JORN_TOOLS_OUTPUT_H
#define JORN_TOOLS_OUTPUT_H

#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "system/descriptor.h"

namespace tool {

/// What `less` needs in order to show colours, and to leave what fits on the terminal there.
inline constexpr char kLessOptions[] = "FRX";

/// Whether standard output is a terminal.
bool isOutputTerminal();

/// What of its text a pager shows first.
enum class PagerStart { Begin, End };

/// A reader that has closed its pipe, or a user who has left the pager, wants no more, and that is no error;
/// any other failure to write throws Failure.
class Output {
public:
    /// Starts the pager when its command line is not empty and standard output is a terminal. It finds
    /// kLessOptions in LESS where nothing is there, and with them that it is to begin at the end.
    explicit Output(const std::string &pager = "", PagerStart start = PagerStart::Begin);
    /// Writes into an open file, which must outlive the output; `name` is for messages.
    Output(int file, std::string name);
    /// Waits for the pager.
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /// Takes text to be written, now or soon. False when nobody wants any more.
    bool write(std::string_view text);

    /// Writes what was taken. False when nobody wants any more.
    bool flush();

    /// Writes what was taken, and waits until the user has left the pager. To be called when all is taken.
    /// Throws Failure when there was no such pager.
    void finish();

private:
    void startPager(const std::string &command, PagerStart start);
    /// False when the pager could not be started.
    bool waitForPager();

    int file_ = STDOUT_FILENO;
    std::string name_ = "standard output";
    Descriptor pipe_;
    pid_t pager_ = -1;
    bool isClosed_ = false;
    std::string buffer_;
};

}  // namespace tool

#endif
