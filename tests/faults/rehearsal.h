// SPDX-License-Identifier: Apache-2.0
// One script with its faults, run on the module and on the model, followed by what must work once the faults
// have ended: continuing, and a restart.
#ifndef JORN_TESTS_FAULTS_REHEARSAL_H
#define JORN_TESTS_FAULTS_REHEARSAL_H

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "faults/expected_store.h"
#include "faults/real_store.h"
#include "faults/workloads.h"
#include "support/module_test.h"

namespace faults {

/// The results, the same for module and model, or else the test has failed.
struct Outcome {
    std::vector<std::string> calls;      ///< Of the script.
    std::vector<std::string> roles;      ///< What each of those is for.
    std::vector<std::string> messages;   ///< Of the script, directories shortened.
    std::set<std::string> stored;        ///< Texts of whole items on the medium after continuing.
    std::set<std::string> accepted;      ///< Texts that submissions accepted.
    std::vector<std::string> goneOn;     ///< The newest three items after continuing.
    std::vector<std::string> restarted;  ///< The newest three items after a restart.
};

/// Texts of all data file lines that have the form of items.
std::set<std::string> itemsIn(const Files &files);

/// Runs a script with faults on module and model, compares everything they did, and returns it.
Outcome rehearse(const Workload &workload, const std::vector<Fault> &faults);

}  // namespace faults

#endif
