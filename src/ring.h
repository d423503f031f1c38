// SPDX-License-Identifier: Apache-2.0
// The ring of data files as values: which position is which file, which one follows, and which are in use.
#ifndef JORN_SRC_RING_H
#define JORN_SRC_RING_H

#include <stdint.h>

namespace jorn {

/// Wraps any position on a ring of `size` files (1 or more) into 0 to size - 1: the number of the file, and
/// the index into every table of the ring.
int32_t ringPosition(int32_t size, int32_t position);

/// The ring position after the given one.
int32_t ringSuccessor(int32_t size, int32_t position);

/// The files in use, unwrapped so that they can be walked by counting: oldest is in the ring, latest is at or
/// above it, and each number between them taken modulo the ring's size is a position.
struct RingRange {
    int32_t oldest;
    int32_t latest;
};

/// The files from `oldest` to `latest`, both any position.
RingRange ringRange(int32_t size, int32_t oldest, int32_t latest);

/// A ring and the two positions that an index names. The positions may be any numbers: they come from a file.
struct Ring {
    int32_t size;    ///< Files of the ring, 1 or more.
    int32_t oldest;  ///< Position of the oldest items.
    int32_t latest;  ///< Position of the file being written.

    int32_t position(int32_t anyPosition) const { return ringPosition(size, anyPosition); }
    int32_t successor(int32_t anyPosition) const { return ringSuccessor(size, anyPosition); }
    RingRange range() const { return ringRange(size, oldest, latest); }
};

}  // namespace jorn

#endif
