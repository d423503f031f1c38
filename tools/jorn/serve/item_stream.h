// SPDX-License-Identifier: Apache-2.0
// New items as server-sent events, until the client goes or the server stops.
//
//   event: items    {"items":[...],"total":N}       new items that pass; of each log in its order, each once
//   event: change   {"total":N,"items_lost":K}      at the beginning, and whenever items left the view
//   event: gone     {"total":N}                     items left before they were sent, or some came back into
//                                                   view: a list is to be loaded anew
//
// N is null while the items could not be counted in time; a change follows once they were.
//
// The id of each event is the position after it, from which another stream goes on without gap or double. A
// stream holds a position and no items: a client that reads slowly is sent later what is in view by then.
#ifndef JORN_TOOLS_ITEM_STREAM_H
#define JORN_TOOLS_ITEM_STREAM_H

#include <stdint.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "http/request.h"
#include "serve/item_texts.h"
#include "serve/served_logs.h"
#include "serve/stream_position.h"
#include "serve/text_matches.h"
#include "serve/view_filter.h"

namespace tool {

struct StreamPace {
    std::chrono::milliseconds pingEvery{15000};  ///< The longest time without anything being sent,
    std::chrono::milliseconds lookEvery{1000};   ///< and without a look whether the client is still there.
    std::chrono::milliseconds changeEvery{500};  ///< The least time between two events that report a change.
    std::chrono::milliseconds longestCount{10000};     ///< Counting is given up after this time,
    std::chrono::milliseconds countAgainAfter{30000};  ///< and tried again after this one.
};

struct StreamTerms {
    ViewFilter filter;
    std::optional<std::string> position;  ///< Where to begin; nothing: with what comes from now on.
    bool isUtc = false;
    StreamPace pace{};
};

class ItemStream {
public:
    /// Most items of an event.
    static constexpr size_t kMostItems = 200;

    ItemStream(ServedLogs *logs, TextMatches *matches, const StreamTerms &terms)
        : logs_(*logs), matches_(matches), terms_(terms), json_(terms.isUtc, terms.filter.marked()) {}

    /// False where the client is gone.
    bool run(const WebWrite &write);

private:
    using Clock = std::chrono::steady_clock;

    void begin();
    bool step();
    void lookAtViews();
    bool sendGone();
    bool sendItemsOf(size_t log);
    std::vector<RowRef> nextRows(size_t log, int64_t *next) const;
    bool sendChange();
    bool sendEvent(const char *name, const std::string &data, const StreamPosition &position);
    bool keepAlive();
    bool isPassed(size_t log) const;
    bool isAnyPassed() const;
    bool hasChanged() const;
    std::chrono::milliseconds longestWait() const;
    void countAll();

    ServedLogs &logs_;
    TextMatches *matches_;
    const StreamTerms &terms_;
    ItemJson json_;
    const WebWrite *write_ = nullptr;
    std::function<void()> requireWanted_;  ///< Throws RequestError when the stream is to end.
    std::shared_ptr<const Snapshot> snapshot_;
    std::shared_ptr<const Snapshot> seen_;  ///< The one that was compared with its forerunner last.
    StreamPosition position_;
    bool hasBegun_ = false;
    bool isGone_ = false;      ///< Items left unsent or came back, which is still to be reported.
    bool hasToCount_ = true;   ///< Others than those that were sent have left or come.
    bool isReported_ = false;  ///< The first change was, and the first number after one that was unknown.
    int64_t lost_ = 0;         ///< Items that have left since the last change was reported.
    std::optional<uint64_t> total_;  ///< Items that pass, of those in view when they were counted and those
    StreamPosition counted_;         ///< sent since, which begin here. Nothing: they could not be counted.
    Clock::time_point nextCount_;    ///< Not counted before this time.
    std::vector<std::shared_ptr<const LogHealth>> health_;
    Clock::time_point changeSent_;
    Clock::time_point lastSent_;
};

}  // namespace tool

#endif
