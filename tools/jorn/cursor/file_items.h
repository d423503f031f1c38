// SPDX-License-Identifier: Apache-2.0
// The items of a data file as cursors count them: those that a repair of the file would leave there. Zeros
// are counted apart from what follows them, so that repairing a file changes no item's place.
#ifndef JORN_TOOLS_FILE_ITEMS_H
#define JORN_TOOLS_FILE_ITEMS_H

#include <stdint.h>

#include <functional>
#include <optional>
#include <vector>

#include "cursor/known_file.h"
#include "log/damage.h"
#include "log/ring_view.h"
#include "log/stored_line.h"

namespace tool {

enum class FileEnd {
    Read,      ///< Up to its end; the newest one, up to an unfinished last line.
    Held,      ///< The same, and there is such a line.
    Failed,    ///< It could not be read to its end.
    Lost,      ///< A writer has started it afresh since: what was read before is valid.
    Unwanted,  ///< `take` wanted no more.
};

/// Calls take(line) for each line of a file that is an item or damaged, from `begin` on, where a line begins.
/// The damaged ones are also reported to `damage`.
FileEnd readLines(const RingFile &file, uint64_t begin, DamageLog *damage,
                  const std::function<bool(const Line &)> &take);

/// What is known of all items of a file.
struct ItemTable {
    std::vector<uint64_t> hashes;
    std::vector<uint64_t> ends;  ///< Bytes at which the lines end.
    std::vector<uint32_t> times;
    std::vector<uint64_t> damaged;  ///< How many items there are before each place with damaged lines.
    FileEnd end = FileEnd::Read;

    /// The offset at which the item after the first `items` begins, or what precedes it.
    uint64_t offsetAfter(uint64_t items) const {
        return items == 0 ? 0 : ends[static_cast<size_t>(items - 1)];
    }
};
ItemTable tableOf(const RingFile &file);

/// What is to be known of the first items of a file.
FileTrack trackOf(const ItemTable &table, uint64_t items);

}  // namespace tool

#endif
