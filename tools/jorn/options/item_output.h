// SPDX-License-Identifier: Apache-2.0
// What the commands that print items have in common on their command lines.
#ifndef JORN_TOOLS_ITEM_OUTPUT_H
#define JORN_TOOLS_ITEM_OUTPUT_H

#include <stdint.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <optional>
#include <string>

#include "options/filter_options.h"
#include "options/log_set.h"
#include "options/output_options.h"
#include "output/item_format.h"
#include "query/context_window.h"

namespace tool {

/// What "-n all" means.
inline constexpr uint64_t kAllItems = UINT64_MAX;

/// Adds -n, which takes a number or "all". `newest` must outlive the parsing.
CLI::Option *addNewestOption(CLI::App *command, std::optional<uint64_t> *newest, const std::string &meaning);

/// Adds -A, -B and -C to a command that has --grep. `context` must outlive the parsing.
void addContextOptions(CLI::App *command, ContextSize *context);

/// The style of items that the options ask for. The log must outlive the style.
ItemStyle itemStyleOf(const OutputOptions &output, const FilterOptions &filter, const NamedLog &log);

}  // namespace tool

#endif
