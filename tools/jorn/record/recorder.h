// SPDX-License-Identifier: Apache-2.0
// Recording: from standard input through the store into a directory.
#ifndef JORN_TOOLS_RECORDER_H
#define JORN_TOOLS_RECORDER_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "jorn.h"
#include "log/names.h"

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
    bool isForced = false;             ///< Begins a log in a directory with files that are no log's.
    bool makesParents = false;         ///< Makes the directories above the log's own one, too.
    std::string ifUnclear = "refuse";  ///< Or "aside": what becomes of a ring whose order cannot be told.
    bool hasPrefixes = false;          ///< Lines may have a severity, "<N>", at their beginning.
    bool syncs = false;                ///< Brings what is recorded to the medium.
    std::string format = "lines";      ///< Or "jsonl": what an export writes.
    std::string times;                 ///< Form of the times that lines begin with; empty for none.
    std::optional<uint32_t> bootTime;  ///< When the kernel of a "kmsg" started; else this machine's.
    std::vector<std::string> command;  ///< Whose outputs are the input; empty for standard input.
    int errorLevel = 1;                ///< Of what the command prints on standard error.
    bool tees = false;                 ///< Passes the input on to standard output and error.
    Names names;                       ///< For items that name their level or slot.
    bool hasStats = false;
    bool isStatsJson = false;  ///< The form of the statistics; else text.
    std::optional<int> printLevel;
    std::optional<mode_t> mode;  ///< Of the directory, and without the right to execute of the log's files.

    bool isJson() const { return format == "jsonl"; }
};

/// Stores standard input until its end or a stop signal, or what a command prints until it has ended. Returns
/// the exit code of the command, 0 without one. Throws Failure when a line is not in the files, or nothing
/// can be recorded; of damage, at the end, when some of the input was no item.
int record(const RecordOptions &options);

}  // namespace tool

#endif
