// SPDX-License-Identifier: Apache-2.0
#include "query/item_filter.h"

namespace tool {

LevelSet LevelSet::range(int first, int last) {
    LevelSet set = none();
    for (int level = first; level <= last; ++level) {
        set.add(level);
    }
    return set;
}

LevelSet LevelSet::upTo(int level) {
    LevelSet set = range(0, level);
    set.hasNegative_ = true;
    return set;
}

}  // namespace tool
