// SPDX-License-Identifier: Apache-2.0
#include "log/ring_positions.h"

#include <algorithm>
#include <array>
#include <string>

#include "module_limits.h"
#include "ring.h"
#include "store/index_text.h"

namespace tool {
namespace {

bool isPresentIn(int32_t position, const void *files) {
    return (*static_cast<const FilePresence *>(files))[static_cast<size_t>(position)];
}

}  // namespace

std::string textOf(const IndexPositions &positions) {
    return std::to_string(positions.oldest) + "," + std::to_string(positions.latest);
}

std::string indexTextOf(const IndexPositions &positions) {
    std::array<char, jorn::kIndexTextSize> text;
    const int length = jorn::buildIndexText(text.data(), positions.oldest, positions.latest);
    return {text.data(), static_cast<size_t>(length)};
}

std::vector<int> positionsInRange(const IndexPositions &range, int ringSize) {
    const jorn::Ring ring = {ringSize, range.oldest, range.latest};
    const jorn::RingRange walk = ring.range();
    std::vector<int> positions;
    for (int i = walk.oldest; i <= walk.latest; ++i) {
        positions.push_back(ring.position(i));
    }
    return positions;
}

int highestOf(const FilePresence &files) {
    const auto highest = std::find(files.rbegin(), files.rend(), true);
    return static_cast<int>(files.rend() - highest) - 1;
}

int smallestRingFor(const FilePresence &files, std::initializer_list<std::optional<IndexPositions>> indexes) {
    int size = std::max(jorn::kCsvNumMin, highestOf(files) + 1);
    for (const auto &index : indexes) {
        if (index) {
            size = std::max({size, index->oldest + 1, index->latest + 1});
        }
    }
    return size;
}

jorn::TidyingPlan tidyingPlanOf(const FilePresence &files, const IndexPositions &index, int ringSize) {
    jorn::TidyingPlan plan;
    jorn::planTidying({index.oldest, index.latest, ringSize}, isPresentIn, &files, &plan);
    return plan;
}

}  // namespace tool
