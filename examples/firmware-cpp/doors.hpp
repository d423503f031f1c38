// SPDX-License-Identifier: Apache-2.0
// The log of a device with three doors. The log's header stays out of the sight of those who report to it.
#ifndef DOORS_HPP
#define DOORS_HPP

#include <stdint.h>

namespace doors {

enum class Door : uint8_t { Front, Back, Garage };

/// When the file system is mounted, from one task. Whether the log is open; it may be reported to in any
/// case.
bool start(const char *directory);

/// What the application's tasks report. They never wait.
void moved(Door door, bool isOpen);
void motorIsHot(Door door, int celsius);

/// Commands of the service console, one at a time. Days count from 1970-01-01 UTC.
void showDoor(Door door);
void showFaults(int32_t firstDay, int32_t lastDay);
bool clear();

/// Items that could not be submitted since the start.
uint32_t lost();

/// Before the power is switched off as planned, 300 ticks after the last report.
void stop();

}  // namespace doors

#endif
