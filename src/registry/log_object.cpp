// SPDX-License-Identifier: Apache-2.0
#include "registry/log_object.h"

namespace jorn {

int32_t ringPosition(const JORN_OBJ &obj, int32_t position) {
    const int32_t remainder = position % obj.csv_num;
    return remainder < 0 ? remainder + obj.csv_num : remainder;
}

int32_t nextRingPosition(const JORN_OBJ &obj, int32_t position) {
    return ringPosition(obj, ringPosition(obj, position) + 1);
}

RingRange validRange(const JORN_OBJ &obj) {
    RingRange range = {ringPosition(obj, obj.csv_oldest), ringPosition(obj, obj.csv_latest)};
    if (range.latest < range.oldest) {
        range.latest += obj.csv_num;
    }
    return range;
}

}  // namespace jorn
