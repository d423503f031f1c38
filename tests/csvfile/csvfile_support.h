// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of data files, summaries and start-up: summaries as readable texts, and directories of
// all kinds.
#ifndef JORN_TESTS_CSVFILE_CSVFILE_SUPPORT_H
#define JORN_TESTS_CSVFILE_CSVFILE_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

#include "csvfile/file_summary.h"
#include "model/tidying_model.h"

namespace test {

/// `start`, filled up with "x" to a length.
inline std::string padded(const std::string &start, size_t length) {
    return start + std::string(length - start.size(), 'x');
}

/// The whole record, without counters that are 0: "3 items, 10 to 30, last 20; level 1: 2 (slot 5: 1)".
inline std::string describe(const JORN_CSV_INFO &info) {
    std::string text = std::to_string(info.itemCount) + " items, " + std::to_string(info.timeMin) + " to " +
                       std::to_string(info.timeMax) + ", last " + std::to_string(info.timeLast);
    if (info.reserved != 0) {
        text += ", reserved " + std::to_string(info.reserved);
    }
    for (int level = 0; level < 4; ++level) {
        const JORN_LEVEL_STAT &stat = info.levelStat[level];
        std::string slots;
        for (int slot = 0; slot < 8; ++slot) {
            if (stat.slotCount[slot] != 0) {
                slots += (slots.empty() ? "slot " : ", slot ") + std::to_string(slot) + ": " +
                         std::to_string(stat.slotCount[slot]);
            }
        }
        if (stat.levelCount != 0 || !slots.empty()) {
            text += "; level " + std::to_string(level) + ": " + std::to_string(stat.levelCount) + " (" +
                    slots + ")";
        }
    }
    return text;
}

inline const std::string kZeroSummary = "0 items, 0 to 0, last 0";

/// Directories of all kinds from a fixed seed: whole rings and scattered files, any ring size, any index.
class RingGenerator {
public:
    explicit RingGenerator(uint32_t seed) : random_(seed) {}

    UntidyRing next() {
        UntidyRing ring = {};
        ring.csvNum = below(2) == 0 ? 2 + below(10) : 2 + below(89);
        ring.latest = below(3) == 0 ? below(90) : below(ring.csvNum);
        ring.oldest = below(3) == 0 ? below(99) - 5 : below(ring.csvNum);
        const int reach = below(3) == 0 ? 90 : std::min(90, ring.csvNum + 3);
        const int filledOfTen = 1 + below(10);
        for (int p = 0; p < reach; ++p) {
            if (below(10) < filledOfTen) {
                ring.files[p] = "bytes of " + csvName(p);
            }
        }
        return ring;
    }

private:
    int below(int limit) { return static_cast<int>(random_() % static_cast<uint32_t>(limit)); }

    std::mt19937 random_;
};

}  // namespace test

#endif
