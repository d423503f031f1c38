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
    uint64_t largest = 0;  ///< The most bytes that the data files can hold.
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

/// What a report is about: a log, or several together.
struct StatsSubject {
    std::string path;  ///< Of the log.
    std::string name;  ///< Of a log that is one of several.
    size_t logs = 1;   ///< Of more than one, there are neither ring nor files.
    const Names *names = &noNames();
    LevelSet levels = LevelSet::all();
};

/// For people.
std::string textOf(const StatsSubject &subject, const StatsAnswer &answer, const StatsStyle &style);

/// For programs, on one line.
std::string jsonOf(const StatsSubject &subject, const StatsAnswer &answer, const StatsStyle &style);

}  // namespace tool

#endif
