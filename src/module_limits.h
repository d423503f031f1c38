// SPDX-License-Identifier: Apache-2.0
// Every limit of the module, once: value, unit, reason. Those that users see are in jorn.h and get their
// module names here. (Not called limits.h: on an include path that would hide the C library's.)
#ifndef JORN_SRC_MODULE_LIMITS_H
#define JORN_SRC_MODULE_LIMITS_H

#include <stddef.h>
#include <stdint.h>

#include "jorn.h"

namespace jorn {

constexpr int32_t kLevelMax = JORN_LEVEL_MAX;
constexpr int32_t kLevelDebug = JORN_LEVEL_DEBUG;
constexpr int32_t kSlotMax = JORN_SLOT_MAX;
constexpr int32_t kCsvNumMin = JORN_CSV_NUM_MIN;

/// Data files of all objects together, and so the size of every table indexed by ring position that
/// does not belong to one object.
constexpr int32_t kCsvNumMax = JORN_CSV_NUM_MAX;

/// Items counted in a data file before the ring moves on.
constexpr int32_t kCsvItemMax = JORN_CSV_ITEM_MAX;

/// Records of one page.
constexpr int32_t kPageItemMax = JORN_REQUIRE_PAGE_MAX;

/// Bytes of a directory name field, its NUL included.
constexpr size_t kDirNameSize = JORN_DIR_NAME_MAX + 1;

/// Shortest directory name: a slash and one more character.
constexpr size_t kDirNameMin = 2;

/// Characters of an int32 in decimal, a minus sign included.
constexpr size_t kInt32Digits = 11;

/// Bytes of a path "directory/position.csv", with its NUL. For ring positions 44 would do; there is room
/// for any int32, so that a damaged position is harmless.
constexpr size_t kDataPathSize = (kDirNameSize - 1) + sizeof "/.csv" + kInt32Digits;

/// Bytes of a path "directory/index.csv", with its NUL.
constexpr size_t kIndexPathSize = 44;

/// Bytes of an item's text that a submission keeps.
constexpr size_t kTextMax = JORN_TEXT_MAX;

/// Messages that wait in the queue between two passes of the store task.
constexpr int32_t kQueueMessages = JORN_QUEUE_MAX;

/// Longest message that the queue carries, in bytes; a received message must be shorter.
constexpr size_t kMessageSize = 272;

/// Longest line that a submission makes, in characters.
constexpr size_t kItemLineMax = sizeof "4294967295,-2147483648,-2147483648,\n" - 1 + kTextMax;

/// Longest line that the store task writes and that a reader gets in one piece, in characters.
constexpr size_t kLineMax = 256;

/// Size argument of every fgets over a data file: one line piece and its NUL.
constexpr size_t kLineBufferSize = kLineMax + 1;

/// Characters of a line that the parser reads: one less than a piece may have.
constexpr size_t kParsedChars = 255;

// handle, time, level and slot with a comma each, the text, the line feed and the NUL.
static_assert(4 * (kInt32Digits + 1) + kTextMax + 2 <= kMessageSize,
              "a submitted item must fit a queue message");
static_assert(kItemLineMax <= kLineMax,
              "a submitted item must pass the store task and come back in one piece");

/// Ticks between two passes of the store task.
constexpr int kStoreTicks = JORN_STORE_TICKS;

/// Store task: near the bottom of the 0 (highest) to 255 range, so that logging yields to all work.
constexpr int kStorePriority = 250;

/// Stack of the store task in bytes.
constexpr int kStoreStack = 4096;

/// The only index file version.
constexpr int32_t kIndexVersion = 1;

constexpr uint32_t kSecondsPerHour = 3600;
constexpr uint32_t kHoursPerDay = 24;
constexpr uint32_t kSecondsPerDay = kSecondsPerHour * kHoursPerDay;

}  // namespace jorn

#endif
