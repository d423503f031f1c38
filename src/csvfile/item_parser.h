// SPDX-License-Identifier: Apache-2.0
// The parser that every reader of data files calls, and the day of a time.
#ifndef JORN_SRC_CSVFILE_ITEM_PARSER_H
#define JORN_SRC_CSVFILE_ITEM_PARSER_H

#include <stdint.h>

#include "csvfile/line.h"
#include "linkage.h"

/// Parses the first 255 characters of `line` into `item` with jorn::parseLine(). Returns 0; -1 with a message
/// when a field is missing; the fields before it are then stored already. Reentrant.
JORN_INTERNAL int32_t jorn_AnalyseOneItemInfo(const char *line, JORN_ITEM_INFO *item);

/// Day number of a time: whole days since 1970-01-01 UTC, 0 to 49710.
JORN_INTERNAL uint32_t jorn_TimeToDay(uint32_t seconds);

#endif
