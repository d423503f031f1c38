// SPDX-License-Identifier: Apache-2.0
// A slow, literal model of a ring whose clock may jump: all items by file, the times of each file kept by the
// two rules (one for reading a file, one for appending to it), and queries worked out item by item.
#ifndef JORN_TESTS_LOAD_CLOCK_MODEL_H
#define JORN_TESTS_LOAD_CLOCK_MODEL_H

#include <jorn.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace load {

struct ClockItem {
    uint32_t time;
    int32_t level;
    int32_t slot;
    std::string text;
};

/// What the store keeps in memory about the times of a file.
struct FileTimes {
    uint32_t count = 0;
    uint32_t smallest = 0;
    uint32_t largest = 0;
    uint32_t last = 0;
};

struct ClockFile {
    bool exists = false;
    std::vector<ClockItem> items;
    FileTimes times;
};

struct ClockPage {
    int32_t number;
    std::vector<ClockItem> items;  ///< Newest first.
};

class ClockRing {
public:
    explicit ClockRing(int32_t files) : files_(static_cast<size_t>(files)) {}

    int32_t size() const { return static_cast<int32_t>(files_.size()); }
    int32_t oldest() const { return oldest_; }
    int32_t latest() const { return latest_; }
    const ClockFile &at(int32_t position) const { return files_[static_cast<size_t>(position)]; }

    /// Lays out what is on the medium before the first start.
    void layOut(int32_t oldest, int32_t latest) {
        oldest_ = oldest;
        latest_ = latest;
    }
    void layOutFile(int32_t position, std::vector<ClockItem> items);

    /// A start reads every file of the range.
    void start();
    uint32_t finalTime() const { return finalTime_; }
    uint32_t maxTime() const { return maxTime_; }

    void append(const ClockItem &item);

    /// The total, or -1 when no file serves the days.
    int32_t count(const JORN_REQUIRE &require) const;
    ClockPage page(const JORN_REQUIRE &require) const;

private:
    struct Share {
        int32_t position;
        int32_t count;
    };

    std::vector<int32_t> newestFirst() const;
    /// The positions that serve the day range, newest first.
    std::vector<int32_t> range(const JORN_REQUIRE &require) const;
    /// How many items each file of the range counts for, newest first; nothing when no file serves the days.
    std::optional<std::vector<Share>> shares(const JORN_REQUIRE &require) const;

    std::vector<ClockFile> files_;
    int32_t oldest_ = 0;
    int32_t latest_ = 0;
    uint32_t finalTime_ = 0;
    uint32_t maxTime_ = 0;
};

}  // namespace load

#endif
