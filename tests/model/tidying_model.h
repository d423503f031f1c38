// SPDX-License-Identifier: Apache-2.0
// A slow model of the start-up tidying that works on a directory kept in memory.
#ifndef JORN_TESTS_MODEL_TIDYING_MODEL_H
#define JORN_TESTS_MODEL_TIDYING_MODEL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "model/ring_files.h"

namespace test {

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
    bool isFileReplaced = false;          ///< A rename met a file that had not been moved yet.
    DataFiles files;
};

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
            after->isFileReplaced = after->isFileReplaced || after->files.count(target) != 0;
            after->files[target] = after->files[p];
        }
        after->files.erase(p);
    }
}

}  // namespace tidying_model

/// Tidies step by step. A former latest position that no ring has counts as 89.
inline TidyRing tidyStepByStep(UntidyRing before) {
    const int64_t formerLatest = before.latest;
    before.latest = formerLatest >= 0 && formerLatest < 90 ? formerLatest : 89;
    TidyRing after = {};
    after.latest = before.latest < before.csvNum ? before.latest : before.csvNum - 1;
    after.oldest = after.latest;
    after.files = before.files;
    tidying_model::survey(before, &after);
    tidying_model::apply(before.latest, &after);
    after.isIndexRewritten = after.latest != formerLatest || after.oldest != before.oldest;
    return after;
}

}  // namespace test

#endif
