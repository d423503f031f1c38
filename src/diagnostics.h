// SPDX-License-Identifier: Apache-2.0
// The print level and the one way a message reaches the console: three prints, "[file]line<n> : ", the
// message, and "\r\n". A message's text appears only where it is printed. (Build with -fno-builtin: otherwise
// a compiler may turn a printf() into a puts().)
#ifndef JORN_SRC_DIAGNOSTICS_H
#define JORN_SRC_DIAGNOSTICS_H

#include <stdint.h>
#include <stdio.h>

#include "linkage.h"

/// Print level; a message is printed when the level is at or above the message's own. Set without any
/// check by jorn_SetDebugPrintLevel(); a plain word, read by every task without a lock.
extern "C" JORN_HIDDEN int32_t DBGPRT_LVL;

namespace jorn {

/// Message levels in use.
constexpr int32_t kPrintError = 1;
constexpr int32_t kPrintCountNote = 2;
constexpr int32_t kPrintInfo = 4;
constexpr int32_t kPrintTrace = 7;
constexpr int32_t kPrintLineFate = 8;

/// Whether messages of this level are wanted now.
bool isPrinted(int32_t level);

/// Prints the prefix of a message when its level is wanted; returns whether it did.
bool beginMessage(int32_t level, const char *file, int line);

/// Prints the line end of a message.
void endMessage();

/// Prints a whole message when its level is wanted. The text has no percent sign: it is a format.
void printMessage(int32_t level, const char *file, int line, const char *text);

/// The arguments of "%ld" and "%lu" in messages, whose width differs between machines.
inline long asLong(int32_t value) { return static_cast<long>(value); }
inline unsigned long asUlong(uint32_t value) { return static_cast<unsigned long>(value); }

}  // namespace jorn

/// Prints a message of the given level: JORN_PRINT(kPrintError, "format", arguments...). A macro for
/// __FILE__ and __LINE__ only; the build maps __FILE__ to a path relative to the project.
#define JORN_PRINT(level, ...)                                 \
    do {                                                       \
        if (jorn::beginMessage((level), __FILE__, __LINE__)) { \
            printf(__VA_ARGS__);                               \
            jorn::endMessage();                                \
        }                                                      \
    } while (false)

/// The same for a text without arguments; each use takes less code.
#define JORN_PRINT_TEXT(level, text) jorn::printMessage((level), __FILE__, __LINE__, text)

#endif
