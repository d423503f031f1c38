// SPDX-License-Identifier: Apache-2.0
// As the file system has it: a header for C only, which does not mark its functions for C++, includes headers
// of the C library itself, and defines macros of its own for minimum and maximum.
#ifndef YAFFSFS_H
#define YAFFSFS_H

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#ifndef min
#define min(x, y) (((x) < (y)) ? (x) : (y))
#endif
#ifndef max
#define max(x, y) (((x) < (y)) ? (y) : (x))
#endif

int yaffs_rename(const char *oldPath, const char *newPath);

#endif
