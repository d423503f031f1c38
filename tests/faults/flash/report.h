// SPDX-License-Identifier: Apache-2.0
// What a run of the rig prints.
#ifndef JORN_TESTS_FAULTS_FLASH_REPORT_H
#define JORN_TESTS_FAULTS_FLASH_REPORT_H

#include <string>

#include "cut_run.h"

namespace flash {

/// One run of one workload.
struct Result {
    std::string workload;
    Platform platform;
    const Figures *figures = nullptr;
    std::string crash;  ///< how its process ended, when not normally
};

/// Prints the figures of each run, and their sums. Returns the number of images.
size_t printFigures(const std::vector<Result> &results);
/// Writes the same, one line per run, fields separated by tabs.
bool writeTable(const std::string &path, const std::vector<Result> &results);
/// Prints the first fault of each run that has one, with the command that repeats it. Returns true when there
/// is none.
bool printFaults(const std::vector<Result> &results);

}  // namespace flash

#endif
