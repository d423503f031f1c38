// SPDX-License-Identifier: Apache-2.0
// The clock that the module stamps items with. The module calls time(); the linker redirects every such call
// in the tool here.
#ifndef JORN_TOOLS_STORE_CLOCK_H
#define JORN_TOOLS_STORE_CLOCK_H

#include <stdint.h>

namespace tool {

/// The machine's clock, until a time is set. An item gets its time when it is submitted, in the caller's own
/// thread, so the clock may be set again before the item is stored.
class StoreClock {
public:
    StoreClock() = default;
    ~StoreClock();
    StoreClock(const StoreClock &) = delete;
    StoreClock &operator=(const StoreClock &) = delete;

    /// Holds the clock at this second until it is set again or this object is destroyed.
    void set(uint32_t second);
};

}  // namespace tool

#endif
