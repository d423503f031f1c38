// SPDX-License-Identifier: Apache-2.0
// All that is done to a directory before the store opens it, so that the store's start-up neither loses
// nor glues nor overwrites an item.
#ifndef JORN_TOOLS_PREPARATION_H
#define JORN_TOOLS_PREPARATION_H

#include <stdint.h>

#include <functional>
#include <optional>

#include "log/store_directory.h"
#include "record/live_store.h"
#include "record/recorder.h"

namespace tool {

/// How many items the input can have; nothing where nobody knows. Asked only where that matters.
using MostItems = std::function<std::optional<uint64_t>()>;

/// Takes each step in turn and returns the settings of the store over the directory. Throws Failure.
LiveStore::Settings prepareDirectory(const StoreDirectory &directory, const RecordOptions &options,
                                     const MostItems &mostItems);

}  // namespace tool

#endif
