// SPDX-License-Identifier: Apache-2.0
// Submission of items: each becomes a message (message.h) and is sent without waiting.
#ifndef JORN_SRC_REGISTRY_SUBMISSION_H
#define JORN_SRC_REGISTRY_SUBMISSION_H

#include <stdint.h>

#include "linkage.h"
#include "registry/log_object.h"

/// Submits "Log start init!" at the debug level, slot 0. Returns -1 when `obj` is null, else 0 whatever
/// became of the item.
JORN_INTERNAL int32_t jorn_AddLogInit(JORN_OBJ *obj);

/// The same with "Log all cleared!".
JORN_INTERNAL int32_t jorn_AddLogClear(JORN_OBJ *obj);

#endif
