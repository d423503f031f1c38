// SPDX-License-Identifier: Apache-2.0
// Carries out a repair: builds the repaired directory beside the damaged one and puts it in its place at
// one stroke, so that whatever is cut short, the name of the log stands for the one or the other, whole.
#ifndef JORN_TOOLS_DIRECTORY_REBUILD_H
#define JORN_TOOLS_DIRECTORY_REBUILD_H

#include <functional>
#include <string>

#include "health/repair_plan.h"
#include "log/store_directory.h"

namespace tool {

/// Where the damaged directory is kept: beside it, with the time in its name.
std::string defaultBackupPath(const std::string &directory);

struct RebuildOptions {
    std::string backup;                       ///< Path that the damaged directory gets. Must not exist.
    std::function<void()> afterStep = [] {};  ///< Called when something has changed on the medium.
};

/// The directory as it was becomes the backup, its files untouched, and gets a text beside them for each
/// mended file that lists what was cut: "torn-3.txt". Throws Failure; then the directory is as it was.
void rebuildDirectory(const StoreDirectory &directory, const Diagnosis &diagnosis, const RepairPlan &plan,
                      const RebuildOptions &options);

}  // namespace tool

#endif
