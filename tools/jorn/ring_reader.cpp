// SPDX-License-Identifier: Apache-2.0
#include "ring_reader.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "failure.h"
#include "platform.h"
#include "registry/registry.h"

namespace tool {
namespace {

constexpr int32_t kReaderHandle = 1;

/// The index is unreadable for a moment while a writer replaces it; a look at that moment is repeated.
RingSurvey surveyBetweenRewrites(const StoreDirectory &directory) {
    constexpr int kTries = 20;
    constexpr useconds_t kPauseMicroseconds = 1000;
    RingSurvey survey = surveyRing(directory);
    for (int tries = 1; tries < kTries && !survey.index && survey.highestFile() >= 0; ++tries) {
        usleep(kPauseMicroseconds);
        survey = surveyRing(directory);
    }
    return survey;
}

struct PlanSummary {
    int moved = 0;
    int deleted = 0;
};

PlanSummary summarisePlan(const jorn::TidyingPlan &plan) {
    PlanSummary summary;
    for (int32_t position = 0; position < jorn::kSurveySize; ++position) {
        const int32_t target = plan.moveTable[position];
        if (target == jorn::kSurplus) {
            ++summary.deleted;
        } else if (target != position) {
            ++summary.moved;
        }
    }
    return summary;
}

}  // namespace

RingReader::RingReader(const StoreDirectory &directory, std::optional<int> ringSize)
    : directory_(directory), survey_(surveyBetweenRewrites(directory)) {
    const int files = ringSize.value_or(survey_.smallestRing());
    const jorn::TidyingPlan plan = survey_.planFor(files);
    summaries_.resize(static_cast<size_t>(files));
    object_.handle_id = kReaderHandle;
    object_.level_max = jorn::kLevelMax;
    object_.slot_max = jorn::kSlotMax;
    object_.csv_num = files;
    object_.index_version = jorn::kIndexVersion;
    object_.csv_oldest = plan.oldest;
    object_.csv_latest = plan.latest;
    object_.csv_info = summaries_.data();
    placeFiles(plan);
    noteState(plan);
    jorn_SetDebugPrintLevel(0);  // The module prints on standard output, which belongs to the items.
    summarise();
    enterRegistry();
}

RingReader::~RingReader() {
    jorn_obj_ptr = nullptr;
    semDelete(logSemCsvRW_ID);
}

/// Lets the object see each file at the position that the store's start-up would give it.
void RingReader::placeFiles(const jorn::TidyingPlan &plan) {
    std::string name = directory_.shortName();
    if (summarisePlan(plan).moved > 0) {
        links_ = std::make_unique<LinkDirectory>();
        for (int32_t position = 0; position < jorn::kSurveySize; ++position) {
            const int32_t target = plan.moveTable[position];
            if (survey_.isPresent[static_cast<size_t>(position)] && target != jorn::kSurplus) {
                links_->add(dataFileName(target), name + "/" + dataFileName(position));
            }
        }
        name = links_->shortName();
    }
    strncpy(object_.dirName, name.c_str(), sizeof object_.dirName - 1);
}

void RingReader::noteState(const jorn::TidyingPlan &plan) {
    if (!survey_.index && survey_.highestFile() >= 0) {
        notes_.push_back(directory_.path() +
                         ": the index is missing or damaged: only the items of 0.csv are in view, as for "
                         "the store itself");
    }
    const PlanSummary summary = summarisePlan(plan);
    if (summary.moved > 0 || summary.deleted > 0) {
        notes_.push_back(directory_.path() + ": not tidy: the store's next start would rename " +
                         std::to_string(summary.moved) + " and delete " + std::to_string(summary.deleted) +
                         " of its files; shown is what it would see then");
    }
}

void RingReader::summarise() {
    const jorn::RingRange range = jorn::validRange(object_);
    for (int32_t i = range.latest; i >= range.oldest; --i) {
        const int32_t position = jorn::ringPosition(object_, i);
        // A missing file leaves an empty summary, as it does for the store.
        jorn_AnalyseOneCsvInfo(&object_, position, &object_.csv_info[position]);
    }
}

void RingReader::enterRegistry() {
    logSemCsvRW_ID = semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE);
    if (logSemCsvRW_ID == nullptr) {
        throw Failure("no semaphore can be had");
    }
    jorn_obj_ptr = &object_;
}

int32_t RingReader::count(const JORN_REQUIRE &require) const {
    return std::max(JORN_CountRequireTotalNum(kReaderHandle, require), 0);
}

PageResult RingReader::page(const JORN_REQUIRE &require) const {
    PageResult result;
    result.number = std::max(JORN_GetRequireLog(kReaderHandle, require, &result.page), 0);
    // Counted afterwards: a file that is being written only grows, so the page lies within the count.
    result.total = count(require);
    return result;
}

bool RingReader::isCurrent() const { return surveyRing(directory_) == survey_; }

}  // namespace tool
