// SPDX-License-Identifier: Apache-2.0
// The command of the tool that shows what the page shows, which the page offers to copy.
#ifndef JORN_TOOLS_SHOWN_COMMAND_H
#define JORN_TOOLS_SHOWN_COMMAND_H

#include <string>

#include "serve/served_logs.h"
#include "serve/view_filter.h"

namespace tool {

/// Options of the server that change what is read and printed; `jorn show` has them too.
struct ReadingTerms {
    bool isUtc = false;  ///< UTC is the local time of the process.
    std::string namesFile;
};

/// The command that prints the same items, for a POSIX shell in the working directory of the server.
std::string commandOf(const ViewFilter &filter, const Snapshot &snapshot, const ReadingTerms &terms);

}  // namespace tool

#endif
