// SPDX-License-Identifier: Apache-2.0
// What the module needs of its platform, as tables of plain calls and what each must give. Every
// implementation of the platform is held to these tables: port/posix by contract_test.cpp, the kernel of
// tests/board on the board. Plain C++ without library: the tables and what plays them run on the device too.
#ifndef JORN_TESTS_PORT_CONTRACT_H
#define JORN_TESTS_PORT_CONTRACT_H

#include <stddef.h>

namespace contract {

/// Tasks of each scenario, and their priorities: 50, 100, 150 and 150. `Clock` stands for whoever plays.
enum class Who { High, Middle, Low, Other, Clock };

enum class Call {
    MakeMutex,      ///< number: of the mutex; argument: options
    Take,           ///< number: of the mutex; argument: timeout
    Give,           ///< number: of the mutex
    DeleteMutex,    ///< number: of the mutex
    MakeQueue,      ///< number: of the queue, of messages up to 8 bytes; argument: slots
    MakeFairQueue,  ///< the same, where waiting tasks are served by priority
    Send,           ///< number: of the queue; argument: timeout; text: the message
    SendUrgent,     ///< the same, before all others
    Receive,        ///< number: of the queue; argument: timeout; text: what comes, where one comes
    ReceiveShort,   ///< the same, into room for 3 bytes
    CountMessages,  ///< number: of the queue
    DeleteQueue,    ///< number: of the queue
    Delay,          ///< argument: ticks
    DeleteTask,     ///< number: which of Who
    Priority,       ///< number: which of Who; the result is its priority now
    MakeDirectory,  ///< text: a path, relative to an empty directory, as in all that follow
    OpenDirectory,  ///< text: the path; opened and closed
    Write,          ///< text: the path; content: of the file, made or emptied before
    Append,         ///< text: the path; content: what is added
    Read,           ///< text: the path; content: what must be in it
    Remove,         ///< text: the path
    Rename,         ///< text: the path; content: the new one
    Ticks,          ///< argument: how many are announced
    Returns         ///< the call in which the task waited has returned
};

/// In place of a result: the call does not return, the task waits.
constexpr int kWaits = -99;
/// In place of an error number: any.
constexpr int kAny = -1;

struct Step {
    Who who;
    Call call;
    int number;
    int argument;
    const char *text;
    const char *content;
    int result;
    int error;  ///< errno after the call, which was 0 before
};

struct Scenario {
    const char *name;
    const Step *steps;
    size_t count;
};

extern const Scenario kScenarios[];
extern const size_t kScenarioCount;

/// What differs between platforms.
struct Platform {
    /// Announces a tick.
    void (*tick)();
    /// Returns when every task waits.
    void (*settle)();
    /// The path of what lies in the empty directory; as the file system's own calls take it, where `isOwn`.
    void (*makePath)(char *path, size_t size, const char *relative, bool isOwn);
};

/// Plays a scenario; null, or what went otherwise, good until the next call.
const char *play(const Scenario &scenario, const Platform &platform);

}  // namespace contract

#endif
