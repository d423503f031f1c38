// SPDX-License-Identifier: Apache-2.0
#ifndef USRLIB_H
#define USRLIB_H

#ifdef __cplusplus
extern "C" {
#endif

void printErrno(int errNo);

#ifdef __cplusplus
}
#endif

#endif
