// SPDX-License-Identifier: Apache-2.0
// Steps of creation and destruction. The mutex, the queue and the store task come with the first object
// and go with the last one.
#ifndef JORN_SRC_REGISTRY_LIFECYCLE_H
#define JORN_SRC_REGISTRY_LIFECYCLE_H

#include <stdint.h>

#include "linkage.h"

/// Copies a directory name without its trailing slashes. `dst` has room for 32 bytes. Returns the length;
/// -1 when a pointer is null or the name is not absolute, shorter than 2 or longer than 31 characters as
/// passed, or nothing but slashes.
JORN_INTERNAL int32_t jorn_CopyDirectoryName(char *dst, const char *src);

/// Makes sure that a directory exists, creating its last level when it does not, and that no live object
/// uses it. Returns 0 or -1.
JORN_INTERNAL int32_t jorn_VerifyDirectoryName(const char *name);

/// Create the file mutex and the queue. Return 0, or -1 with a message.
JORN_INTERNAL int32_t jorn_CreateMutex(void);
JORN_INTERNAL int32_t jorn_CreateMsgQ(void);

/// Delete them, unless there never was one. The ids keep their stale values.
JORN_INTERNAL void jorn_DeleteMutex(void);
JORN_INTERNAL void jorn_DeleteMsgQ(void);

#endif
