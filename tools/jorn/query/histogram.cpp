// SPDX-License-Identifier: Apache-2.0
#include "query/histogram.h"

#include <time.h>

#include <algorithm>
#include <array>

#include "module_limits.h"
#include "terminal/civil_time.h"
#include "terminal/text_table.h"
#include "terminal/time_text.h"

namespace tool {
namespace {

constexpr int64_t kSecondsPerHour = jorn::kSecondsPerHour;
constexpr int64_t kSecondsPerDay = jorn::kSecondsPerDay;

/// The most hours or days in a row without items that are shown one by one.
constexpr int64_t kShownEmpty = 3;

int64_t lengthOf(Span span) { return span == Span::Hour ? kSecondsPerHour : kSecondsPerDay; }

/// The local clock time, as if it were UTC.
int64_t clockSecond(int64_t second) { return second + offsetAt(second); }

int64_t floorTo(int64_t second, int64_t length) { return second - ((second % length) + length) % length; }

class Labels {
public:
    Labels(Span span, bool isUtc) : span_(span), isUtc_(isUtc), hour_(TimeForm::Plain, isUtc) {}

    std::string of(int64_t second) {
        constexpr size_t kMinuteEnd = sizeof "2026-11-21 06:00" - 1;
        if (span_ == Span::Hour) {
            return hour_.format(second).substr(0, kMinuteEnd) + (isUtc_ ? "Z" : "");
        }
        const time_t time = second;
        tm date = {};
        gmtime_r(&time, &date);
        std::array<char, 32> text{};
        strftime(text.data(), text.size(), "%Y-%m-%d", &date);
        return text.data();
    }

private:
    Span span_;
    bool isUtc_;
    TimeFormatter hour_;
};

std::string bar(uint64_t items, uint64_t most, size_t width, bool isUtf8) {
    constexpr size_t kParts = 8;
    constexpr std::array<const char *, kParts> kPart = {"",
                                                        "\xe2\x96\x8f",
                                                        "\xe2\x96\x8e",
                                                        "\xe2\x96\x8d",
                                                        "\xe2\x96\x8c",
                                                        "\xe2\x96\x8b",
                                                        "\xe2\x96\x8a",
                                                        "\xe2\x96\x89"};
    const uint64_t units = width * (isUtf8 ? kParts : 1);
    // A few items must look different from none.
    const auto length = static_cast<size_t>(items == 0 ? 0 : std::max<uint64_t>(1, units * items / most));
    if (!isUtf8) {
        return std::string(length, '#');
    }
    std::string blocks;
    for (size_t i = 0; i < length / kParts; ++i) {
        blocks += "\xe2\x96\x88";
    }
    return blocks + kPart[length % kParts];
}

std::string gapLine(int64_t missing, Span span) {
    return "... " + std::to_string(missing) + (span == Span::Hour ? " hours" : " days") + " without items";
}

}  // namespace

/// Where the clocks change within this local hour, the result holds only for the second itself.
void HourCounts::findHour(uint32_t time) {
    const int64_t offset = offsetAt(time);
    hour_ = floorTo(time + offset, kSecondsPerHour) - offset;
    const int64_t next = hour_ + kSecondsPerHour;
    const bool isPlain = offsetAt(hour_) == offset && offsetAt(next - 1) == offset;
    knownBegin_ = isPlain ? hour_ : time;
    knownEnd_ = isPlain ? next : int64_t{time} + 1;
}

Span fittingSpan(const HourCounts &hours) {
    constexpr int64_t kFewDays = 3;
    const auto &counts = hours.counts();
    const bool isLong =
        !counts.empty() && counts.rbegin()->first - counts.begin()->first >= kFewDays * kSecondsPerDay;
    return isLong ? Span::Day : Span::Hour;
}

std::vector<Bucket> bucketsOf(const HourCounts &hours, Span span, bool isUtc) {
    const int64_t length = lengthOf(span);
    Labels labels(span, isUtc);
    std::vector<Bucket> buckets;
    for (const auto &[hour, items] : hours.counts()) {
        const int64_t second = span == Span::Hour ? hour : floorTo(clockSecond(hour), length);
        if (!buckets.empty() && buckets.back().second >= second) {
            buckets.back().items += items;
            continue;
        }
        const int64_t missing = buckets.empty() ? 0 : (second - buckets.back().second) / length - 1;
        for (int64_t i = missing; missing <= kShownEmpty && i > 0; --i) {
            buckets.push_back({second - i * length, labels.of(second - i * length), 0});
        }
        buckets.push_back({second, labels.of(second), items});
    }
    return buckets;
}

std::vector<std::string> barLines(const std::vector<Bucket> &buckets, Span span, const BarStyle &style) {
    uint64_t most = 1;
    TableRows rows;
    rows.reserve(buckets.size());
    for (const Bucket &bucket : buckets) {
        most = std::max(most, bucket.items);
        rows.push_back({bucket.label, std::to_string(bucket.items)});
    }
    std::vector<std::string> lines = tableLines(rows);
    const size_t used = lines.empty() ? 0 : lines.front().size() + 2;
    const size_t width = style.width > used ? style.width - used : 1;
    std::vector<std::string> all;
    for (size_t i = 0; i < lines.size(); ++i) {
        const int64_t missing = i == 0 ? 0 : (buckets[i].second - buckets[i - 1].second) / lengthOf(span) - 1;
        if (missing > 0) {
            all.push_back(gapLine(missing, span));
        }
        const std::string blocks = bar(buckets[i].items, most, width, style.isUtf8);
        all.push_back(lines[i] + (blocks.empty() ? "" : "  " + blocks));
    }
    return all;
}

}  // namespace tool
