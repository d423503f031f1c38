// SPDX-License-Identifier: Apache-2.0
#include "programs.h"

#include <jorn.h>
#include <stdio.h>
#include <tickLib.h>

#include "clock.h"
#include "flash.h"
#include "kernel.h"
#include "libc_glue.h"
#include "machine.h"

namespace {

BOARD_KEPT int failed;

}  // namespace

void noteFailure(const char *file, int line, const char *what) {
    ++failed;
    printf("FAILED %s:%d: %s\n", file, line, what);
}

int failures() { return failed; }

void mountBlank() {
    boardFlashErase();
    boardFlashMount();
}

void passes(int number) {
    boardSetPriority(kLowestPriority);
    for (int tick = 0; tick < number * JORN_STORE_TICKS; ++tick) {
        tickAnnounce();
    }
    boardSetPriority(kRootPriority);
}
