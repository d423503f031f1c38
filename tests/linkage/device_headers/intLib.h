// SPDX-License-Identifier: Apache-2.0
#ifndef INTLIB_H
#define INTLIB_H

#ifdef __cplusplus
extern "C" {
#endif

int intLock(void);
void intUnlock(int lockKey);

#ifdef __cplusplus
}
#endif

#endif
