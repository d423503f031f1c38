// SPDX-License-Identifier: Apache-2.0
// Days as users write them.
#ifndef JORN_TOOLS_DAY_H
#define JORN_TOOLS_DAY_H

#include <stdint.h>
#include <time.h>

#include <optional>
#include <string>

namespace tool {

/// Seconds and days since 1970-01-01 UTC that an item's time can have.
inline constexpr int64_t kLastSecond = UINT32_MAX;
inline constexpr int32_t kLastDay = static_cast<int32_t>(kLastSecond / 86400);

/// Day number of "2026-11-21", "today", "yesterday", "@1795000000" (seconds since 1970) or "20778" (the
/// day number itself), all in UTC; nothing for any other text and for days outside 1970 to 2106-02-07.
std::optional<int32_t> parseDay(const std::string &text, time_t now);

}  // namespace tool

#endif
