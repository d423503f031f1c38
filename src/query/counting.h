// SPDX-License-Identifier: Apache-2.0
// Counting of the items that match a requirement. All but the exported function are called with the file
// mutex held.
#ifndef JORN_SRC_QUERY_COUNTING_H
#define JORN_SRC_QUERY_COUNTING_H

#include <stdint.h>

#include "jorn.h"
#include "linkage.h"
#include "registry/log_object.h"

/// Counts over all files of the day range: the two files at its ends by reading them, those between from
/// their summaries. Returns the total; -1 when `obj` is null or no file can hold items of the day range, the
/// outputs then untouched. `dstFileRange` (2 entries, may be null) gets the oldest and newest position that
/// hold a match, both -1 when none does. `dstNumInCsv` (90 entries whatever the ring's size, may be null)
/// gets the matches by position.
JORN_INTERNAL int32_t jorn_CountRequireNumInAllCsv(JORN_OBJ *obj, const JORN_REQUIRE *req,
                                                   int32_t *dstFileRange, int32_t *dstNumInCsv);

/// Counts by reading the file at a ring position (not range-checked). Returns the number of matching
/// lines; -1 when `obj` is null or the file cannot be opened.
JORN_INTERNAL int32_t jorn_CountRequireNumInOneCsv(JORN_OBJ *obj, int32_t fileIdx, const JORN_REQUIRE *req);

/// Counts from the summary at a ring position (taken modulo csv_num), by level and slot alone. A level
/// outside the object's counts every level below the debug level, a slot outside it every slot: that
/// differs from the line filter on purpose. Returns the sum; -1 when `obj` is null.
JORN_INTERNAL int32_t jorn_CountRequireNumFromArray(JORN_OBJ *obj, int32_t fileIdx, const JORN_REQUIRE *req);

#endif
