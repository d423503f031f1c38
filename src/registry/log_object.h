// SPDX-License-Identifier: Apache-2.0
// The log object record.
#ifndef JORN_SRC_REGISTRY_LOG_OBJECT_H
#define JORN_SRC_REGISTRY_LOG_OBJECT_H

#include <stdint.h>

#include "module_limits.h"
#include "ring.h"

struct jorn_csv_info;

/// One log object: a directory and its ring of data files. Owned by the registry from linking to
/// unlinking, borrowed by everything else. The ring positions and summaries are guarded by the file mutex,
/// except in clearing, which changes them and index_version after releasing it. `next` changes when the next
/// object is destroyed; the other fields stay as creation set them. level_max and slot_max never exceed the
/// tables of a summary.
///
/// Ring positions come from the index file and so may hold any number until the start-up tidying has brought
/// them into the ring; code that indexes with them goes through ringOf().
typedef struct jorn_obj {
    int32_t handle_id;                 ///< 1 or more, unique among live objects.
    struct jorn_obj *next;             ///< The next older object; null at the tail.
    char dirName[jorn::kDirNameSize];  ///< Absolute path without a trailing slash.
    int32_t level_max;                 ///< Always 4; levels below it are valid.
    int32_t slot_max;                  ///< 1 to 8; slots below it are valid.
    int32_t csv_num;                   ///< Files of the ring, 2 to 90.
    int32_t index_version;             ///< Version of the index in memory; 1 is valid.
    int32_t csv_oldest;                ///< Ring position of the oldest items.
    int32_t csv_latest;                ///< Ring position of the file being written.
    struct jorn_csv_info *csv_info;    ///< csv_num summaries by ring position; owned.
    uint32_t final_csv_time;           ///< Time of the newest item stored before creation, 0 if none.
} JORN_OBJ;

namespace jorn {

/// The ring of an object, with the positions that it has at this moment.
inline Ring ringOf(const JORN_OBJ &obj) { return {obj.csv_num, obj.csv_oldest, obj.csv_latest}; }

}  // namespace jorn

#endif
