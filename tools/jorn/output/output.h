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

/// Options that `less` needs to show colours, and to leave text that fits on the screen there.
inline constexpr char kLessOptions[] = "FRX";

/// Whether standard output is a terminal.
bool isOutputTerminal();

/// Which part of its text a pager shows first.
enum class PagerStart { Begin, End };

/// A reader that has closed its pipe, or a user who has left the pager, wants no more, which is not an error;
/// any other failure to write throws Failure.
class Output {
public:
    /// Starts the pager when its command line is not empty and standard output is a terminal. LESS is set to
    /// kLessOptions unless it is set already; with PagerStart::End, it also tells the pager to start at the
    /// end.
    explicit Output(const std::string &pager = "", PagerStart start = PagerStart::Begin);
    /// Writes into an open file, which must outlive the output; `name` is for messages.
    Output(int file, std::string name);
    /// Waits for the pager.
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /// Takes text to be written, now or soon. False when no more is wanted.
    bool write(std::string_view text);

    /// Writes what was taken. False when no more is wanted.
    bool flush();

    /// Writes what was taken, and waits until the user has left the pager. Call it after the last write().
    /// Throws Failure when the pager could not be started.
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
