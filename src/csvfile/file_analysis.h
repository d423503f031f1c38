// SPDX-License-Identifier: Apache-2.0
// Maintains the summaries of an object's files: from a whole file that is read, and from each line that is
// appended. Called with the file mutex held.
#ifndef JORN_SRC_CSVFILE_FILE_ANALYSIS_H
#define JORN_SRC_CSVFILE_FILE_ANALYSIS_H

#include <stdint.h>

#include "csvfile/file_summary.h"
#include "linkage.h"
#include "registry/log_object.h"

/// Reads the data file at a ring position (not range-checked) and fills `info`. Returns 0; -1 when
/// `obj` is null or the file cannot be opened, `info` then untouched. Lines that do not parse are skipped. A
/// smallest time of 0 counts as not yet set.
JORN_INTERNAL int32_t jorn_AnalyseOneCsvInfo(JORN_OBJ *obj, int32_t fileIdx, JORN_CSV_INFO *info);

/// Counts one line, just appended to the file at a ring position, in the object's summary. Returns 0;
/// -1 when `obj` is null, the position is outside the ring or the line does not parse, the summary
/// then unchanged. Here a smallest time of 0 is a time like any other.
JORN_INTERNAL int32_t jorn_UpdateCsvInfo(JORN_OBJ *obj, int32_t fileIdx, const char *line);

/// Raises the module's largest time found at start-up to `time`, if that is larger. Returns 0.
JORN_INTERNAL int32_t jorn_UpdateMaxTime(uint32_t time);

#endif
