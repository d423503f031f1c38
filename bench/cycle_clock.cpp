// SPDX-License-Identifier: Apache-2.0
#include "cycle_clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace bench {
namespace {

double measureRate() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const uint64_t startCount = CycleClock::now();
    while (Clock::now() - start < std::chrono::milliseconds(20)) {
    }
    const uint64_t count = CycleClock::now() - startCount;
    const std::chrono::duration<double, std::nano> elapsed = Clock::now() - start;
    return elapsed.count() / static_cast<double>(count);
}

}  // namespace

CycleClock::CycleClock() : nanosecondsPerCount_(measureRate()) {
    constexpr size_t kPairs = 10001;
    std::vector<double> pairs;
    pairs.reserve(kPairs);
    while (pairs.size() < kPairs) {
        const uint64_t first = now();
        pairs.push_back(nanoseconds(now() - first));
    }
    overhead_ = percentile(&pairs, 0.5);
}

double CycleClock::nanoseconds(uint64_t difference) const {
    return std::max(0.0, static_cast<double>(difference) * nanosecondsPerCount_ - overhead_);
}

double percentile(std::vector<double> *values, double share) {
    std::sort(values->begin(), values->end());
    const auto rank = static_cast<size_t>(std::ceil(share * static_cast<double>(values->size())));
    return (*values)[std::max<size_t>(rank, 1) - 1];
}

}  // namespace bench
