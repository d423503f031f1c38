// SPDX-License-Identifier: Apache-2.0
// The heads of lines that devices log: of kernels, by the time since they started, and of Android.
#ifndef JORN_TOOLS_DEVICE_STAMPS_H
#define JORN_TOOLS_DEVICE_STAMPS_H

#include <stdint.h>

#include <string_view>

#include "import/line_head.h"
#include "import/stamp_clock.h"

namespace tool {

/// "[    5.123456] text" after "<6>", after "kern  :info  : " or alone, and "6,339,5140900,-;text". The
/// kernel started at `bootMicroseconds` since 1970.
LineHead readKernelHead(std::string_view line, int64_t bootMicroseconds);

/// The time alone is taken off. The letter of the priority stays where it is: "V" and "D" are level 3, "I" is
/// 2, "W" is 1, "E", "F" and "A" are 0.
LineHead readLogcatHead(std::string_view line, StampClock *clock);

}  // namespace tool

#endif
