// SPDX-License-Identifier: Apache-2.0
#ifndef SEMLIB_H
#define SEMLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct deviceSemaphore *SEM_ID;

#define SEM_Q_PRIORITY 0x01
#define SEM_INVERSION_SAFE 0x08

SEM_ID semMCreate(int options);
STATUS semTake(SEM_ID semId, int timeout);
STATUS semGive(SEM_ID semId);
STATUS semDelete(SEM_ID semId);

#ifdef __cplusplus
}
#endif

#endif
