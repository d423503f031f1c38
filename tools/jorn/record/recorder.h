// SPDX-License-Identifier: Apache-2.0
// Recording: from standard input through the store into a directory.
#ifndef JORN_TOOLS_RECORDER_H
#define JORN_TOOLS_RECORDER_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "jorn.h"

namespace tool {

struct RecordOptions {
    std::string directory;
    std::optional<int> files;
    int slots = JORN_SLOT_MAX;
    int level = 2;
    int slot = 0;
    bool keepsGoing = false;
    bool maySplit = false;
    bool mayShrink = false;
    std::string ifUnclear = "refuse";  ///< Or "aside": what becomes of a ring whose order cannot be told.
    bool hasPrefixes = false;          ///< Lines may have a severity, "<N>", at their beginning.
    bool syncs = false;                ///< Brings what is recorded to the medium.
    bool hasStats = false;
    bool isStatsJson = false;  ///< The form of the statistics; else text.
    std::optional<int> printLevel;
    std::optional<mode_t> mode;  ///< Of the directory, and without the right to execute of the log's files.
};

/// Stores standard input until its end or a stop signal, with standard output turned to standard error
/// for the store's messages. Throws Failure when a line is not in the files, or nothing can be recorded.
void record(const RecordOptions &options);

}  // namespace tool

#endif
