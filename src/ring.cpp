// SPDX-License-Identifier: Apache-2.0
#include "ring.h"

namespace jorn {

int32_t ringPosition(int32_t size, int32_t position) {
    const int32_t remainder = position % size;
    return remainder < 0 ? remainder + size : remainder;
}

int32_t ringSuccessor(int32_t size, int32_t position) {
    const int32_t next = ringPosition(size, position) + 1;
    return next == size ? 0 : next;
}

RingRange ringRange(int32_t size, int32_t oldest, int32_t latest) {
    RingRange range = {ringPosition(size, oldest), ringPosition(size, latest)};
    if (range.latest < range.oldest) {
        range.latest += size;
    }
    return range;
}

}  // namespace jorn
