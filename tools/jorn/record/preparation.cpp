// SPDX-License-Identifier: Apache-2.0
#include "record/preparation.h"

#include <string>

#include "diagnostics.h"
#include "log/ring_survey.h"
#include "record/ring_fit.h"
#include "system/failure.h"

namespace tool {
namespace {

void warnOfLostIndex(const StoreDirectory &directory, const RingSurvey &survey) {
    if (!survey.index && !survey.isFresh()) {
        printMessage("warning: " + directory.path() +
                     ": the index is missing or damaged: the store starts over at 0.csv");
    }
}

/// Returns the size of the ring.
int fitToRing(const StoreDirectory &directory, const RingSurvey &survey, const RecordOptions &options) {
    const int files = chooseRingSize(directory, survey, options.files, options.mayShrink);
    const int changed = fitRing(directory, survey, files);
    if (changed > 0) {
        printMessage(directory.path() + ": " + std::to_string(changed) +
                     " files renamed or deleted for a ring of " + std::to_string(files));
    }
    return files;
}

/// In a fresh directory it is no news that there is no index and no file.
LiveStore::Settings settingsFor(const RingSurvey &survey, int files, const RecordOptions &options) {
    const int printLevel = options.printLevel.value_or(jorn::kPrintError);
    const bool isQuiet = survey.isFresh() && !options.printLevel;
    return {options.slots, files, isQuiet ? 0 : printLevel, printLevel};
}

}  // namespace

LiveStore::Settings prepareDirectory(const StoreDirectory &directory, const RecordOptions &options) {
    const RingSurvey survey = surveyRing(directory);
    warnOfLostIndex(directory, survey);
    const int files = fitToRing(directory, survey, options);
    return settingsFor(survey, files, options);
}

}  // namespace tool
