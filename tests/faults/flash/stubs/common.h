/* SPDX-License-Identifier: Apache-2.0 */
/* What the file system's source expects from the boot loader that it comes with: the C library. */
#ifndef STUB_COMMON_H
#define STUB_COMMON_H

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>

#endif
