/* SPDX-License-Identifier: Apache-2.0 */
/* A state that the file system calls impossible ends the program: its own default only traces. */
#ifndef STUB_LINUX_BUG_H
#define STUB_LINUX_BUG_H

#include <stdlib.h>

#define BUG() abort()

#endif
