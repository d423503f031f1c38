// SPDX-License-Identifier: Apache-2.0
// Everything known about a log's directory, for reports and repairs.
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

/// What the user says about a ring.
struct RingHints {
    std::optional<int> files;
    std::optional<IndexPositions> range;
};

struct Diagnosis {
    DirectoryLook look;
    std::map<int, FileScan> scans;          ///< Of the data files that could be read, by position.
    std::map<int, std::string> unreadable;  ///< Of the others: the reason.
    std::vector<int> growing;               ///< Files that were written to during the reading.
    std::vector<std::string> leftovers;     ///< Of commands that were cut short, relative to the directory.
    std::string ringMemoryProblem;          ///< Why jorn.ring is not gone by; empty where it is.
    bool isSteady = true;                   ///< False when the ring moved on faster than it could be read.
    RingFacts facts;
    RingOrder order;
    std::optional<Placement> placement;  ///< When the order is known and the ring is large enough.

    /// Whether names of the store belong to something other than a file, or to a file that cannot be read.
    bool hasStrangeEntries() const;

    /// Whether the store would use the index as it is.
    bool isIndexWhole() const;

    int64_t items() const;
};

/// The smallest ring that the data files, the index and its backup fit in.
int smallestRing(const DirectoryLook &look);

/// Reads the whole directory, and again whatever a writer changed meanwhile. Changes nothing. `whenRead` is
/// called when everything has been read, before the second look. Throws Failure.
Diagnosis diagnose(
    const StoreDirectory &directory, const RingHints &hints, const std::function<void()> &whenRead = [] {});

/// Judges again, with other hints, what has already been read.
void judge(const RingHints &hints, Diagnosis *diagnosis);

/// Every finding, those of the index first, then file by file.
std::vector<Finding> findingsOf(const Diagnosis &diagnosis);

}  // namespace tool

#endif
