// SPDX-License-Identifier: Apache-2.0
// What a log holds, as text or JSON.
#ifndef JORN_TOOLS_STATS_REPORT_H
#define JORN_TOOLS_STATS_REPORT_H

#include <string>
#include <vector>

#include "log/disk_usage.h"
#include "query/histogram.h"
#include "query/question.h"
#include "query/ring_stats.h"

namespace tool {

/// Everything that is reported.
struct StatsAnswer {
    RingStats stats;
    DiskUsage disk;
    Span span = Span::Day;
    std::vector<Bucket> buckets;
};

struct StatsStyle {
    bool isUtc = false;  ///< UTC is the local time of the process.
    bool isEscaped = false;
    bool isColored = false;
    bool hasDiskUsage = false;
    BarStyle bars;
};

/// For people.
std::string textOf(const Question &question, const StatsAnswer &answer, const StatsStyle &style);

/// For programs, on one line.
std::string jsonOf(const Question &question, const StatsAnswer &answer, const StatsStyle &style);

}  // namespace tool

#endif
