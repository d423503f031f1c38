// SPDX-License-Identifier: Apache-2.0
// Whether the item on one line is wanted by a requirement.
#ifndef JORN_SRC_QUERY_REQUIREMENT_FILTER_H
#define JORN_SRC_QUERY_REQUIREMENT_FILTER_H

#include <stdint.h>

#include "jorn.h"
#include "linkage.h"

/// Returns 0 when the item on `line` is wanted; -1 when it is not, when the line is blank and when it
/// cannot be parsed. The first test that rejects it prints why, at print level 8. Reentrant.
JORN_INTERNAL int32_t jorn_WhetherItemRequireOrNot(const char *line, const JORN_REQUIRE *require);

#endif
