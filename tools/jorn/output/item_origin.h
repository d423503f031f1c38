// SPDX-License-Identifier: Apache-2.0
// Where items come from.
#ifndef JORN_TOOLS_ITEM_ORIGIN_H
#define JORN_TOOLS_ITEM_ORIGIN_H

#include <stdint.h>

#include <string>

namespace tool {

/// What each item of a log says about its origin, in UTF-8. Empty and 0 values are left out.
struct ItemOrigin {
    std::string device{};
    std::string log{};
    uint64_t epoch = 0;  ///< Within which the items of the log are numbered.

    bool isNumbered() const { return epoch != 0; }
};

}  // namespace tool

#endif
