/* SPDX-License-Identifier: Apache-2.0 */
/* The kernel's memory calls and small helpers, on the C library. */
#ifndef STUB_LINUX_COMPAT_H
#define STUB_LINUX_COMPAT_H

#include <stdlib.h>

#define GFP_NOFS 0
#define kmalloc(size, flags) malloc(size)
#define kfree(block) free(block)
#define vmalloc(size) malloc(size)
#define vfree(block) free(block)
#define cond_resched() ((void)0)
#define hweight8(bits) __builtin_popcount((bits)&0xFFU)
#define hweight32(bits) __builtin_popcount(bits)

#ifndef __cplusplus
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))
#endif

#endif
