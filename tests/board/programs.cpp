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

int failed;
constexpr int kLowestPriority = 255;

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

/// jorn.o's calloc: the C library's own, until a test needs to see it.
extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__wrap_calloc(size_t count, size_t size) { return __real_calloc(count, size); }
