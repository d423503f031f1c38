// SPDX-License-Identifier: Apache-2.0
// `jorn follow` and `jorn show -f`.
#ifndef JORN_TOOLS_LIVE_PRINTING_H
#define JORN_TOOLS_LIVE_PRINTING_H

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>

#include "options/filter_options.h"
#include "options/output_options.h"
#include "query/context_window.h"

namespace tool {

struct LivePrintingOptions {
    FilterOptions filter;
    OutputOptions output;
    std::optional<uint64_t> newest;  ///< Default: 10.
    bool isPolling = false;
    ContextSize context;
};

/// Adds --poll.
CLI::Option *addPollOption(CLI::App *command, bool *isPolling, const std::string &meaning);

/// Prints items as they come, until there can be no more or a signal ends it. Returns the exit code. Throws
/// Failure.
int printLive(const LivePrintingOptions &options);

}  // namespace tool

#endif
