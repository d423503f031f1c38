// SPDX-License-Identifier: Apache-2.0
// What one failure costs: for every purpose that the module makes a call for, the message that must report
// the failure and the items that are lost by it.
#ifndef JORN_TESTS_FAULTS_FAILURE_COSTS_H
#define JORN_TESTS_FAULTS_FAILURE_COSTS_H

#include <string>
#include <vector>

#include "support/probe.h"

namespace faults {

/// Items that are in no data file afterwards, although they were before or a submission accepted them.
enum class Loss {
    kNone,
    kItem,           ///< The item in hand.
    kItemAndNext,    ///< That one, and the next of the file, which continues its torn line.
    kBuffered,       ///< The items that were not on the medium yet.
    kFile,           ///< Every item of one file, at most.
    kUnlessTaken,    ///< None, but submissions to the object that was not made are refused.
    kEverySubmitted  ///< What is submitted until a restart: no task writes it.
};

struct FailureCost {
    std::string role;
    std::vector<probe::Way> ways;  ///< Empty: every way.
    std::string message;           ///< Its first one, numbers as "#"; empty when there is none.
    Loss loss;
    bool isAlwaysTold = true;  ///< The message is printed at every place, not only where the failure matters.
};

/// The row for a purpose and a way; null when there is none.
const FailureCost *findFailureCost(const std::string &role, probe::Way way);

}  // namespace faults

#endif
