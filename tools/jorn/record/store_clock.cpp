// SPDX-License-Identifier: Apache-2.0
#include "record/store_clock.h"

#include <time.h>

#include <atomic>

namespace tool {
namespace {

constexpr int64_t kMachineClock = -1;
std::atomic<int64_t> setSecond{kMachineClock};

/// The time as time() itself returns it.
time_t machineTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec;
}

}  // namespace

StoreClock::~StoreClock() { setSecond = kMachineClock; }

void StoreClock::set(uint32_t second) { setSecond.store(second, std::memory_order_relaxed); }

}  // namespace tool

extern "C" {

// The linker's names for the functions that replace the wrapped ones.
// NOLINTBEGIN(readability-identifier-naming)
time_t __wrap_time(time_t *out) {
    const int64_t set = tool::setSecond.load(std::memory_order_relaxed);
    const time_t now = set == tool::kMachineClock ? tool::machineTime() : static_cast<time_t>(set);
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

time_t __wrap___time64(time_t *out) { return __wrap_time(out); }
// NOLINTEND(readability-identifier-naming)
}
