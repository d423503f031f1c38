// SPDX-License-Identifier: Apache-2.0
// Where items come from.
#ifndef JORN_TOOLS_ITEM_ORIGIN_H
#define JORN_TOOLS_ITEM_ORIGIN_H

#include <stdint.h>

#include <string>

namespace tool {

/// What each item of a log says about its origin, UTF-8. What is empty or 0 is left out.
struct ItemOrigin {
    std::string device{};
    std::string log{};
    uint64_t epoch = 0;  ///< In which the items of the log are numbered.

    bool isNumbered() const { return epoch != 0; }
};

}  // namespace tool

#endif
