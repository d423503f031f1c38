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
    std::string crash;  ///< how its process ended, when not well
};

/// The figures of each run, and sums; the number of images.
size_t printFigures(const std::vector<Result> &results);
/// The same, one line a run, fields apart by tabs.
bool writeTable(const std::string &path, const std::vector<Result> &results);
/// The first fault of each run that has one, with the command that repeats it. True when there is none.
bool printFaults(const std::vector<Result> &results);

}  // namespace flash

#endif
