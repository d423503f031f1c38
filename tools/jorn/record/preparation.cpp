// SPDX-License-Identifier: Apache-2.0
#include "record/preparation.h"

#include <string>

#include "diagnostics.h"
#include "log/ring_survey.h"
#include "record/ring_fit.h"
#include "record/torn_line.h"
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

/// Of the file that the store goes on with, and of no other: the store appends to none but that.
void endLastLine(const StoreDirectory &directory, const RingSurvey &survey, int files) {
    const std::string done = endTornLine(directory, survey.planFor(files).latest);
    if (!done.empty()) {
        printMessage(done);
    }
}

/// In a fresh directory it is no news that there is no index and no file.
LiveStore::Settings settingsFor(const RingSurvey &survey, int files, const RecordOptions &options) {
    const int printLevel = options.printLevel.value_or(jorn::kPrintError);
    const bool isQuiet = survey.isFresh() && !options.printLevel;
    return {options.slots, files, isQuiet ? 0 : printLevel, printLevel};
}

}  // namespace

LiveStore::Settings prepareDirectory(const StoreDirectory &directory, const RecordOptions &options) {
    jorn_SetDebugPrintLevel(0);  // What is read here is told here, not by the module's parser.
    const RingSurvey survey = surveyRing(directory);
    warnOfLostIndex(directory, survey);
    const int files = fitToRing(directory, survey, options);
    endLastLine(directory, survey, files);
    return settingsFor(survey, files, options);
}

}  // namespace tool
