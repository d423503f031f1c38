// SPDX-License-Identifier: Apache-2.0
#include "log/disk_usage.h"

#include <sys/stat.h>

#include "module_limits.h"

namespace tool {
namespace {

constexpr uint64_t kBlock = 512;  ///< Of st_blocks, whatever the file system's own.

void add(const StoreDirectory &directory, const std::string &name, DiskUsage *usage) {
    struct stat status;
    if (fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0 && S_ISREG(status.st_mode)) {
        ++usage->files;
        usage->bytes += static_cast<uint64_t>(status.st_size);
        usage->allocated += static_cast<uint64_t>(status.st_blocks) * kBlock;
    }
}

}  // namespace

DiskUsage diskUsageOf(const StoreDirectory &directory) {
    DiskUsage usage;
    for (int position = 0; position < jorn::kCsvNumMax; ++position) {
        add(directory, dataFileName(position), &usage);
    }
    add(directory, kIndexName, &usage);
    add(directory, kIndexBackupName, &usage);
    return usage;
}

uint64_t largestRing(int ringSize) {
    return static_cast<uint64_t>(ringSize) * jorn::kCsvItemMax * jorn::kItemLineMax;
}

}  // namespace tool
