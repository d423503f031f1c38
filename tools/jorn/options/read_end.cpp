// SPDX-License-Identifier: Apache-2.0
#include "options/read_end.h"

#include <algorithm>

#include "system/failure.h"

namespace tool {

void ReadEnd::takeFrom(const RingView &view) {
    notes = view.notes();
    for (const std::string &text : view.damage().texts()) {
        damage.addText(text);
    }
}

int endReading(const FilterOptions &options, const Question &question, const ReadEnd &end, bool hasMatch) {
    for (const std::vector<std::string> *const notes : {&question.notes, &end.notes}) {
        for (const std::string &note : *notes) {
            printMessage("note: " + note);
        }
    }
    for (const std::string &loss : end.damage.losses()) {
        printMessage("note: " + loss);
    }
    for (const std::string &text : end.damage.texts()) {
        printMessage("note: " + text);
    }
    if (!end.damage.isEmpty()) {
        return kExitDamage;
    }
    return isMatchAsked(options) && !hasMatch ? kExitNoMatch : kExitDone;
}

int endReading(const FilterOptions &options, const LogSet &set, const std::vector<ReadEnd> &ends,
               bool hasMatch) {
    int exitCode = set.exitCode;
    for (size_t log = 0; log < set.logs.size(); ++log) {
        exitCode = std::max(exitCode, endReading(options, set.logs[log].question, ends[log], hasMatch));
    }
    return exitCode;
}

}  // namespace tool
