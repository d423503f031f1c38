// SPDX-License-Identifier: Apache-2.0
// The firmware example on the board, with the tick running as on a device.
#include <firmware.h>
#include <stdio.h>
#include <taskLib.h>

#include "clock.h"
#include "libc_glue.h"
#include "machine.h"
#include "programs.h"

namespace {

constexpr uint32_t kMorning = 1795339800;
constexpr int kIdleTicks = 300;

void command(const char *line) {
    printf("-> %s\n", line);
    firmwareCommand(line);
}

}  // namespace

void runExample(const char *) {
    boardSetTime(kMorning);
    mountBlank();
    boardTicks(1);
    CHECK(firmwareStart() == 0);
    for (int door = 0; door < 3; ++door) {
        doorMoved(door, 1);
        supplyMeasured(door % 2, 12100 - 700 * door);
        taskDelay(60);
        doorMoved(door, 0);
    }
    doorMoved(6, 1);  // there is no such door
    taskDelay(kIdleTicks);
    command("show doors 1");
    command("show power 1");
    command("count doors");
    command("clear doors");
    taskDelay(kIdleTicks);
    command("show doors");
    firmwareStop();
    CHECK(boardOpenFiles() == 0);
}
