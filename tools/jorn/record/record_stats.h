// SPDX-License-Identifier: Apache-2.0
// What a recording did, for --stats.
#ifndef JORN_TOOLS_RECORD_STATS_H
#define JORN_TOOLS_RECORD_STATS_H

#include <stdint.h>

#include <string>

namespace tool {

struct RecordStats {
    uint64_t lines = 0;
    uint64_t items = 0;  ///< In the files, not counting those that the store itself adds.
    uint64_t bytes = 0;  ///< Of the input.
    uint64_t cutLines = 0;
    uint64_t filesPassed = 0;  ///< Files filled and left.
    double seconds = 0;

    /// 0 where no time has passed.
    double itemsPerSecond() const { return seconds > 0 ? static_cast<double>(items) / seconds : 0; }
};

/// One line each.
std::string formatStats(const RecordStats &stats);
std::string formatStatsJson(const RecordStats &stats);

}  // namespace tool

#endif
