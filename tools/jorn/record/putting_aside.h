// SPDX-License-Identifier: Apache-2.0
// Moves a ring whose order cannot be determined out of the way of new items, within its own directory.
#ifndef JORN_TOOLS_PUTTING_ASIDE_H
#define JORN_TOOLS_PUTTING_ASIDE_H

#include <time.h>

#include <optional>
#include <string>

#include "log/store_directory.h"

namespace tool {

/// Moves the data files and the index into a new directory within the log's and returns its name. Until all
/// are moved, the new directory's name says so; a start after a cut continues the move. Throws Failure.
std::string putAside(const StoreDirectory &directory, time_t now);

/// Completes what a cut has left unfinished: moves the rest of the ring, unless the ring has been given an
/// index since. If neither the index nor a data file had moved, undoes the move instead, as if it had never
/// begun. Returns the name of the directory, or nothing if there is none now. Throws Failure.
std::optional<std::string> finishPuttingAside(const StoreDirectory &directory);

}  // namespace tool

#endif
