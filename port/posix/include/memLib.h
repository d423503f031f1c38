// SPDX-License-Identifier: Apache-2.0
// Error number of calls that create something and find no room for it.
#ifndef MEMLIB_H
#define MEMLIB_H

/// No memory, no thread, or no room among the objects of that kind (1024 of each may exist at a time).
#define S_memLib_NOT_ENOUGH_MEMORY 0x110001

#endif
