// SPDX-License-Identifier: Apache-2.0
// Which files of a ring can hold items of a day range, found from the summaries alone.
#ifndef JORN_SRC_QUERY_FILE_LOCATOR_H
#define JORN_SRC_QUERY_FILE_LOCATOR_H

#include <stdint.h>

#include "jorn.h"
#include "linkage.h"
#include "registry/log_object.h"

/// Sets range[0] to the oldest-side and range[1] to the newest-side ring position for the day limits of
/// `req`; in a wrapped ring range[0] may be the larger number. Files strictly between the two lie wholly
/// inside the day range, given that the files follow each other in time. Returns 0; -1 when `obj` is
/// null (range untouched), the limits contradict each other or no file qualifies (range -1 and -1, with
/// a message). Opens no file. Called with the file mutex held.
JORN_INTERNAL int32_t jorn_FindCsvByTime(JORN_OBJ *obj, const JORN_REQUIRE *req, int32_t range[2]);

#endif
