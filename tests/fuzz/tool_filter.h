// SPDX-License-Identifier: Apache-2.0
// Filters of commands, and the items of a ring that pass them by the model.
#ifndef JORN_TESTS_FUZZ_TOOL_FILTER_H
#define JORN_TESTS_FUZZ_TOOL_FILTER_H

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/byte_reader.h"
#include "jorn.h"
#include "model/line_model.h"
#include "model/ring_files.h"
#include "model/start_model.h"

namespace fuzz {

inline constexpr int32_t kSlots = 8;
inline constexpr int32_t kSecondsPerDay = 86400;

struct Filter {
    std::vector<std::string> arguments;
    JORN_REQUIRE require = {JORN_REQUIRE_PAGE_MAX, 1, -1, -1, -1, 1, -1};
    int32_t files = 0;  ///< 0: as the directory shows.
};

inline void addOption(const std::string &name, const std::string &value, Filter *filter) {
    filter->arguments.insert(filter->arguments.end(), {name, value});
}

/// A second of a UTC day, in a form that the tool accepts.
inline std::string timeText(int32_t day, int32_t second) {
    return "@" + std::to_string(int64_t{day} * kSecondsPerDay + second);
}

inline Filter takeFilter(ByteReader *input) {
    Filter filter;
    if (input->below(3) == 0) {
        filter.files = 2 + input->below(89);
        addOption("--files", std::to_string(filter.files), &filter);
    }
    if (input->below(3) == 0) {
        filter.require.dayDwLimit = ByteReader::kFirstDay + input->below(40);
        addOption("--since", timeText(filter.require.dayDwLimit, 0), &filter);
    }
    if (input->below(3) == 0) {
        filter.require.dayUpLimit = ByteReader::kFirstDay + input->below(40);
        addOption("--until", timeText(filter.require.dayUpLimit, kSecondsPerDay - 1), &filter);
    }
    if (input->below(3) == 0) {
        filter.require.slot = input->below(kSlots);
        addOption("--slot", std::to_string(filter.require.slot), &filter);
    }
    return filter;
}

inline bool isContradicting(const JORN_REQUIRE &require) {
    return require.dayDwLimit >= 0 && require.dayUpLimit >= 0 && require.dayDwLimit > require.dayUpLimit;
}

/// The smallest ring that files and index fit in.
inline int32_t smallestRing(const test::NamedFiles &files) {
    const test::ModelIndexRead index = test::modelReadIndex(files, {0, 0, 0}, "");
    const bool isRead = index.result >= 0;
    int32_t smallest = std::max(2, isRead ? std::max(index.fields.oldest, index.fields.latest) + 1 : 1);
    for (int32_t position = 0; position < 90; ++position) {
        smallest = files.count(test::csvName(position)) != 0 ? std::max(smallest, position + 1) : smallest;
    }
    return smallest;
}

inline bool isStray(const test::ModelItem &item) { return item.level < 0 || item.level >= JORN_LEVEL_MAX; }

/// Items of the ring that pass the filter, the oldest first; of every level.
inline std::vector<test::ModelItem> matchesOf(const test::ModelRing &ring, const JORN_REQUIRE &require) {
    std::vector<test::ModelItem> matches;
    std::vector<int32_t> positions = ring.newestFirst();
    std::reverse(positions.begin(), positions.end());
    for (const int32_t position : positions) {
        for (const test::ModelItem &item : ring.at(position)) {
            const auto day = static_cast<int32_t>(item.time / kSecondsPerDay);
            const bool isDay = (require.dayDwLimit < 0 || day >= require.dayDwLimit) &&
                               (require.dayUpLimit < 0 || day <= require.dayUpLimit);
            if (isDay && (require.slot < 0 || item.slot == require.slot)) {
                matches.push_back(item);
            }
        }
    }
    return matches;
}

}  // namespace fuzz

#endif
