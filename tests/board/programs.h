// SPDX-License-Identifier: Apache-2.0
// The board's programs, and what they share.
#ifndef JORN_TESTS_BOARD_PROGRAMS_H
#define JORN_TESTS_BOARD_PROGRAMS_H

#include <stdint.h>

extern "C" int jorn_MakeDirectory(const char *name);

constexpr int kRootPriority = 100;
constexpr int kLowestPriority = 255;

/// The firmware example, with the stack and instructions that its calls take.
void runExample(const char *arguments);

/// The calls of the platform, as tests/port/contract.h says.
void runContract(const char *arguments);

/// The lives of tests/golden: what they leave goes to a folder of the host, for the host to compare.
void runGolden(const char *folder);

/// Power cuts on the running board: so many, from a seed. After a cut the board goes on where the campaign
/// stands.
void runCuts(const char *arguments);
bool isCampaignUnderWay();

/// Where the board runs out of memory, time, objects or room in the queue.
void runLimits(const char *arguments);

/// Stack and instructions of each call and of the store task, one line each; the task has so many bytes of
/// stack, or what it asks for.
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
