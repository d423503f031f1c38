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
    bool isFileReplaced = false;          ///< A rename replaced a file that had not been moved yet.
    DataFiles files;
};

namespace tidying_model {

inline int modulo90(int64_t number) { return static_cast<int>(((number % 90) + 90) % 90); }

/// What a survey of the files plans for a ring.
struct Plan {
    int64_t oldest;
    int64_t latest;
    std::map<int, int> entries;  ///< As those of TidyRing.
};

/// Gives every position its entry and finds the new range. A former latest position that no ring has counts
/// as 89. `hasFile` is called once for each position, the newest first.
template <class HasFile>
Plan survey(int64_t oldest, int64_t formerLatest, int csvNum, HasFile hasFile) {
    const int64_t newest = formerLatest >= 0 && formerLatest < 90 ? formerLatest : 89;
    const int64_t span = newest - oldest + (newest < oldest ? 90 : 0);
    Plan plan = {};
    plan.latest = newest < csvNum ? newest : csvNum - 1;
    plan.oldest = plan.latest;
    int64_t next = plan.latest;
    int found = 0;
    for (int k = 0; k < 90; ++k) {
        const int p = modulo90(newest - k);
        if (!hasFile(p)) {
            plan.entries[p] = p;
            continue;
        }
        if (found >= csvNum) {
            plan.entries[p] = 90;
            continue;
        }
        ++found;
        if (k <= span) {
            plan.oldest = next;
        }
        plan.entries[p] = static_cast<int>(next);
        next = next - 1 < 0 ? next - 1 + csvNum : next - 1;
    }
    return plan;
}

/// Renames and deletes, the position after the former latest one first. A rename replaces the file at its
/// target.
template <class Remove, class Rename>
void apply(const Plan &plan, int64_t formerLatest, Remove remove, Rename rename) {
    const int64_t newest = formerLatest >= 0 && formerLatest < 90 ? formerLatest : 89;
    for (int step = 1; step <= 90; ++step) {
        const int p = modulo90(newest + step);
        const int target = plan.entries.at(p);
        if (target == 90) {
            remove(p);
        } else if (target != p) {
            rename(p, target);
        }
    }
}

}  // namespace tidying_model

/// Tidies step by step.
inline TidyRing tidyStepByStep(const UntidyRing &before) {
    TidyRing after = {};
    after.files = before.files;
    const tidying_model::Plan plan =
        tidying_model::survey(before.oldest, before.latest, before.csvNum,
                              [&](int position) { return before.files.count(position) != 0; });
    const auto remove = [&](int position) {
        after.operations.push_back("rm " + csvName(position));
        after.files.erase(position);
    };
    const auto rename = [&](int position, int target) {
        after.operations.push_back("yaffs_rename " + csvName(position) + " " + csvName(target));
        after.isFileReplaced = after.isFileReplaced || after.files.count(target) != 0;
        after.files[target] = after.files[position];
        after.files.erase(position);
    };
    tidying_model::apply(plan, before.latest, remove, rename);
    after.oldest = plan.oldest;
    after.latest = plan.latest;
    after.entries = plan.entries;
    after.isIndexRewritten = after.latest != before.latest || after.oldest != before.oldest;
    return after;
}

}  // namespace test

#endif
