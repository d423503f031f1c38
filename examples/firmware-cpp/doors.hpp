// SPDX-License-Identifier: Apache-2.0
// The log of a device with three doors. Callers that report to it need not include the log's header.
#ifndef DOORS_HPP
#define DOORS_HPP

#include <stdint.h>

namespace doors {

enum class Door : uint8_t { Front, Back, Garage };

/// Opens the log. Call it from one task, once the file system is mounted. Returns whether the log is open;
/// reporting is allowed either way.
bool start(const char *directory);

/// Called by the application's tasks to report events; these calls never block.
void moved(Door door, bool isOpen);
void motorIsHot(Door door, int celsius);

/// Commands of the service console, one at a time. Days count from 1970-01-01 UTC.
void showDoor(Door door);
void showFaults(int32_t firstDay, int32_t lastDay);
bool clear();

/// Number of items that could not be submitted since the start.
uint32_t lost();

/// Closes the log. Call it before a planned power-off, at least 300 ticks after the last report.
void stop();

}  // namespace doors

#endif
