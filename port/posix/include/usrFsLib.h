// SPDX-License-Identifier: Apache-2.0
#ifndef USRFSLIB_H
#define USRFSLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Removes a file, not a directory. Returns OK, or ERROR with the host's error number in errno (EINVAL for
/// null).
STATUS rm(const char *fileName);

#ifdef __cplusplus
}
#endif

#endif
