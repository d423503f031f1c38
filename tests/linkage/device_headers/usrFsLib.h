// SPDX-License-Identifier: Apache-2.0
#ifndef USRFSLIB_H
#define USRFSLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

STATUS rm(const char *fileName);

#ifdef __cplusplus
}
#endif

#endif
