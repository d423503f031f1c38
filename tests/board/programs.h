// SPDX-License-Identifier: Apache-2.0
// The board's programs, and what they share.
#ifndef JORN_TESTS_BOARD_PROGRAMS_H
#define JORN_TESTS_BOARD_PROGRAMS_H

#include <stdint.h>

constexpr int kRootPriority = 100;

/// The firmware example, with the stack and instructions that its calls take.
void runExample(const char *arguments);

/// Stack and instructions of each call and of the store task, one line each.
void runCosts(const char *arguments);

/// Notes a failed check, with its place and its text.
void noteFailure(const char *file, int line, const char *what);
int failures();

#define CHECK(condition)                                 \
    do {                                                 \
        if (!(condition)) {                              \
            noteFailure(__FILE__, __LINE__, #condition); \
        }                                                \
    } while (false)

/// A chip without a byte on it, mounted.
void mountBlank();

/// Lets the store task make `number` passes.
void passes(int number);

#endif
