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

/// Why the request would make the ring smaller, as a sentence without its stop; empty if it would not.
std::string shrinkingOf(const RingLook &look, std::optional<int> requested);

/// Throws Failure when the request would make the ring smaller and that was not allowed.
void refuseSmallerRing(const StoreDirectory &directory, const RingLook &look, std::optional<int> requested,
                       bool mayShrink);

/// A size to go on with.
struct RingSize {
    int files = kDefaultRingSize;
    bool isKnown = true;  ///< Else the ring may have been made with more files, or with fewer.
    std::string note;  ///< Why jorn.ring is not gone by, as a sentence without its stop; empty where it is.
};

/// Without a request: what jorn.ring says, where the files do not contradict it; else that of a ring that has
/// come round; else the default, which is what a new ring gets. Throws Failure as refuseSmallerRing().
RingSize chooseRingSize(const StoreDirectory &directory, const RingLook &look, std::optional<int> requested,
                        bool mayShrink);

/// Items that go into the files up to the last one of which it is certain that it comes next, whatever the
/// ring's size is. Throws Failure.
uint64_t roomInCertainFiles(const StoreDirectory &directory, const RingLook &look);

/// The failure of what a ring of unknown size would have to do.
Failure unknownSize(const StoreDirectory &directory, const std::string &what);

/// Items that a recording can add to a ring before the oldest of them has to go. Throws Failure.
uint64_t roomInRing(const StoreDirectory &directory, int ringSize);

/// Brings the files to the positions that the store's start-up would give them, and the index with them.
/// The start-up renames from the oldest file on, over a file that has still to move, which a gap in the
/// ring or a ring that is a little larger than before makes it do; here every file moves only when no
/// other one is in its way. A cut in between leaves them in their order. The start-up then finds nothing to
/// do. Returns how many files were moved or deleted. Throws Failure.
int fitRing(const StoreDirectory &directory, const RingLook &look, int ringSize);

}  // namespace tool

#endif
