// SPDX-License-Identifier: Apache-2.0
// The clock that the module stamps items by. It calls time(), and the linker leads every call of that in the
// tool here.
#ifndef JORN_TOOLS_STORE_CLOCK_H
#define JORN_TOOLS_STORE_CLOCK_H

#include <stdint.h>

namespace tool {

/// The machine's clock, until a time is set. An item gets its time when it is submitted, in the caller's own
/// thread, so that nothing has to be stored before the clock is set again.
class StoreClock {
public:
    StoreClock() = default;
    ~StoreClock();
    StoreClock(const StoreClock &) = delete;
    StoreClock &operator=(const StoreClock &) = delete;

    /// From now on the clock stands at this second, until it is set again or this ends.
    void set(uint32_t second);
};

}  // namespace tool

#endif
