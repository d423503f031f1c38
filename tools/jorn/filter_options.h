// SPDX-License-Identifier: Apache-2.0
// The options of the reading commands that say which directory and which items are meant.
#ifndef JORN_TOOLS_FILTER_OPTIONS_H
#define JORN_TOOLS_FILTER_OPTIONS_H

#include <stdint.h>

#include <CLI/App.hpp>
#include <optional>
#include <string>

#include "jorn.h"

namespace tool {

struct FilterOptions {
    std::string directory;
    std::optional<int> files;
    std::optional<int32_t> since;
    std::optional<int32_t> until;
    std::optional<int32_t> level;
    std::optional<int32_t> slot;
    bool isExact = false;
};

/// Adds the options to a command. `options` must outlive the parsing.
void addFilterOptions(CLI::App *command, FilterOptions *options);

/// The days and the slot of the options as the module takes them; levels and page are left open. Throws
/// Failure when the days contradict each other.
JORN_REQUIRE requirementOf(const FilterOptions &options);

}  // namespace tool

#endif
