// SPDX-License-Identifier: Apache-2.0
// Values that the tests of the tool have in common.
#ifndef JORN_TESTS_SYSTEM_COMMON_VALUES_H
#define JORN_TESTS_SYSTEM_COMMON_VALUES_H

#include <stdint.h>

namespace test {

/// Items of a full data file.
constexpr int kFull = 5000;

constexpr uint32_t kHour = 3600;
constexpr uint32_t kDay = 24 * kHour;

/// Where 2023-11-15 begins, in UTC.
constexpr uint32_t kMidnight = 19676 * kDay;

/// The text of the item that the store adds at each start.
constexpr char kStart[] = "Log start init!";
constexpr char kCleared[] = "Log all cleared!";

}  // namespace test

#endif
