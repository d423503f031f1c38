/* SPDX-License-Identifier: Apache-2.0 */
/* Division of wide numbers, which every host has. */
#ifndef STUB_DIV64_H
#define STUB_DIV64_H

#include <stdlib.h> /* has a function of that name, which is to be known first */

#define lldiv(dividend, divisor) ((dividend) / (divisor))

#endif
