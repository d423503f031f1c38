// SPDX-License-Identifier: Apache-2.0
// The scripts that faults are injected into: everything the store does, with few items.
#ifndef JORN_TESTS_FAULTS_WORKLOADS_H
#define JORN_TESTS_FAULTS_WORKLOADS_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "faults/store_driver.h"

namespace faults {

/// Handles of the objects on the directories "a" and "b"; 0 or less when there is none.
struct Handles {
    int32_t a = 0;
    int32_t b = 0;
};

using Script = std::function<void(StoreDriver &, Handles &)>;

struct Workload {
    std::string name;
    Script prepare;  ///< Runs before the faults.
    Script run;      ///< Runs with them.
};

inline std::ostream &operator<<(std::ostream &out, const Workload &workload) { return out << workload.name; }

/// Names the tests that take workloads as their parameters.
struct WorkloadName {
    template <class Info>
    std::string operator()(const Info &info) const {
        return info.param.name;
    }
};

const std::vector<Workload> &workloads();

/// Files of the ring on "a".
inline constexpr int32_t kRingA = 3;

void addItems(StoreDriver &store, int32_t handle, const std::string &prefix, int count);
void passes(StoreDriver &store, int count);
void destroyAll(StoreDriver &store, Handles &handles);

}  // namespace faults

#endif
