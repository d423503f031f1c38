// SPDX-License-Identifier: Apache-2.0
// What a recording did, for its --stats.
#ifndef JORN_TOOLS_RECORD_STATS_H
#define JORN_TOOLS_RECORD_STATS_H

#include <stdint.h>

#include <string>

namespace tool {

struct RecordStats {
    uint64_t lines = 0;
    uint64_t items = 0;  ///< In the files, without those that the store adds of its own.
    uint64_t bytes = 0;  ///< Of the input.
    uint64_t cutLines = 0;
    uint64_t filesPassed = 0;  ///< Filled and left.
    double seconds = 0;

    /// 0 where no time has passed.
    double itemsPerSecond() const { return seconds > 0 ? static_cast<double>(items) / seconds : 0; }
};

/// One line each.
std::string formatStats(const RecordStats &stats);
std::string formatStatsJson(const RecordStats &stats);

}  // namespace tool

#endif
