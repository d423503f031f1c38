// SPDX-License-Identifier: Apache-2.0
#include "record/own_files.h"

#include "log/directory_look.h"
#include "module_limits.h"
#include "system/failure.h"

namespace tool {
namespace {

Entry refuseForeign(const StoreDirectory &directory, const std::string &name) {
    const Entry entry = lookAtEntry(directory, name);
    const std::string flaw = entry.flaw();
    if (!flaw.empty()) {
        throw Failure(directory.pathOf(name) + ": " + flaw);
    }
    return entry;
}

/// Index files may have other hard links, as nothing is written into an existing one.
void refuseForeignIndex(const StoreDirectory &directory) {
    refuseForeign(directory, kIndexName);
    refuseForeign(directory, kIndexBackupName);
}

void refuseForeignDataFile(const StoreDirectory &directory, int position) {
    const std::string name = dataFileName(position);
    if (refuseForeign(directory, name).names > 1) {
        throw Failure(
            directory.pathOf(name) +
            ": has another name elsewhere, so that items would be written there too; put a copy in its "
            "place");
    }
}

}  // namespace

void refuseForeignFiles(const StoreDirectory &directory) {
    refuseForeignIndex(directory);
    for (int position = 0; position < jorn::kCsvNumMax; ++position) {
        refuseForeignDataFile(directory, position);
    }
}

void refuseForeignFilesOfRotation(const StoreDirectory &directory, int position) {
    refuseForeignIndex(directory);
    refuseForeignDataFile(directory, position);
}

}  // namespace tool
