// SPDX-License-Identifier: Apache-2.0
#include "ring_survey.h"

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string>

#include "module_limits.h"
#include "regular_file.h"
#include "ring.h"
#include "store/index_text.h"
#include "stream.h"

namespace tool {
namespace {

Stream openIndexFile(const StoreDirectory &directory) {
    Descriptor file = openRegular(directory, kIndexName);
    if (!file.isOpen()) {
        file = openRegular(directory, kIndexBackupName);
    }
    return streamFrom(file);
}

/// As the store reads it; a missing second number is 0.
std::optional<IndexPositions> parseIndex(FILE *index) {
    int32_t version = 0;
    IndexPositions positions;
    return jorn::scanIndexText(index, &version, &positions.oldest, &positions.latest) > 0
               ? std::optional(positions)
               : std::nullopt;
}

bool isPresentIn(int32_t position, const void *survey) {
    return static_cast<const RingSurvey *>(survey)->isPresent[static_cast<size_t>(position)];
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

std::optional<IndexPositions> readIndex(const StoreDirectory &directory) {
    const Stream index = openIndexFile(directory);
    return index ? parseIndex(index.get()) : std::nullopt;
}

std::optional<IndexPositions> readIndexIfFile(const StoreDirectory &directory) {
    for (const char *const name : {kIndexName, kIndexBackupName}) {
        struct stat status;
        const bool isThere = fstatat(directory.descriptor(), name, &status, 0) == 0;
        if (isThere && S_ISREG(status.st_mode)) {
            return readIndex(directory);
        }
        if (isThere || errno == ELOOP) {
            return std::nullopt;
        }
    }
    return readIndex(directory);
}

int RingSurvey::highestFile() const {
    const auto highest = std::find(isPresent.rbegin(), isPresent.rend(), true);
    return static_cast<int>(isPresent.rend() - highest) - 1;
}

int RingSurvey::smallestRing() const {
    const IndexPositions named = positions();
    return std::max({jorn::kCsvNumMin, highestFile() + 1, named.oldest + 1, named.latest + 1});
}

jorn::TidyingPlan RingSurvey::planFor(int ringSize) const {
    const IndexPositions named = positions();
    jorn::TidyingPlan plan;
    jorn::planTidying({named.oldest, named.latest, ringSize}, isPresentIn, this, &plan);
    return plan;
}

bool operator==(const RingSurvey &a, const RingSurvey &b) {
    return a.index == b.index && a.isPresent == b.isPresent;
}

RingSurvey surveyRing(const StoreDirectory &directory) {
    RingSurvey survey;
    survey.index = readIndex(directory);
    for (size_t position = 0; position < survey.isPresent.size(); ++position) {
        survey.isPresent[position] =
            openRegular(directory, dataFileName(static_cast<int>(position))).isOpen();
    }
    return survey;
}

RingSurvey surveyNames(const StoreDirectory &directory) {
    RingSurvey survey;
    survey.index = readIndexIfFile(directory);
    for (size_t position = 0; position < survey.isPresent.size(); ++position) {
        const std::string name = dataFileName(static_cast<int>(position));
        struct stat status;
        survey.isPresent[position] = fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0;
    }
    return survey;
}

}  // namespace tool
