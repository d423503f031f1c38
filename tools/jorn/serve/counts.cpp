// SPDX-License-Identifier: Apache-2.0
#include "serve/counts.h"

#include <algorithm>

#include "terminal/civil_time.h"

namespace tool {
namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 60 * kMinute;
constexpr int64_t kDay = 24 * kHour;

constexpr std::array<int64_t, 22> kSteps = {
    1,        2,           5,           10,           15,           30,
    kMinute,  2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
    kHour,    2 * kHour,   3 * kHour,   6 * kHour,    12 * kHour,   kDay,
    2 * kDay, 7 * kDay,    14 * kDay,   28 * kDay};

size_t countedLevel(ItemKind kind) { return std::min<size_t>(levelCodeOf(kind), jorn::kLevelMax); }

std::array<bool, kKinds> everyKind() {
    std::array<bool, kKinds> all{};
    all.fill(true);
    return all;
}

/// Calls take(time, kind) for each item that passes, log by log.
template <class Take>
void forEachWanted(const ViewQuestion &question, const Take &take) {
    for (size_t log = 0; log < question.snapshot.logs.size(); ++log) {
        const LogFilter &filter = question.filter.logs[log];
        if (!filter.isWanted) {
            continue;
        }
        for (LogRows rows(question, log, wantedKinds(filter)); rows.next();) {
            take(rows.time(), rows.kind());
        }
    }
}

/// The start of the bucket that a time is in.
int64_t beginOf(int64_t time, int64_t step, int64_t offset) {
    const int64_t local = time + offset;
    const int64_t rest = ((local % step) + step) % step;
    return time - rest;
}

/// The least step with which a span takes no more buckets than `most`.
int64_t stepFor(int64_t since, int64_t until, int64_t offset, int64_t most) {
    const auto fits = [&](int64_t step) {
        return (beginOf(until, step, offset) - beginOf(since, step, offset)) / step < most;
    };
    const auto *const step = std::find_if(kSteps.begin(), kSteps.end(), fits);
    int64_t longest = kSteps.back();
    while (step == kSteps.end() && !fits(longest)) {
        longest *= 2;
    }
    return step != kSteps.end() ? *step : longest;
}

/// The times of the earliest and the latest item, and their number.
void span(const ViewQuestion &question, ViewHistogram *histogram) {
    uint32_t first = UINT32_MAX;
    uint32_t last = 0;
    forEachWanted(question, [&](uint32_t time, ItemKind) {
        first = std::min(first, time);
        last = std::max(last, time);
        ++histogram->total;
    });
    histogram->first = histogram->total > 0 ? first : 0;
    histogram->last = last;
    histogram->since = question.filter.since ? *question.filter.since : histogram->first;
    histogram->until =
        question.filter.until ? *question.filter.until : std::max<int64_t>(last, histogram->since);
    histogram->since = std::min(histogram->since, histogram->until);
}

}  // namespace

ViewHistogram histogramOf(const ViewQuestion &question, size_t mostBuckets) {
    ViewHistogram histogram;
    span(question, &histogram);
    const int64_t offset = offsetAt(histogram.since);
    histogram.step = stepFor(histogram.since, histogram.until, offset, static_cast<int64_t>(mostBuckets));
    const int64_t begin = beginOf(histogram.since, histogram.step, offset);
    std::vector<TimeBucket> buckets(static_cast<size_t>((histogram.until - begin) / histogram.step) + 1);
    forEachWanted(question, [&](uint32_t time, ItemKind kind) {
        const auto bucket = static_cast<size_t>((time - begin) / histogram.step);
        ++buckets[bucket].levels[countedLevel(kind)];
    });
    for (size_t i = 0; i < buckets.size(); ++i) {
        const LevelCounts &levels = buckets[i].levels;
        buckets[i].begin = begin + static_cast<int64_t>(i) * histogram.step;
        if (std::any_of(levels.begin(), levels.end(), [](uint64_t items) { return items > 0; })) {
            histogram.buckets.push_back(buckets[i]);
        }
    }
    return histogram;
}

ViewFacets facetsOf(const ViewQuestion &question) {
    ViewFacets facets;
    for (size_t log = 0; log < question.snapshot.logs.size(); ++log) {
        const LogFilter &filter = question.filter.logs[log];
        uint64_t items = 0;
        for (LogRows rows(question, log, everyKind()); rows.next();) {
            const ItemKind kind = rows.kind();
            const bool isLevel = filter.kinds.hasLevel(kind);
            const bool isSlot = filter.kinds.hasSlot(kind);
            facets.levels[countedLevel(kind)] += isSlot && filter.isWanted ? 1 : 0;
            facets.slots[slotCodeOf(kind)] += isLevel && filter.isWanted ? 1 : 0;
            items += isLevel && isSlot ? 1 : 0;
        }
        facets.logs.push_back(items);
    }
    return facets;
}

uint64_t countOf(const ViewQuestion &question) {
    uint64_t total = 0;
    forEachWanted(question, [&](uint32_t, ItemKind) { ++total; });
    return total;
}

}  // namespace tool
