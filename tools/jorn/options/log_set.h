// SPDX-License-Identifier: Apache-2.0
// The logs that a command reads together.
#ifndef JORN_TOOLS_LOG_SET_H
#define JORN_TOOLS_LOG_SET_H

#include <time.h>

#include <string>
#include <vector>

#include "options/filter_options.h"
#include "query/question.h"
#include "system/failure.h"

namespace tool {

struct NamedLog {
    Question question;
    std::string name;   ///< Distinct from those of the others; empty where it is the only one.
    std::string front;  ///< The same as wide as the widest, for the front of a line.
    size_t place = 0;   ///< In the order of the arguments.
};

struct LogSet {
    std::vector<NamedLog> logs;  ///< Those that can be read, in the order of the arguments.
    bool isSeveral = false;      ///< Several were named, however many of them can be read.
    int exitCode = 0;            ///< The highest of those that cannot be read, which have been reported.
};

/// Opens the logs. A directory that is the only one is refused where it is no log; of several the others are
/// still read. A name of a level or slot must be known in one of them at least. Throws Failure.
LogSet openLogs(const FilterOptions &options, time_t now);

/// Refuses a name that none of the logs knows: each has given those that it does not know. Throws Failure.
void refuseUnknownInAll(const std::vector<UnknownNames> &unknown);

/// The names of logs, each as wide as the widest.
std::vector<std::string> frontsOf(std::vector<std::string> names);

/// The names for showing that all of them have alike.
Names namesOfAll(const LogSet &set);

/// The levels that the filter of any of them passes.
LevelSet levelsOfAny(const LogSet &set);

/// Does something with a log. Where it fails, and there are others, reports why and returns the exit code;
/// otherwise returns what `read` returns.
template <class Read>
int readOneOf(bool isSeveral, const Read &read) {
    try {
        return read();
    } catch (const Failure &failure) {
        if (!isSeveral) {
            throw;
        }
        printMessage(failure.what());
        return failure.exitCode();
    }
}

}  // namespace tool

#endif
