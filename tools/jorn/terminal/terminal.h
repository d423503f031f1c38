// SPDX-License-Identifier: Apache-2.0
// What the user's terminal is like.
#ifndef JORN_TOOLS_TERMINAL_H
#define JORN_TOOLS_TERMINAL_H

namespace tool {

/// Columns: COLUMNS, else what the terminal that `file` is says, else 80.
int terminalWidth(int file);

/// Lines: LINES, else what the terminal says, else 24.
int terminalHeight(int file);

/// Whether the user's locale, by LC_ALL, LC_CTYPE and LANG, is one of UTF-8.
bool isLocaleUtf8();

}  // namespace tool

#endif
