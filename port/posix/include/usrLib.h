// SPDX-License-Identifier: Apache-2.0
#ifndef USRLIB_H
#define USRLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Prints one line that explains an error number to standard output through printf, for example
/// "errno = 0x3d0002 : S_objLib_OBJ_UNAVAILABLE". Numbers of this port get their name, numbers of the host
/// the C library's text. 0 stands for the caller's errno. Leaves errno alone.
void printErrno(int errNo);

#ifdef __cplusplus
}
#endif

#endif
