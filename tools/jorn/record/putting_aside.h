// SPDX-License-Identifier: Apache-2.0
// Moves a ring that nobody can tell the order of out of the way of new items, within its own directory.
#ifndef JORN_TOOLS_PUTTING_ASIDE_H
#define JORN_TOOLS_PUTTING_ASIDE_H

#include <time.h>

#include <optional>
#include <string>

#include "log/store_directory.h"

namespace tool {

/// Moves data files and index into a new directory in the log's own one and returns its name. While it is
/// under way the new directory's name says so; a start after a cut goes on with it. Throws Failure.
std::string putAside(const StoreDirectory &directory, time_t now);

/// Ends what a cut has left unfinished: moves what is left of the ring, unless somebody has given that an
/// index since. Where neither the index nor a data file had moved, it is undone instead, as if it had never
/// been begun. Returns the name of the directory; nothing where there is none now. Throws Failure.
std::optional<std::string> finishPuttingAside(const StoreDirectory &directory);

}  // namespace tool

#endif
