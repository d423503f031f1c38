// SPDX-License-Identifier: Apache-2.0
// Times single calls that take little longer than reading the clock.
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

/// A time stamp counter, where there is one, is read between fences, so that nothing but the call is between
/// the two readings; elsewhere the steady clock is used.
class CycleClock {
public:
    /// Takes some milliseconds to measure the counter's rate and what a pair of readings costs.
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

    /// Nanoseconds of a call whose two readings differ by `difference`, less what the readings cost; not
    /// below 0.
    double nanoseconds(uint64_t difference) const;

private:
    double nanosecondsPerCount_;
    double overhead_ = 0;
};

/// The value below which the given share of the values is. Sorts them.
double percentile(std::vector<double> *values, double share);

}  // namespace bench

#endif
