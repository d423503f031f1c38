// SPDX-License-Identifier: Apache-2.0
// The index file: which ring positions hold the oldest items and the items being written.
//
//   index.csv   the text described in index_text.h
//   index.bak   the former index, only while index.csv is being rewritten
//
// A rewrite renames index.csv to index.bak, writes the new index.csv and deletes index.bak, so that a
// power cut leaves the former or the new index to be read; only a cut while the few bytes of the new file are
// being written leaves an index.csv that cannot be read, beside a good index.bak.
//
// All of this is called with the file mutex held.
#ifndef JORN_SRC_STORE_INDEX_FILE_H
#define JORN_SRC_STORE_INDEX_FILE_H

#include <stdint.h>

#include "linkage.h"
#include "registry/log_object.h"

/// Reads the index, or its backup when index.csv cannot be opened, into index_version, csv_oldest and
/// csv_latest. Positions must be below 90; negative ones pass. Returns how many positions were read (1
/// or 2), -1 on any failure; the fields may then hold the values that were rejected. A backup that was
/// used becomes index.csv again, unless its version is wrong.
JORN_INTERNAL int32_t jorn_ReadCsvIndexFile(JORN_OBJ *obj);

/// Rewrites the index on the medium; the object's fields stay unchanged. Returns 0; -1 when `obj` is null or
/// index.csv cannot be created (the former index is then in index.bak).
JORN_INTERNAL int32_t jorn_UpdateCsvIndexFile(JORN_OBJ *obj, int32_t oldest, int32_t latest);

/// Writes an index with both positions 0 and, when that succeeds, sets the object's fields to match. Returns
/// what jorn_UpdateCsvIndexFile() returned.
JORN_INTERNAL int32_t jorn_NewCsvIndexFile(JORN_OBJ *obj);

/// Renames a file of the "/yaffs" file system, whose own rename takes paths without that prefix; other
/// paths are passed as they are. Always returns 0, even when a path is null and nothing is renamed.
JORN_INTERNAL int32_t jorn_RenameFile(const char *src, const char *dst);

#endif
