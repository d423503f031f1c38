// SPDX-License-Identifier: Apache-2.0
// The order in which the items of several logs are shown together: of the items that come next in their logs,
// the one with the earliest time comes first, and of several with that time the one of the log named first.
//
// So each log keeps its own order. Where its clock was put back, the items after that come at once after the
// one before it, as they did when they were stored; the items of the other logs wait for none of them. A
// device that starts at 1970 until it learns the time thus stays where it was among the others. (The largest
// time so far, in place of the item's own, gives the same order but for equal times.) The order depends on
// nothing but the items that are still to come, so that it may begin anywhere.
#ifndef JORN_TOOLS_NEXT_LOG_H
#define JORN_TOOLS_NEXT_LOG_H

#include <stddef.h>
#include <stdint.h>

#include "log/item.h"

namespace tool {

inline constexpr size_t kNoLog = SIZE_MAX;

/// The log whose item comes next; kNoLog where there are no more. headOf(log) is the next item of a log, null
/// at its end.
template <class HeadOf>
size_t nextLog(size_t logs, const HeadOf &headOf) {
    size_t next = kNoLog;
    int64_t earliest = 0;
    for (size_t log = 0; log < logs; ++log) {
        const Item *const head = headOf(log);
        if (head != nullptr && (next == kNoLog || head->seconds < earliest)) {
            next = log;
            earliest = head->seconds;
        }
    }
    return next;
}

}  // namespace tool

#endif
