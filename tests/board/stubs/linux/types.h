/* SPDX-License-Identifier: Apache-2.0 */
/* Types and names that a host's own headers define and newlib's do not. */
#ifndef STUB_LINUX_TYPES_H
#define STUB_LINUX_TYPES_H

#include <sys/types.h>
#include <unistd.h>

typedef long long loff_t;

#endif
