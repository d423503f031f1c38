// SPDX-License-Identifier: Apache-2.0
// Items by hour or by day of the local time.
#ifndef JORN_TOOLS_HISTOGRAM_H
#define JORN_TOOLS_HISTOGRAM_H

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace tool {

/// Counts of items by the first second of their hour.
class HourCounts {
public:
    void add(uint32_t time) {
        if (time < knownBegin_ || time >= knownEnd_) {
            findHour(time);
        }
        ++counts_[hour_];
    }
    void add(const HourCounts &other) {
        for (const auto &[hour, items] : other.counts_) {
            counts_[hour] += items;
        }
    }
    const std::map<int64_t, uint64_t> &counts() const { return counts_; }

private:
    void findHour(uint32_t time);

    std::map<int64_t, uint64_t> counts_;
    int64_t hour_ = 0;  ///< Hour of the known times; asking the calendar for each item is slow.
    int64_t knownBegin_ = 0;
    int64_t knownEnd_ = 0;
};

enum class Span { Hour, Day };

/// Day where the hours span three days or more, else Hour.
Span fittingSpan(const HourCounts &hours);

/// An hour or a day.
struct Bucket {
    int64_t second = 0;  ///< Neighbouring hours or days are one span apart.
    std::string label;   ///< "2026-11-21 06:00", in UTC with a Z, or "2026-11-21".
    uint64_t items = 0;
};

/// The buckets that hold items, the earliest first, and the empty ones between where these are only a few.
std::vector<Bucket> bucketsOf(const HourCounts &hours, Span span, bool isUtc);

struct BarStyle {
    size_t width = 80;  ///< Columns of a line.
    bool isUtf8 = false;
};

/// A line for each bucket, with a bar in proportion to its items, and a line for each gap that was left out.
std::vector<std::string> barLines(const std::vector<Bucket> &buckets, Span span, const BarStyle &style);

}  // namespace tool

#endif
