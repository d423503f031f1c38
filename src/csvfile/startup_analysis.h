// SPDX-License-Identifier: Apache-2.0
// What creation does with a directory: load the index, tidy the ring, summarise every file. Called with
// the file mutex held.
#ifndef JORN_SRC_CSVFILE_STARTUP_ANALYSIS_H
#define JORN_SRC_CSVFILE_STARTUP_ANALYSIS_H

#include <stdint.h>

#include "linkage.h"
#include "registry/log_object.h"

/// Closes gaps in the ring, deletes surplus files, brings csv_oldest and csv_latest into the ring and
/// rewrites the index when they changed. Failed renames and deletions are not reported. Returns 0; -1
/// when `obj` is null.
JORN_INTERNAL int32_t jorn_PickUpCsvValidRange(JORN_OBJ *obj);

/// The whole start-up analysis; fills the ring positions, csv_info, final_csv_time and the module's
/// largest time. Returns 0; -1 when `obj` is null.
JORN_INTERNAL int32_t jorn_InitAnalyseCSV(JORN_OBJ *obj);

#endif
