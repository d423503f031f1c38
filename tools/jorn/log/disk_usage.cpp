// SPDX-License-Identifier: Apache-2.0
#include "log/disk_usage.h"

#include "module_limits.h"

namespace tool {
namespace {

void add(const Entry &entry, DiskUsage *usage) {
    if (entry.isFile()) {
        ++usage->files;
        usage->bytes += static_cast<uint64_t>(entry.mark.size);
        usage->allocated += entry.allocated;
    }
}

}  // namespace

DiskUsage diskUsageOf(const DirectoryLook &look) {
    DiskUsage usage;
    for (const NamedEntry &file : look.files) {
        add(file.target, &usage);
    }
    add(look.index.target, &usage);
    add(look.backup.target, &usage);
    return usage;
}

uint64_t largestRing(int ringSize) {
    return static_cast<uint64_t>(ringSize) * jorn::kCsvItemMax * jorn::kItemLineMax;
}

}  // namespace tool
