// SPDX-License-Identifier: Apache-2.0
// What is known of the transfers of a log: which of its items have numbers, and which of these have arrived.
#ifndef JORN_TOOLS_NUMBERING_H
#define JORN_TOOLS_NUMBERING_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "cursor/known_file.h"

namespace tool {

/// One epoch of a log: each of its items has a number, from 1, rising with its place.
struct Numbering {
    uint64_t epoch = 0;            ///< Microseconds since 1970 when it began.
    uint64_t highest = 0;          ///< Number that an item has, or that was passed over or reserved.
    int ringSize = 1;              ///< When the files had these numbers.
    std::vector<KnownFile> files;  ///< One for each data file, in the order of the ring.
    /// The one that the writer started afresh last, as it was before: a power cut may take that back.
    std::optional<KnownFile> replaced;

    /// Items that were sent in transfers whose outcome is not known.
    uint64_t pending() const;

    /// The file with a number; null if it is not known.
    KnownFile *file(int number);
    const KnownFile *file(int number) const;
    /// The same; a new one if it is not known.
    KnownFile *fileOrNew(int number);
    /// The newest file of which items have numbers; null if there is none.
    const KnownFile *newest() const;
    void forget(int number);
    /// The same for a known file that the writer has started afresh.
    void replace(int number);
};

/// A cursor: all that is kept of a log.
struct LogCursor {
    std::string device;
    std::string log;
    std::string directory;          ///< Where it was read last.
    std::vector<Numbering> epochs;  ///< The current one last; earlier ones in case their log comes back.
    uint64_t shipped = 0;           ///< Items that have arrived.
    int64_t time = 0;               ///< When the last ones did, in seconds since 1970; 0 for never.
    uint64_t gaps = 0;              ///< How often items were gone before they were read,
    uint64_t lost = 0;              ///< and how many these were at least.
    uint64_t damaged = 0;           ///< Lines that were not items and were left out.
    std::string stamp;              ///< Of index and newest file if all was shipped; else empty.

    bool hasBegun() const { return !epochs.empty(); }
    const Numbering &current() const { return epochs.back(); }
    Numbering &current() { return epochs.back(); }
};

/// Whether two cursors are of the same log.
inline bool isSameLog(const LogCursor &a, const LogCursor &b) {
    return a.device == b.device && a.log == b.log;
}

/// Makes an epoch the current one. It is new, or one that was current before.
void enterEpoch(LogCursor *cursor, Numbering numbering);

/// What must be on the medium before the items are sent that take the log to `reached`; `kept` is what was
/// there so far.
LogCursor attempted(const LogCursor &kept, const LogCursor &reached);

/// What is to be kept once these items have arrived.
LogCursor arrived(const LogCursor &reached);

}  // namespace tool

#endif
