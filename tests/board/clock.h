/* SPDX-License-Identifier: Apache-2.0 */
/* The board's clock, which tests set. */
#ifndef JORN_TESTS_BOARD_CLOCK_H
#define JORN_TESTS_BOARD_CLOCK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Seconds since 1970 UTC: what was set, plus the seconds that the running tick has added since. Ticks
 * announced by hand take no time. */
uint32_t boardTime(void);
void boardSetTime(uint32_t seconds);

#ifdef __cplusplus
}
#endif

#endif
