// SPDX-License-Identifier: Apache-2.0
// Ends a last line that was cut off, so that the store's next item does not run together with it.
#ifndef JORN_TOOLS_TORN_LINE_H
#define JORN_TOOLS_TORN_LINE_H

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Gives the last line of a data file its line feed where it is an item of which nothing can lack but an end
/// of its text. Else moves what is no item of it into a new file "torn-N.txt" of the lowest free number: that
/// is on the medium, under its name, before the data file loses the bytes, so that a cut leaves them in both
/// at worst. Returns what was done, in a sentence; empty when the file, if there is one, ends with a line
/// feed. Throws Failure; then no byte is lost.
std::string endTornLine(const StoreDirectory &directory, int position);

}  // namespace tool

#endif
