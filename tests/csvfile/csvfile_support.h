// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of data files, summaries and start-up: summaries as readable texts, and a slow model
// of the start-up tidying that works on a directory kept in memory.
#ifndef JORN_TESTS_CSVFILE_CSVFILE_SUPPORT_H
#define JORN_TESTS_CSVFILE_CSVFILE_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "csvfile/file_summary.h"

namespace test {

/// `start`, filled up with "x" to a length.
inline std::string padded(const std::string &start, size_t length) {
    return start + std::string(length - start.size(), 'x');
}

/// The whole record, counters that are 0 left out: "3 items, 10 to 30, last 20; level 1: 2 (slot 5: 1)".
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

/// Data files by position, with their bytes.
using DataFiles = std::map<int, std::string>;

/// A directory before its tidying.
struct UntidyRing {
    int64_t oldest;
    int64_t latest;
    int csvNum;
    DataFiles files;
};

/// The same directory afterwards, and what was done to it.
struct TidyRing {
    int64_t oldest;
    int64_t latest;
    bool isIndexRewritten;
    std::map<int, int> entries;           ///< By position: itself, 90 for deletion, or the new position.
    std::vector<std::string> operations;  ///< As the platform sees them.
    DataFiles files;
};

inline std::string csvName(int position) { return std::to_string(position) + ".csv"; }

namespace tidying_model {

inline int modulo90(int64_t number) { return static_cast<int>(((number % 90) + 90) % 90); }

/// Gives every position its entry and finds the new range.
inline void survey(const UntidyRing &before, TidyRing *after) {
    const int64_t span = before.latest - before.oldest + (before.latest < before.oldest ? 90 : 0);
    int64_t next = after->latest;
    int found = 0;
    for (int k = 0; k < 90; ++k) {
        const int p = modulo90(before.latest - k);
        if (before.files.count(p) == 0) {
            after->entries[p] = p;
            continue;
        }
        if (found >= before.csvNum) {
            after->entries[p] = 90;
            continue;
        }
        ++found;
        if (k <= span) {
            after->oldest = next;
        }
        after->entries[p] = static_cast<int>(next);
        next = next - 1 < 0 ? next - 1 + before.csvNum : next - 1;
    }
}

/// Renames and deletes, the position after the former latest one first. A rename replaces what stands at
/// its target.
inline void apply(int64_t formerLatest, TidyRing *after) {
    for (int step = 1; step <= 90; ++step) {
        const int p = modulo90(formerLatest + step);
        const int target = after->entries[p];
        if (target == p) {
            continue;
        }
        if (target == 90) {
            after->operations.push_back("rm " + csvName(p));
        } else {
            after->operations.push_back("yaffs_rename " + csvName(p) + " " + csvName(target));
            after->files[target] = after->files[p];
        }
        after->files.erase(p);
    }
}

}  // namespace tidying_model

/// Tidies step by step, for a former latest position of 0 to 89.
inline TidyRing tidyStepByStep(const UntidyRing &before) {
    TidyRing after = {};
    after.latest = before.latest < before.csvNum ? before.latest : before.csvNum - 1;
    after.oldest = after.latest;
    after.files = before.files;
    tidying_model::survey(before, &after);
    tidying_model::apply(before.latest, &after);
    after.isIndexRewritten = after.latest != before.latest % 90 || after.oldest != before.oldest;
    return after;
}

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
