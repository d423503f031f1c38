// SPDX-License-Identifier: Apache-2.0
#include "ring_view.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "file_bytes.h"
#include "regular_file.h"

namespace tool {
namespace {

/// The index is unreadable for a moment while a writer replaces it; a look at that moment is repeated.
RingSurvey surveyBetweenRewrites(const StoreDirectory &directory) {
    constexpr int kTries = 20;
    constexpr useconds_t kPauseMicroseconds = 1000;
    RingSurvey survey = surveyNames(directory);
    for (int tries = 1; tries < kTries && !survey.index && survey.highestFile() >= 0; ++tries) {
        usleep(kPauseMicroseconds);
        survey = surveyNames(directory);
    }
    return survey;
}

/// Up to so much of a file's begin tells it from another one: dozens of items with their times.
constexpr size_t kBeginSize = 4096;

uint64_t sizeOf(const Descriptor &file) {
    struct stat status = {};
    return fstat(file.get(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

}  // namespace

bool RingFile::hasBegin() const { return bytesAt(file.get(), 0, begin.size()) == begin; }

RingView::RingView(const StoreDirectory &directory, std::optional<int> ringSize)
    : directory_(directory),
      survey_(surveyBetweenRewrites(directory)),
      ringSize_(ringSize.value_or(survey_.smallestRing())),
      plan_(survey_.planFor(ringSize_)) {
    jorn_SetDebugPrintLevel(0);  // The module prints on standard output, which belongs to the items.
    summarisePlan();
    noteState();
    openFiles();
}

void RingView::summarisePlan() {
    for (int32_t position = 0; position < jorn::kSurveySize; ++position) {
        const int32_t target = plan_.moveTable[position];
        if (target == jorn::kSurplus) {
            ++deleted_;
        } else if (target != position) {
            ++moved_;
        }
    }
}

void RingView::noteState() {
    if (!survey_.index && survey_.highestFile() >= 0) {
        damage_.addText(directory_.path() +
                        ": the index is missing or damaged: only the items of 0.csv are in view, as for "
                        "the store itself; see jorn check");
    }
    if (moved_ > 0 || deleted_ > 0) {
        notes_.push_back(directory_.path() + ": not tidy: the store's next start would rename " +
                         std::to_string(moved_) + " and delete " + std::to_string(deleted_) +
                         " of its files; shown is what it would see then");
    }
}

void RingView::openFiles() {
    std::array<int, jorn::kSurveySize> numberAt{};
    numberAt.fill(-1);
    for (int32_t number = 0; number < jorn::kSurveySize; ++number) {
        const int32_t target = plan_.moveTable[number];
        if (survey_.isPresent[static_cast<size_t>(number)] && target != jorn::kSurplus) {
            numberAt[static_cast<size_t>(target)] = number;
        }
    }
    const jorn::Ring ring = {ringSize_, plan_.oldest, plan_.latest};
    const jorn::RingRange range = ring.range();
    for (int32_t i = range.oldest; i <= range.latest; ++i) {
        const int position = ring.position(i);
        const int number = numberAt[static_cast<size_t>(position)];
        if (number >= 0) {
            openFile(number, position);
            files_.back().isNewest = i == range.latest;
        }
    }
}

void RingView::openFile(int number, int position) {
    const std::string name = dataFileName(number);
    RingFile file;
    file.number = number;
    file.position = position;
    file.path = directory_.pathOf(name);
    try {
        file.file = openRegular(directory_, name);
    } catch (const Failure &failure) {
        damage_.addText(std::string(failure.what()) + "; its items are left out");
    }
    if (file.file.isOpen()) {
        file.begin = bytesAt(file.file.get(), 0, kBeginSize);
        file.size = sizeOf(file.file);
    }
    files_.push_back(std::move(file));
}

void RingView::settleEnd() {
    for (RingFile &file : files_) {
        if (file.isNewest && file.file.isOpen()) {
            settleEndOf(&file);
        }
    }
}

void RingView::settleEndOf(RingFile *file) {
    constexpr int kTries = 20;
    constexpr useconds_t kPauseMicroseconds = 10000;
    const auto endSize = static_cast<size_t>(std::min<uint64_t>(file->size, jorn::kLineMax));
    const uint64_t endBegin = file->size - endSize;
    const std::string end = bytesAt(file->file.get(), endBegin, endSize);
    const size_t feed = end.rfind('\n');
    if (end.size() < endSize || feed == std::string::npos || feed + 1 == endSize) {
        return;
    }
    bool isGrowing = sizeOf(file->file) > file->size;
    for (int tries = 1; tries < kTries && !isGrowing; ++tries) {
        usleep(kPauseMicroseconds);
        isGrowing = sizeOf(file->file) > file->size;
    }
    file->size = isGrowing ? endBegin + feed + 1 : file->size;
}

bool RingView::isCurrent() const { return surveyNames(directory_) == survey_; }

}  // namespace tool
