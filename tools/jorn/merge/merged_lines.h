// SPDX-License-Identifier: Apache-2.0
// The items of several logs as one sequence: see next_log.h for their order. Memory is bounded, but for 16
// bytes for each change from one log to another where several are passed on newest first.
#ifndef JORN_TOOLS_MERGED_LINES_H
#define JORN_TOOLS_MERGED_LINES_H

#include <stdint.h>

#include <functional>
#include <memory>
#include <vector>

#include "log/damage.h"
#include "log/ring_view.h"
#include "merge/log_lines.h"
#include "query/context_window.h"
#include "query/item_filter.h"

namespace tool {

/// One of the logs. What it points to must outlive the merge.
struct MergedLog {
    const RingView *view;
    const ItemFilter *filter;
    DamageLog *damage;
};

struct MergeWish {
    uint64_t newest = UINT64_MAX;  ///< How many matches, of all logs together, with their neighbours.
    bool isNewestFirst = false;    ///< Exactly the reverse of the other order.
    ContextSize context;           ///< Neighbours are those in the same log.
    bool isOlderAsked = false;     ///< Find out whether there are older matches, however long it takes.
};

class MergedLines {
public:
    /// Finds where to begin. To show several logs newest first, reads them all once.
    MergedLines(std::vector<MergedLog> logs, const MergeWish &wish);

    /// There are matches older than those wanted; known only where it was asked.
    bool hasOlder() const { return hasOlder_; }

    /// Called from time to time while logs are read, however rare matches are.
    void setWatch(const std::function<void()> &watch);

    /// Moves on to the next item, or to the first one. False at the end.
    bool next();

    const Item &item() const { return *lines_[log_]->head(); }
    /// Which log the item is of.
    size_t log() const { return log_; }
    /// Whether a group of neighbours begins with the item, and it is not the first.
    bool isApart() const;

private:
    /// As many items of one log, one after the other.
    struct Run {
        size_t log;
        uint64_t items;
    };

    std::vector<LinesWish> startOldestFirst(const MergeWish &wish);
    void begin(const std::vector<LinesWish> &wishes);
    size_t chooseNext();
    size_t chooseByRuns();

    const std::vector<MergedLog> logs_;
    const bool hasContext_;
    bool hasOlder_ = false;
    std::vector<std::unique_ptr<LogLines>> lines_;
    bool isReversed_ = false;
    std::vector<Run> runs_;  ///< With several logs newest first: the order of the others, the last run last.
    bool hasBegun_ = false;
    size_t log_ = 0;  ///< Of the present item.
    uint64_t shown_ = 0;
    std::vector<bool> hasShown_;  ///< Whether there was an item of the log before the present one.
};

/// An item and its log, by their order in the arguments.
struct MergedItem {
    size_t log;
    Item item;
};

/// The newest of all items, the oldest first, from the newest of each log, newest first.
std::vector<MergedItem> mergeNewest(std::vector<std::vector<Item>> newestOfEach, size_t most);

}  // namespace tool

#endif
