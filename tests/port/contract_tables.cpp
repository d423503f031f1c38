// SPDX-License-Identifier: Apache-2.0
// The tables. Each line is a call: who makes it, what it is about, and what it gives.
#include <errno.h>
#include <msgQLib.h>
#include <objLib.h>
#include <semLib.h>

#include "contract.h"

namespace contract {

namespace {

constexpr int kForever = -1;
constexpr int kNoWait = 0;
constexpr int kInheriting = SEM_Q_PRIORITY | SEM_INVERSION_SAFE;
constexpr int kUnavailable = S_objLib_OBJ_UNAVAILABLE;
constexpr int kDeleted = S_objLib_OBJ_DELETED;
constexpr int kTimeout = S_objLib_OBJ_TIMEOUT;
constexpr int kNoObject = S_objLib_OBJ_ID_ERROR;

constexpr Who kHigh = Who::High;
constexpr Who kMiddle = Who::Middle;
constexpr Who kLow = Who::Low;
constexpr Who kOther = Who::Other;
constexpr int kHighTask = static_cast<int>(Who::High);
constexpr int kLowTask = static_cast<int>(Who::Low);

// How lines are written: a call that succeeds, waits or fails; what a wait ended with.
constexpr Step done(Who who, Call call, int number, int argument = 0, const char *text = nullptr) {
    return {who, call, number, argument, text, nullptr, 0, 0};
}
constexpr Step gives(Who who, Call call, int number, int result) {
    return {who, call, number, 0, nullptr, nullptr, result, 0};
}
constexpr Step gets(Who who, Call call, int number, const char *text, int length) {
    return {who, call, number, kNoWait, text, nullptr, length, 0};
}
constexpr Step waits(Who who, Call call, int number, int argument, const char *text = nullptr) {
    return {who, call, number, argument, text, nullptr, kWaits, 0};
}
constexpr Step fails(Who who, Call call, int number, int argument, int error, const char *text = nullptr) {
    return {who, call, number, argument, text, nullptr, -1, error};
}
constexpr Step stillWaits(Who who) { return {who, Call::Returns, 0, 0, nullptr, nullptr, kWaits, 0}; }
constexpr Step returns(Who who) { return {who, Call::Returns, 0, 0, nullptr, nullptr, 0, 0}; }
constexpr Step returnsText(Who who, const char *text, int length) {
    return {who, Call::Returns, 0, 0, text, nullptr, length, 0};
}
constexpr Step returnsError(Who who, int error) {
    return {who, Call::Returns, 0, 0, nullptr, nullptr, -1, error};
}
constexpr Step ticks(int number) { return {Who::Clock, Call::Ticks, 0, number, nullptr, nullptr, 0, 0}; }
constexpr Step file(Call call, const char *path, const char *content = "", int result = 0) {
    return {Who::Middle, call, 0, 0, path, content, result, kAny};
}

constexpr Step kMutexNests[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    done(kLow, Call::Take, 0, kForever),
    done(kLow, Call::Take, 0, kForever),
    done(kLow, Call::Take, 0, kNoWait),
    fails(kHigh, Call::Take, 0, kNoWait, kUnavailable),
    done(kLow, Call::Give, 0),
    done(kLow, Call::Give, 0),
    fails(kHigh, Call::Take, 0, kNoWait, kUnavailable),
    done(kLow, Call::Give, 0),
    done(kHigh, Call::Take, 0, kNoWait),
};

constexpr Step kMutexGivenByOther[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    fails(kLow, Call::Give, 0, 0, S_semLib_INVALID_OPERATION),
    done(kLow, Call::Take, 0, kForever),
    fails(kHigh, Call::Give, 0, 0, S_semLib_INVALID_OPERATION),
    fails(kHigh, Call::Take, 0, kNoWait, kUnavailable),
    done(kLow, Call::Give, 0),
    fails(kLow, Call::Give, 0, 0, S_semLib_INVALID_OPERATION),
};

constexpr Step kMutexServesByPriority[] = {
    done(kMiddle, Call::MakeMutex, 0, kInheriting),
    done(kMiddle, Call::Take, 0, kForever),
    waits(kLow, Call::Take, 0, kForever),
    waits(kOther, Call::Take, 0, kForever),
    waits(kHigh, Call::Take, 0, kForever),
    done(kMiddle, Call::Give, 0),
    returns(kHigh),
    stillWaits(kLow),
    done(kHigh, Call::Give, 0),
    returns(kLow),
    stillWaits(kOther),
    done(kLow, Call::Give, 0),
    returns(kOther),
};

constexpr Step kMutexServesByArrival[] = {
    done(kMiddle, Call::MakeMutex, 0, SEM_Q_FIFO),
    done(kMiddle, Call::Take, 0, kForever),
    waits(kLow, Call::Take, 0, kForever),
    waits(kHigh, Call::Take, 0, kForever),
    done(kMiddle, Call::Give, 0),
    returns(kLow),
    stillWaits(kHigh),
};

constexpr Step kMutexHandedOver[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    done(kLow, Call::Take, 0, kForever),
    waits(kMiddle, Call::Take, 0, kForever),
    done(kLow, Call::Give, 0),
    fails(kLow, Call::Take, 0, kNoWait, kUnavailable),
    fails(kHigh, Call::Take, 0, kNoWait, kUnavailable),
    returns(kMiddle),
};

constexpr Step kMutexTimesOut[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    done(kLow, Call::Take, 0, kForever),
    waits(kHigh, Call::Take, 0, 3),
    ticks(2),
    stillWaits(kHigh),
    ticks(1),
    returnsError(kHigh, kTimeout),
    waits(kHigh, Call::Take, 0, 3),
    ticks(2),
    done(kLow, Call::Give, 0),
    ticks(2),
    returns(kHigh),
};

constexpr Step kMutexLendsPriority[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    done(kLow, Call::MakeMutex, 1, kInheriting),
    done(kLow, Call::Take, 0, kForever),
    done(kLow, Call::Take, 1, kForever),
    gives(kOther, Call::Priority, kLowTask, 150),
    waits(kMiddle, Call::Take, 0, kForever),
    gives(kOther, Call::Priority, kLowTask, 100),
    waits(kHigh, Call::Take, 1, kForever),
    gives(kOther, Call::Priority, kLowTask, 50),
    done(kLow, Call::Give, 1),
    returns(kHigh),
    gives(kOther, Call::Priority, kLowTask, 50),  // until the last of them is given
    done(kLow, Call::Give, 0),
    returns(kMiddle),
    gives(kOther, Call::Priority, kLowTask, 150),
};

constexpr Step kMutexLendsAlongAChain[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),  done(kLow, Call::MakeMutex, 1, kInheriting),
    done(kLow, Call::Take, 0, kForever),          done(kOther, Call::Take, 1, kForever),
    waits(kOther, Call::Take, 0, kForever),       waits(kHigh, Call::Take, 1, kForever),
    gives(kMiddle, Call::Priority, kLowTask, 50),
};

constexpr Step kMutexWithoutInheritance[] = {
    done(kLow, Call::MakeMutex, 0, SEM_Q_PRIORITY),
    done(kLow, Call::Take, 0, kForever),
    waits(kHigh, Call::Take, 0, kForever),
    gives(kOther, Call::Priority, kLowTask, 150),
};

constexpr Step kMutexDeleted[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    done(kLow, Call::Take, 0, kForever),
    waits(kHigh, Call::Take, 0, kForever),
    waits(kMiddle, Call::Take, 0, 100),
    done(kOther, Call::DeleteMutex, 0),
    returnsError(kHigh, kDeleted),
    returnsError(kMiddle, kDeleted),
    gives(kOther, Call::Priority, kLowTask, 150),
    fails(kLow, Call::Give, 0, 0, kNoObject),
    fails(kLow, Call::Take, 0, kForever, kNoObject),
    fails(kLow, Call::DeleteMutex, 0, 0, kNoObject),
};

constexpr Step kMutexOptions[] = {
    fails(kLow, Call::MakeMutex, 0, 2, S_semLib_INVALID_QUEUE_TYPE),
    fails(kLow, Call::MakeMutex, 0, 3, S_semLib_INVALID_QUEUE_TYPE),
    fails(kLow, Call::MakeMutex, 0, SEM_Q_PRIORITY | 0x10, S_semLib_INVALID_OPTION),
    fails(kLow, Call::MakeMutex, 0, SEM_INVERSION_SAFE, S_semLib_INVALID_OPTION),
    fails(kLow, Call::Take, 0, kForever, kNoObject),
};

constexpr Step kQueueKeepsOrder[] = {
    done(kLow, Call::MakeFairQueue, 0, 3),
    gives(kLow, Call::CountMessages, 0, 0),
    done(kLow, Call::Send, 0, kNoWait, "one"),
    done(kLow, Call::Send, 0, kNoWait, "two"),
    done(kLow, Call::SendUrgent, 0, kNoWait, "urgent"),
    gives(kHigh, Call::CountMessages, 0, 3),
    gets(kHigh, Call::Receive, 0, "urgent", 6),
    gets(kHigh, Call::Receive, 0, "one", 3),
    done(kLow, Call::Send, 0, kNoWait, "three"),
    done(kLow, Call::Send, 0, kNoWait, ""),
    gets(kHigh, Call::Receive, 0, "two", 3),
    gets(kHigh, Call::Receive, 0, "three", 5),
    gets(kHigh, Call::Receive, 0, "", 0),
    fails(kHigh, Call::Receive, 0, kNoWait, kUnavailable),
};

constexpr Step kQueueFull[] = {
    done(kLow, Call::MakeFairQueue, 0, 2),
    done(kLow, Call::Send, 0, kNoWait, "one"),
    done(kLow, Call::Send, 0, kNoWait, "two"),
    fails(kLow, Call::Send, 0, kNoWait, kUnavailable, "three"),
    fails(kLow, Call::SendUrgent, 0, kNoWait, kUnavailable, "three"),
    gives(kLow, Call::CountMessages, 0, 2),
    waits(kLow, Call::Send, 0, 5, "four"),
    gives(kHigh, Call::CountMessages, 0, 2),
    gets(kHigh, Call::Receive, 0, "one", 3),
    returns(kLow),
    gets(kHigh, Call::Receive, 0, "two", 3),
    gets(kHigh, Call::Receive, 0, "four", 4),
};

constexpr Step kQueueLengths[] = {
    done(kLow, Call::MakeFairQueue, 0, 1),
    fails(kLow, Call::Send, 0, kNoWait, S_msgQLib_INVALID_MSG_LENGTH, "ninebytes"),
    done(kLow, Call::Send, 0, kNoWait, "eightbyt"),
    gets(kHigh, Call::ReceiveShort, 0, "eig", 3),
    fails(kHigh, Call::Receive, 0, kNoWait, kUnavailable),  // the rest is lost
};

constexpr Step kQueueServesByPriority[] = {
    done(kMiddle, Call::MakeFairQueue, 0, 2),
    waits(kLow, Call::Receive, 0, kForever),
    waits(kHigh, Call::Receive, 0, kForever),
    done(kMiddle, Call::Send, 0, kNoWait, "one"),
    returnsText(kHigh, "one", 3),
    stillWaits(kLow),
    gives(kMiddle, Call::CountMessages, 0, 0),
    done(kMiddle, Call::Send, 0, kNoWait, "two"),
    returnsText(kLow, "two", 3),
};

constexpr Step kQueueServesByArrival[] = {
    done(kMiddle, Call::MakeQueue, 0, 2),
    waits(kLow, Call::Receive, 0, kForever),
    waits(kHigh, Call::Receive, 0, kForever),
    done(kMiddle, Call::Send, 0, kNoWait, "one"),
    returnsText(kLow, "one", 3),
    stillWaits(kHigh),
};

constexpr Step kQueueTimesOut[] = {
    done(kLow, Call::MakeFairQueue, 0, 1),
    waits(kHigh, Call::Receive, 0, 2),
    ticks(1),
    stillWaits(kHigh),
    ticks(1),
    returnsError(kHigh, kTimeout),
    done(kLow, Call::Send, 0, kNoWait, "one"),
    waits(kHigh, Call::Send, 0, 2, "two"),
    ticks(2),
    returnsError(kHigh, kTimeout),
    gets(kLow, Call::Receive, 0, "one", 3),
    fails(kLow, Call::Receive, 0, kNoWait, kUnavailable),
};

constexpr Step kQueueDeleted[] = {
    done(kLow, Call::MakeFairQueue, 0, 1),
    waits(kHigh, Call::Receive, 0, kForever),
    done(kLow, Call::DeleteQueue, 0),
    returnsError(kHigh, kDeleted),
    fails(kLow, Call::Send, 0, kNoWait, kNoObject, "one"),
    fails(kLow, Call::Receive, 0, kForever, kNoObject),
    fails(kLow, Call::CountMessages, 0, 0, kNoObject),
    fails(kLow, Call::DeleteQueue, 0, 0, kNoObject),
    fails(kLow, Call::MakeFairQueue, 0, 0, EINVAL),
};

constexpr Step kDelay[] = {
    waits(kLow, Call::Delay, 0, 3),
    waits(kHigh, Call::Delay, 0, 1),
    ticks(1),
    returns(kHigh),
    stillWaits(kLow),
    ticks(1),
    stillWaits(kLow),
    ticks(1),
    returns(kLow),
    done(kLow, Call::Delay, 0, 0),
    fails(kLow, Call::Delay, 0, -1, EINVAL),
};

constexpr Step kTaskDeletedWhileItWaits[] = {
    done(kLow, Call::MakeMutex, 0, kInheriting),
    done(kLow, Call::MakeFairQueue, 0, 1),
    done(kLow, Call::Take, 0, kForever),
    waits(kHigh, Call::Take, 0, kForever),
    waits(kMiddle, Call::Receive, 0, kForever),
    gives(kOther, Call::Priority, kHighTask, 50),
    done(kOther, Call::DeleteTask, kHighTask),
    done(kOther, Call::DeleteTask, static_cast<int>(Who::Middle)),
    fails(kOther, Call::Priority, kHighTask, 0, kNoObject),
    fails(kOther, Call::DeleteTask, kHighTask, 0, kNoObject),
    done(kLow, Call::Give, 0),  // nobody waits for it any more
    done(kOther, Call::Take, 0, kNoWait),
    done(kLow, Call::Send, 0, kNoWait, "one"),
    gets(kOther, Call::Receive, 0, "one", 3),
};

constexpr Step kTaskDeletedWhileItSleeps[] = {
    waits(kLow, Call::Delay, 0, 2),
    done(kHigh, Call::DeleteTask, kLowTask),
    ticks(3),
    stillWaits(kLow),
    fails(kHigh, Call::Priority, kLowTask, 0, kNoObject),
};

constexpr Step kFiles[] = {
    file(Call::Read, "a", "", -1),     file(Call::Append, "a", "one,"), file(Call::Append, "a", "two"),
    file(Call::Read, "a", "one,two"),  file(Call::Write, "a", "three"), file(Call::Read, "a", "three"),
    file(Call::Remove, "a"),           file(Call::Remove, "a", "", -1), file(Call::Read, "a", "", -1),
    file(Call::Write, "no/a", "", -1),
};

constexpr Step kRename[] = {
    file(Call::Rename, "a", "b", -1), file(Call::Write, "a", "one"), file(Call::Rename, "a", "b"),
    file(Call::Read, "a", "", -1),    file(Call::Read, "b", "one"),  file(Call::Write, "a", "two"),
    file(Call::Rename, "a", "b"),  // replaces what is there
    file(Call::Read, "b", "two"),     file(Call::Read, "a", "", -1), file(Call::Remove, "b"),
};

constexpr Step kDirectories[] = {
    file(Call::OpenDirectory, "d", "", -1),
    file(Call::MakeDirectory, "d"),
    file(Call::MakeDirectory, "d", "", -1),
    file(Call::MakeDirectory, "none/d", "", -1),
    file(Call::OpenDirectory, "d"),
    file(Call::Write, "d/a", "one"),
    file(Call::Rename, "d/a", "d/b"),
    file(Call::Read, "d/b", "one"),
    file(Call::Remove, "d", "", -1),  // not a file
    file(Call::Remove, "d/b"),
};

template <size_t kCount>
constexpr Scenario scenario(const char *name, const Step (&steps)[kCount]) {
    return {name, steps, kCount};
}

}  // namespace

const Scenario kScenarios[] = {
    scenario("MutexNests", kMutexNests),
    scenario("MutexGivenByOther", kMutexGivenByOther),
    scenario("MutexServesByPriority", kMutexServesByPriority),
    scenario("MutexServesByArrival", kMutexServesByArrival),
    scenario("MutexHandedOver", kMutexHandedOver),
    scenario("MutexTimesOut", kMutexTimesOut),
    scenario("MutexLendsPriority", kMutexLendsPriority),
    scenario("MutexLendsAlongAChain", kMutexLendsAlongAChain),
    scenario("MutexWithoutInheritance", kMutexWithoutInheritance),
    scenario("MutexDeleted", kMutexDeleted),
    scenario("MutexOptions", kMutexOptions),
    scenario("QueueKeepsOrder", kQueueKeepsOrder),
    scenario("QueueFull", kQueueFull),
    scenario("QueueLengths", kQueueLengths),
    scenario("QueueServesByPriority", kQueueServesByPriority),
    scenario("QueueServesByArrival", kQueueServesByArrival),
    scenario("QueueTimesOut", kQueueTimesOut),
    scenario("QueueDeleted", kQueueDeleted),
    scenario("Delay", kDelay),
    scenario("TaskDeletedWhileItWaits", kTaskDeletedWhileItWaits),
    scenario("TaskDeletedWhileItSleeps", kTaskDeletedWhileItSleeps),
    scenario("Files", kFiles),
    scenario("Rename", kRename),
    scenario("Directories", kDirectories),
};
const size_t kScenarioCount = sizeof kScenarios / sizeof kScenarios[0];

}  // namespace contract
