// SPDX-License-Identifier: Apache-2.0
// Brings a cursor to what the files of its log are now, once these are recognised.
#ifndef JORN_TOOLS_CURSOR_UPDATE_H
#define JORN_TOOLS_CURSOR_UPDATE_H

#include <stdint.h>

#include <map>

#include "cursor/log_files.h"
#include "cursor/numbering.h"
#include "cursor/pull_notes.h"
#include "cursor/recognition.h"

namespace tool {

/// By the number of a file: how many items it holds from before, although the writer comes to it next.
using FormerFiles = std::map<int, uint64_t>;

/// Changes the current epoch: where its files are, which of their items are left, and where these are now.
FormerFiles updateCursor(LogFiles *files, LogCursor *cursor, const Recognition &found, PullNotes *notes);

/// Counts what was reserved for a file that has gone, and notes it.
void noteGone(const KnownFile &known, LogCursor *cursor, PullNotes *notes);

}  // namespace tool

#endif
