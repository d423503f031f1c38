// SPDX-License-Identifier: Apache-2.0
#include "record/record_stats.h"

#include <inttypes.h>
#include <math.h>
#include <stdio.h>

#include <array>
#include <nlohmann/json.hpp>

namespace tool {

std::string formatStats(const RecordStats &stats) {
    std::array<char, 256> text;
    snprintf(text.data(), text.size(),
             "%" PRIu64 " lines, %" PRIu64 " items, %" PRIu64 " bytes, %" PRIu64 " lines cut, %" PRIu64
             " files passed, %.3f s, %.0f items/s\n",
             stats.lines, stats.items, stats.bytes, stats.cutLines, stats.filesPassed, stats.seconds,
             stats.itemsPerSecond());
    return text.data();
}

std::string formatStatsJson(const RecordStats &stats) {
    const nlohmann::ordered_json object = {{"lines", stats.lines},
                                           {"items", stats.items},
                                           {"bytes", stats.bytes},
                                           {"cut_lines", stats.cutLines},
                                           {"files_passed", stats.filesPassed},
                                           {"seconds", round(stats.seconds * 1e6) / 1e6},
                                           {"items_per_second", llround(stats.itemsPerSecond())}};
    return object.dump() + "\n";
}

}  // namespace tool
