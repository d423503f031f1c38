// SPDX-License-Identifier: Apache-2.0
// Ends a last line that was cut off, so that the store's next item does not run together with it.
#ifndef JORN_TOOLS_TORN_LINE_H
#define JORN_TOOLS_TORN_LINE_H

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Adds the line feed to the last line of a data file if the line is an item that can lack nothing but the
/// end of its text. Otherwise moves the part that is not an item into a new file "torn-N.txt" with the lowest
/// free number. That file and its name are on the medium before the data file loses the bytes, so that at
/// worst a cut leaves them in both. Returns what was done, as a sentence; empty when the file ends with a
/// line feed or there is none. Throws Failure; then no byte is lost.
std::string endTornLine(const StoreDirectory &directory, int position);

}  // namespace tool

#endif
