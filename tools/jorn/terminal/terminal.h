// SPDX-License-Identifier: Apache-2.0
// Properties of the user's terminal.
#ifndef JORN_TOOLS_TERMINAL_H
#define JORN_TOOLS_TERMINAL_H

namespace tool {

/// Columns: COLUMNS, else the width of the terminal that is open as `file`, else 80.
int terminalWidth(int file);

/// Lines: LINES, else the terminal's height, else 24.
int terminalHeight(int file);

/// Whether the user's locale (LC_ALL, LC_CTYPE, LANG) uses UTF-8.
bool isLocaleUtf8();

}  // namespace tool

#endif
