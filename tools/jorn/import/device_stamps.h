// SPDX-License-Identifier: Apache-2.0
// Reads the heads of lines from devices: of kernel logs, which count time from boot, and of Android's logcat.
#ifndef JORN_TOOLS_DEVICE_STAMPS_H
#define JORN_TOOLS_DEVICE_STAMPS_H

#include <stdint.h>

#include <string_view>

#include "import/line_head.h"
#include "import/stamp_clock.h"

namespace tool {

/// "[    5.123456] text" after "<6>", after "kern  :info  : " or alone, and "6,339,5140900,-;text". The
/// kernel booted at `bootMicroseconds`, counted from 1970.
LineHead readKernelHead(std::string_view line, int64_t bootMicroseconds);

/// Only the time is removed. The priority letter stays in the text: "V" and "D" are level 3, "I" is
/// 2, "W" is 1, "E", "F" and "A" are 0.
LineHead readLogcatHead(std::string_view line, StampClock *clock);

}  // namespace tool

#endif
