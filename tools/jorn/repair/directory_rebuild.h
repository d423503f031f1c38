// SPDX-License-Identifier: Apache-2.0
// Carries out a repair: builds the repaired directory next to the damaged one and exchanges them in one step,
// so that even after an interruption the log's name refers to one of them, whole.
#ifndef JORN_TOOLS_DIRECTORY_REBUILD_H
#define JORN_TOOLS_DIRECTORY_REBUILD_H

#include <functional>
#include <string>

#include "health/repair_plan.h"
#include "log/store_directory.h"

namespace tool {

/// Where the damaged directory is kept: next to it, with the time in its name.
std::string defaultBackupPath(const std::string &directory);

struct RebuildOptions {
    std::string backup;                       ///< Path where the damaged directory is kept. Must not exist.
    std::function<void()> afterStep = [] {};  ///< Called after each change on the medium.
};

/// The former directory becomes the backup, its files untouched, and for each mended file gets a text that
/// lists what was cut: "torn-3.txt". Throws Failure; then the directory is as it was.
void rebuildDirectory(const StoreDirectory &directory, const Diagnosis &diagnosis, const RepairPlan &plan,
                      const RebuildOptions &options);

}  // namespace tool

#endif
