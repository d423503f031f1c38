// SPDX-License-Identifier: Apache-2.0
// The device's headers by their shape, for a build that is never run: what a platform of the module declares
// differently from the port, as far as the module meets it.
//
// Of the basic types: `min` and `max` are macros.
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
