// SPDX-License-Identifier: Apache-2.0
// The items of one log that are shown: those that match, and their neighbours.
#ifndef JORN_TOOLS_LOG_LINES_H
#define JORN_TOOLS_LOG_LINES_H

#include <stdint.h>

#include <deque>

#include "query/context_window.h"
#include "query/item_scanner.h"

namespace tool {

/// What is wanted of a log.
struct LinesWish {
    Order order = Order::OldestFirst;
    uint64_t most = UINT64_MAX;  ///< Matches, in that order, with their neighbours.
    ContextSize context;         ///< By places in the log. With any, the filter has to mark matches.
    ScanStart start;
};

class LogLines {
public:
    /// View, filter and damage must outlive it. Reads nothing yet.
    LogLines(const RingView &view, const ItemFilter &filter, const LinesWish &wish, DamageLog *damage);
    LogLines(const LogLines &) = delete;
    LogLines &operator=(const LogLines &) = delete;

    /// Moves on to the next item; to the first one when it is called for the first time.
    void advance();

    /// The item; null at the end. Valid until the next call of advance().
    const Item *head() const { return head_; }

    /// Whether other items were left out between it and the one before it.
    bool isApart() const { return !lines_.empty() && lines_.front().isApart; }

    void setWatch(ItemScanner::Watch watch) { scanner_.setWatch(std::move(watch)); }

private:
    struct Line {
        Item item;
        bool isApart;
    };

    void fill();

    ItemScanner scanner_;
    const bool hasContext_;
    uint64_t matchesLeft_;
    ContextWindow window_;
    std::deque<Line> lines_;  ///< With context: read, and still to be shown.
    const Item *head_ = nullptr;
};

}  // namespace tool

#endif
