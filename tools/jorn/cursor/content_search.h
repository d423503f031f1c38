// SPDX-License-Identifier: Apache-2.0
// Recognises a log by the content of its files alone, where their order in the ring shows nothing: files have
// gone, a repair has put them in another order, or the newest one was taken back by a power cut.
#ifndef JORN_TOOLS_CONTENT_SEARCH_H
#define JORN_TOOLS_CONTENT_SEARCH_H

#include <optional>
#include <vector>

#include "cursor/log_files.h"
#include "cursor/numbering.h"
#include "cursor/recognition.h"

namespace tool {

/// The numbers of the data files that are the known ones of this log, in their order; -1 for one that is not
/// found.
std::vector<int> numbersByContent(LogFiles *files, const std::vector<KnownFile> &known);

/// Whether a data file of this log certainly is the known one, whole or not.
bool hasContentOf(const KnownFile &known, const ItemTable &table);

/// The newest known file that is found counts as the newest one: that need not be the one that was. Only
/// files with the times of a clock are searched for, since on a device without one any file may begin with
/// the same items.
std::optional<Recognition> recogniseByContent(LogFiles *files, const Numbering &numbering);

}  // namespace tool

#endif
