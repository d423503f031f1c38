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
    bool isForced = false;             ///< Begin a log in a directory whose files belong to no log.
    bool makesParents = false;         ///< Make missing parent directories, too.
    std::string ifUnclear = "refuse";  ///< Or "aside": what to do with a ring of unclear order.
    bool hasPrefixes = false;          ///< Lines may begin with a severity, "<N>".
    bool syncs = false;                ///< Sync what is recorded to the medium.
    std::string format = "lines";      ///< Or "jsonl": what an export writes.
    std::string times;                 ///< Form of the times that lines begin with; empty for none.
    std::optional<uint32_t> bootTime;  ///< Boot time of a "kmsg" log; else this machine's.
    std::vector<std::string> command;  ///< Command whose outputs are the input; empty for standard input.
    int errorLevel = 1;                ///< For what the command prints on standard error.
    bool tees = false;                 ///< Pass the input on to standard output and error.
    Names names;                       ///< For items that name their level or slot.
    bool hasStats = false;
    bool isStatsJson = false;  ///< The form of the statistics; else text.
    std::optional<int> printLevel;
    std::optional<mode_t> mode;  ///< Of the directory; the log's files get it without execute permission.

    bool isJson() const { return format == "jsonl"; }
};

/// Stores standard input until its end or a stop signal, or what a command prints until it has ended. Returns
/// the exit code of the command, 0 without one. Throws Failure when a line is not in the files or nothing can
/// be recorded; with the exit code for damage, at the end, when some of the input was not an item.
int record(const RecordOptions &options);

}  // namespace tool

#endif
