// SPDX-License-Identifier: Apache-2.0
// The store task: the only writer of data files.
#ifndef JORN_SRC_STORE_STORE_TASK_H
#define JORN_SRC_STORE_STORE_TASK_H

#include <stdint.h>

#include "linkage.h"
#include "registry/log_object.h"

/// Entry of `tLogStore`. Every 100 ticks it counts the waiting messages and, holding the file mutex,
/// appends exactly that many items to their objects' files; a pass that finds none closes the open file.
/// Returns -1 when the mutex or the queue is missing at its start; otherwise only taskDelete ends it.
JORN_INTERNAL int32_t jorn_TskStoreLogCsv(void);

namespace jorn {

/// Forgets whatever a former store task left. To be called before a new one is spawned.
void storeTaskReset();

/// Makes the store task forget an object that has been unlinked, and closes the file that it holds open
/// for it. To be called with the file mutex held, before the object is freed.
void storeTaskLetGo(const JORN_OBJ *obj);

/// Whether the store task is about to close, or closing, a file in a pass without messages. It does so
/// without the mutex, and the last lines of the file are on the medium only once it has finished.
bool isStoreTaskClosing();

}  // namespace jorn

#endif
