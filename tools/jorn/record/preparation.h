// SPDX-License-Identifier: Apache-2.0
// Prepares a directory before the store opens it, so that the store's start-up neither loses nor overwrites
// an item, nor runs two together.
#ifndef JORN_TOOLS_PREPARATION_H
#define JORN_TOOLS_PREPARATION_H

#include <stdint.h>

#include <functional>
#include <optional>

#include "log/store_directory.h"
#include "record/live_store.h"
#include "record/recorder.h"

namespace tool {

/// Returns how many items the input can have; nothing if that is unknown. Called only where it matters.
using MostItems = std::function<std::optional<uint64_t>()>;

/// Runs every step in turn and returns the settings to start the store with. Throws Failure.
LiveStore::Settings prepareDirectory(const StoreDirectory &directory, const RecordOptions &options,
                                     const MostItems &mostItems);

}  // namespace tool

#endif
