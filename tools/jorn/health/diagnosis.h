// SPDX-License-Identifier: Apache-2.0
// Everything that is known of a log's directory, for those who report on it and those who repair it.
#ifndef JORN_TOOLS_DIAGNOSIS_H
#define JORN_TOOLS_DIAGNOSIS_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "health/finding.h"
#include "health/ring_evidence.h"
#include "health/ring_placement.h"
#include "log/data_file_scan.h"
#include "log/directory_look.h"
#include "log/store_directory.h"

namespace tool {

/// What the user says of a ring.
struct RingHints {
    std::optional<int> files;
    std::optional<IndexPositions> range;
};

struct Diagnosis {
    DirectoryLook look;
    std::map<int, FileScan> scans;          ///< Of the data files that could be read, by position.
    std::map<int, std::string> unreadable;  ///< Of the others: the reason.
    std::vector<int> growing;               ///< Files that were written to meanwhile.
    std::vector<std::string> leftovers;     ///< Of commands that were cut short, as paths from the directory.
    std::string ringMemoryProblem;          ///< Why jorn.ring is not gone by; empty where it is.
    bool isSteady = true;                   ///< False when the ring moved on faster than it could be read.
    RingFacts facts;
    RingOrder order;
    std::optional<Placement> placement;  ///< When the order is known and the ring large enough.

    /// Whether names of the store are taken by what is no file, or hide what cannot be read.
    bool hasStrangeEntries() const;

    /// Whether the store would use the index as it is.
    bool isIndexWhole() const;

    int64_t items() const;
};

/// The smallest ring that the data files, the index and its backup fit in.
int smallestRing(const DirectoryLook &look);

/// Reads the whole directory, again where a writer changed it meanwhile. Changes nothing. `whenRead` is
/// called when all has been read, before it is looked at again. Throws Failure.
Diagnosis diagnose(
    const StoreDirectory &directory, const RingHints &hints, const std::function<void()> &whenRead = [] {});

/// Judges what has been read anew, by other hints.
void judge(const RingHints &hints, Diagnosis *diagnosis);

/// Every finding, those of the index first, then file by file.
std::vector<Finding> findingsOf(const Diagnosis &diagnosis);

}  // namespace tool

#endif
