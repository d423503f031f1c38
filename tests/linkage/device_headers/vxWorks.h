// SPDX-License-Identifier: Apache-2.0
// Headers in the form of the device's, for a build that is never run: what a platform of the module declares
// differently from the port, as far as it affects the module.
//
// Here, the basic types; `min` and `max` are macros.
#ifndef VXWORKS_H
#define VXWORKS_H

typedef int STATUS;
typedef unsigned int UINT;

#ifdef __cplusplus
typedef int (*FUNCPTR)(...);
#else
typedef int (*FUNCPTR)();
#endif

#define OK 0
#define ERROR (-1)
#define NO_WAIT 0
#define WAIT_FOREVER (-1)

#define min(x, y) (((x) < (y)) ? (x) : (y))
#define max(x, y) (((x) < (y)) ? (y) : (x))

#endif
