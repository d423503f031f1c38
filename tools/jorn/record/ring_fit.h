// SPDX-License-Identifier: Apache-2.0
// Makes a directory ready for the store, so that its start-up never destroys a file unasked.
#ifndef JORN_TOOLS_RING_FIT_H
#define JORN_TOOLS_RING_FIT_H

#include <stdint.h>

#include <optional>
#include <string>

#include "log/ring_look.h"
#include "log/store_directory.h"
#include "system/failure.h"

namespace tool {

/// Files of a new ring.
inline constexpr int kDefaultRingSize = 10;

/// Why the request would make the ring smaller, as a sentence without its full stop; empty if it would not.
std::string shrinkingOf(const RingLook &look, std::optional<int> requested);

/// Throws Failure when the request would make the ring smaller and that was not allowed.
void refuseSmallerRing(const StoreDirectory &directory, const RingLook &look, std::optional<int> requested,
                       bool mayShrink);

/// The ring size to continue with.
struct RingSize {
    int files = kDefaultRingSize;
    bool isKnown = true;  ///< If not, the ring may have been made with more files, or with fewer.
    std::string note;     ///< Why jorn.ring is not used, as a sentence without its full stop; may be empty.
};

/// Without a request: the size in jorn.ring, unless the files contradict it; else that of a ring that has
/// wrapped; else the default, which a new ring gets. Throws Failure as refuseSmallerRing() does.
RingSize chooseRingSize(const StoreDirectory &directory, const RingLook &look, std::optional<int> requested,
                        bool mayShrink);

/// Number of items that fit into the files up to the last one that is certain to come next, whatever the ring
/// size. Throws Failure.
uint64_t roomInCertainFiles(const StoreDirectory &directory, const RingLook &look);

/// The failure of an operation that needs the ring size where that is unknown.
Failure unknownSize(const StoreDirectory &directory, const std::string &what);

/// Number of items that a recording can add to a ring before the first of them is dropped. Throws Failure.
uint64_t roomInRing(const StoreDirectory &directory, int ringSize);

/// Moves the files to the positions that the store's start-up would give them, and rewrites the index to
/// match, so that the start-up finds nothing to do. The start-up renames from the oldest file on and, with a
/// gap in the ring or a ring slightly larger than before, overwrites a file that has yet to move; here a file
/// moves only when no other one is in its way. A cut in between leaves the files in their order. Returns how
/// many files were moved or deleted. Throws Failure.
int fitRing(const StoreDirectory &directory, const RingLook &look, int ringSize);

}  // namespace tool

#endif
