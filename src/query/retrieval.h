// SPDX-License-Identifier: Apache-2.0
// Paged retrieval. Matching items are numbered twice: over the whole ring from 1 at the newest, and
// within one file from 1 at its oldest.
#ifndef JORN_SRC_QUERY_RETRIEVAL_H
#define JORN_SRC_QUERY_RETRIEVAL_H

#include <stdint.h>

#include "jorn.h"
#include "linkage.h"
#include "registry/log_object.h"

/// Reads the matching items `itemOldest` to `itemLatest` of the file at a ring position (not
/// range-checked) into `disp`, newest first. Returns r, the number of matching lines counted before it
/// stopped: the first r - itemOldest + 1 records are filled (none when that is 0 or less), the others
/// untouched. -1 with a message when an item number is 0 or less, a pointer is null or the file cannot be
/// opened. Called with the file mutex held.
JORN_INTERNAL int32_t jorn_ReadItemInOneCsv(JORN_OBJ *obj, int32_t fileIdx, const JORN_REQUIRE *require,
                                            int32_t itemOldest, int32_t itemLatest, JORN_LOG_DISP *disp);

/// Splits a line into a display record. Returns 0; -1 with a message when a field is missing; the fields
/// before it are then filled already. Called with the file mutex held, because it uses ctime.
JORN_INTERNAL int32_t jorn_BreakDownOneItemString(const char *line, JORN_LOG_DISP *rec);

#endif
