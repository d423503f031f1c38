// SPDX-License-Identifier: Apache-2.0
// Times single calls that are not much longer than it takes to ask for the time.
#ifndef JORN_BENCH_CYCLE_CLOCK_H
#define JORN_BENCH_CYCLE_CLOCK_H

#include <cstdint>
#include <vector>

#if defined(__x86_64__)
#include <x86intrin.h>
#else
#include <chrono>
#endif

namespace bench {

/// Where there is a time stamp counter it is read between fences, so that the call stands between the two
/// readings and nothing else does; elsewhere it is the steady clock.
class CycleClock {
public:
    /// Takes some milliseconds to learn the counter's rate and what a pair of readings costs.
    CycleClock();

    static uint64_t now() {
#if defined(__x86_64__)
        _mm_lfence();
        const uint64_t count = __rdtsc();
        _mm_lfence();
        return count;
#else
        return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
    }

    /// Median nanoseconds between two readings with nothing between them.
    double overhead() const { return overhead_; }

    /// Nanoseconds of a call whose two readings differ by so much, less what the readings cost; not below 0.
    double nanoseconds(uint64_t difference) const;

private:
    double nanosecondsPerCount_;
    double overhead_ = 0;
};

/// The value below which a share of the values lies. Sorts them.
double percentile(std::vector<double> *values, double share);

}  // namespace bench

#endif
