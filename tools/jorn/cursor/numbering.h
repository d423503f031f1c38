// SPDX-License-Identifier: Apache-2.0
// What is known of the transfers of a log: how far its items have arrived, how far they may have, and by
// which numbers.
#ifndef JORN_TOOLS_NUMBERING_H
#define JORN_TOOLS_NUMBERING_H

#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cursor/place.h"

namespace tool {

/// Items that left in transfers whose end is not known: they may have arrived. Those that are sent again have
/// the same numbers, and no others get these.
struct Attempt {
    uint64_t first = 0;  ///< Numbers, one for each item up to the place.
    uint64_t last = 0;
    Place place;  ///< After the last one.
};

/// One epoch of a log: each of its items has a number, from 1, rising with its place.
struct Numbering {
    uint64_t epoch = 0;             ///< Microseconds since 1970 when it began.
    uint64_t seq = 0;               ///< Of the last item that has arrived, 0 before the first.
    std::optional<Place> place;     ///< After it.
    std::vector<Attempt> attempts;  ///< Reaching farther than `seq`, each farther than the one before.
    std::map<int, FileSum> passed;  ///< By number, data files before that of the place, as they were then.
    uint64_t begun = 0;  ///< Not kept: numbers that the reading under way gave from here on have no gap.

    /// The highest number that an item may have got.
    uint64_t highest() const { return attempts.empty() ? seq : attempts.back().last; }
};

/// A cursor: all that is kept of a log.
struct LogCursor {
    std::string device;
    std::string log;
    std::string directory;          ///< Where it was read last.
    std::vector<Numbering> epochs;  ///< The current one last; the ones before it, lest their log comes back.
    uint64_t shipped = 0;           ///< Items that have arrived.
    int64_t time = 0;               ///< When the last ones did, in seconds since 1970; 0 for never.
    uint64_t gaps = 0;              ///< How often items were gone before they were read,
    uint64_t lost = 0;              ///< and how many these were at least.
    uint64_t damaged = 0;           ///< Lines that were no items and were left out.
    std::string stamp;              ///< Of index and newest file when all was shipped; empty when not.

    bool hasBegun() const { return !epochs.empty(); }
    const Numbering &current() const { return epochs.back(); }
    Numbering &current() { return epochs.back(); }
};

/// Whether two cursors are of the same log.
inline bool isSameLog(const LogCursor &a, const LogCursor &b) {
    return a.device == b.device && a.log == b.log;
}

/// Makes an epoch the current one, which is new or was before.
void enterEpoch(LogCursor *cursor, Numbering numbering);

/// What must be on the medium before the items leave that `reached` is after: `kept` is what was there so
/// far. Both are of one log, and `reached` has gone on from `kept`.
LogCursor attempted(const LogCursor &kept, const LogCursor &reached);

/// What is to be kept once these have arrived.
LogCursor arrived(const LogCursor &kept, const LogCursor &reached);

}  // namespace tool

#endif
