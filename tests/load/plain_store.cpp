// SPDX-License-Identifier: Apache-2.0
#include "load/plain_store.h"

#include <msgQLib.h>
#include <posixPort.h>
#include <tickLib.h>

#include <atomic>
#include <cstdlib>
#include <ctime>

#include "registry/registry.h"

namespace {

std::atomic<uint32_t> timeNow{1700000000};
std::atomic<int> errnoCallCount{0};
std::atomic<int> errnoLast{0};

}  // namespace

extern "C" {

// The linker's names for the functions that replace calls.
// NOLINTBEGIN(readability-identifier-naming)
time_t __wrap_time(time_t *out) {
    const auto now = static_cast<time_t>(timeNow.load(std::memory_order_relaxed));
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

time_t __wrap___time64(time_t *out) { return __wrap_time(out); }

void __wrap_printErrno(int number) {
    errnoLast = number;
    ++errnoCallCount;
}
// NOLINTEND(readability-identifier-naming)
}

namespace load {

void setTime(uint32_t seconds) { timeNow.store(seconds, std::memory_order_relaxed); }

int errnoCalls() { return errnoCallCount; }

int lastErrno() { return errnoLast; }

void useUtc() {
    setenv("TZ", "UTC", 1);
    tzset();
}

std::string shownTime(uint32_t seconds) {
    const auto time = static_cast<time_t>(seconds);
    struct tm parts = {};
    gmtime_r(&time, &parts);
    char text[32];
    strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", &parts);
    return text;
}

Directory::Directory() {
    char name[] = "/tmp/jornXXXXXX";
    if (mkdtemp(name) == nullptr) {
        abort();
    }
    path_ = name;
}

Directory::~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void pass() {
    posixPortSettle();
    for (int i = 0; i < JORN_STORE_TICKS; ++i) {
        tickAnnounce();
    }
    posixPortSettle();
}

void settle() {
    while (msgQNumMsgs(logMsgCsvStore_ID) > 0) {
        pass();
    }
    pass();
}

bool isQueueFull() { return msgQNumMsgs(logMsgCsvStore_ID) == JORN_QUEUE_MAX; }

}  // namespace load
