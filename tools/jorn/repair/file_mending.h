// SPDX-License-Identifier: Apache-2.0
// Copies a data file without what hides items from the store, and lists what was left out.
#ifndef JORN_TOOLS_FILE_MENDING_H
#define JORN_TOOLS_FILE_MENDING_H

namespace tool {

/// Copies every item and blank line as it is. Zeros at the start of a line and lines that hold no item are
/// left out; an item without a line end that does not continue in the next piece gets one. Throws
/// std::system_error.
void copyMended(int from, int to);

/// Copies byte for byte. Throws std::system_error.
void copyPlain(int from, int to);

/// Lists what copyMended() leaves out of a file, one line each, as "OFFSET: bytes", with bytes that are not
/// printable text as \xNN. Throws std::system_error.
void listCut(int from, int to);

}  // namespace tool

#endif
