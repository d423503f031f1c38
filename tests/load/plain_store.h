// SPDX-License-Identifier: Apache-2.0
// The module as users link it, without the probe, for programs whose load the probe would slow down or whose
// tasks its lock would keep apart: the linker redirects only time() and printErrno() to functions of these
// programs.
#ifndef JORN_TESTS_LOAD_PLAIN_STORE_H
#define JORN_TESTS_LOAD_PLAIN_STORE_H

#include <jorn.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace load {

/// What time() returns to the module from now on. Any task.
void setTime(uint32_t seconds);

/// How often the module has called printErrno(), and with which number last.
int errnoCalls();
int lastErrno();

/// Makes UTC the local time; shows a time as a page then does.
void useUtc();
std::string shownTime(uint32_t seconds);

/// A directory of the program's own, removed with all it holds.
class Directory {
public:
    Directory();
    ~Directory();
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    std::string sub(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// One pass of the store task on the hand-driven clock; returns when it waits again.
void pass();

/// Passes until the queue is empty and the open file is closed.
void settle();

/// Whether the queue is full.
bool isQueueFull();

}  // namespace load

#endif
