// SPDX-License-Identifier: Apache-2.0
#include "log/ring_positions.h"

#include <inttypes.h>
#include <stdio.h>

#include <algorithm>
#include <string>

#include "log/regular_file.h"
#include "module_limits.h"
#include "system/stream.h"

namespace tool {
namespace {

/// Any number that a line may hold, brought into 32 bits.
int32_t saturated(int64_t number) {
    return static_cast<int32_t>(std::clamp<int64_t>(number, INT32_MIN, INT32_MAX));
}

/// As the store reads it: blanks between the parts do not matter, and a missing second number is 0.
std::optional<IndexPositions> parseIndex(FILE *index) {
    int64_t version = 0;
    int64_t oldest = 0;
    int64_t latest = 0;
    if (fscanf(index, "version:%" SCNd64 "\n", &version) < 1 || version != jorn::kIndexVersion) {
        return std::nullopt;
    }
    if (fscanf(index, "%" SCNd64 ",%" SCNd64, &oldest, &latest) < 1) {
        return std::nullopt;
    }
    if (oldest >= jorn::kCsvNumMax || latest >= jorn::kCsvNumMax) {
        return std::nullopt;
    }
    return IndexPositions{saturated(oldest), saturated(latest)};
}

bool isPresentIn(int32_t position, const void *files) {
    return (*static_cast<const FilePresence *>(files))[static_cast<size_t>(position)];
}

}  // namespace

std::string textOf(const IndexPositions &positions) {
    return std::to_string(positions.oldest) + "," + std::to_string(positions.latest);
}

std::string indexTextOf(const IndexPositions &positions) {
    return "version:" + std::to_string(jorn::kIndexVersion) + "\n" + textOf(positions) + "\n";
}

std::vector<int> positionsInRange(const IndexPositions &range, int ringSize) {
    const int end = range.latest < range.oldest ? range.latest + ringSize : range.latest;
    std::vector<int> positions;
    for (int i = range.oldest; i <= end; ++i) {
        positions.push_back(i % ringSize);
    }
    return positions;
}

std::optional<IndexPositions> readIndex(const StoreDirectory &directory) {
    const Descriptor index = openRegular(directory, kIndexName);
    return index.isOpen() ? readIndex(index) : readIndex(openRegular(directory, kIndexBackupName));
}

std::optional<IndexPositions> readIndex(const Descriptor &file) {
    const Stream index = streamFrom(file);
    return index ? parseIndex(index.get()) : std::nullopt;
}

int highestOf(const FilePresence &files) {
    const auto highest = std::find(files.rbegin(), files.rend(), true);
    return static_cast<int>(files.rend() - highest) - 1;
}

jorn::TidyingPlan tidyingPlanOf(const FilePresence &files, const IndexPositions &index, int ringSize) {
    jorn::TidyingPlan plan;
    jorn::planTidying({index.oldest, index.latest, ringSize}, isPresentIn, &files, &plan);
    return plan;
}

}  // namespace tool
