// SPDX-License-Identifier: Apache-2.0
// What a log holds beyond a cursor: one look at its files, and then its new items, each with its number.
//
// A cursor knows each data file by its items, and the number of each item that was ever sent. So an item that
// is sent again keeps its number, however far the ring has moved on since, and an item without a number gets
// the next one that no item has ever had.
#ifndef JORN_TOOLS_LOG_PULL_H
#define JORN_TOOLS_LOG_PULL_H

#include <stdint.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cursor/log_files.h"
#include "cursor/numbering.h"
#include "cursor/pull_notes.h"
#include "cursor/pull_plan.h"
#include "query/item_filter.h"

namespace tool {

class LogPull {
public:
    /// `newEpoch` is the epoch to begin if a new one is needed. Throws Failure.
    LogPull(const StoreDirectory &directory, std::optional<int> ringSize, const LogCursor &cursor,
            uint64_t newEpoch);
    LogPull(const LogPull &) = delete;
    LogPull &operator=(const LogPull &) = delete;

    /// The epoch of the new items.
    uint64_t epoch() const { return plan_.cursor.current().epoch; }

    /// Passes on the new items, the oldest first, with their numbers, until `take` returns false. Those that
    /// the filter leaves out get numbers too.
    void run(const ItemFilter &filter, const std::function<bool(const Item &)> &take);

    /// The cursor, with everything that was passed on so far marked as sent.
    LogCursor reached() const;

    /// Marks everything that was passed on so far as arrived.
    void markArrived();

    /// The number of the data file of the item that was passed on last.
    int fileNumber() const { return tracked_->number; }

    /// Whether items have been gone through, passed on or not.
    bool hasMoved() const { return isMoved_; }

    /// Whether a writer came round during the reading: there may be more.
    bool isOvertaken() const { return isOvertaken_; }

    /// Whether nothing can be sent until the index, or files that must show which log this is, can be read.
    /// A log without items is not waiting.
    bool isWaiting() const { return plan_.isWaiting && !isOvertaken_; }

    /// Worth knowing; none of it is damage.
    const std::vector<std::string> &notes() const { return notes_.texts(); }
    const DamageLog &damage() const { return notes_.damage(); }

private:
    FileEnd readFile(const RingFile &file, const std::function<bool(const Line &)> &take);
    void noteEnd(const RingFile &file, FileEnd end);
    void beginTrack(const RingFile &file, uint64_t items);
    bool passOn(const Line &line, const ItemFilter &filter, const std::function<bool(const Item &)> &take);
    std::optional<uint64_t> numberOf(uint64_t item);
    uint64_t nextNumber();
    void reserveForUnread();
    void describeTracked(Numbering *numbering) const;
    void putInOrder(Numbering *numbering) const;

    LogFiles files_;
    std::string stamp_;  ///< Of what is being read.
    PullNotes notes_;
    PullPlan plan_;
    FileTrack track_;
    const RingFile *tracked_ = nullptr;  ///< The file of the track.
    uint64_t badLines_ = 0;              ///< Since the last item.
    bool isMoved_ = false;
    bool isOvertaken_ = false;
    bool isAllRead_ = false;
};

}  // namespace tool

#endif
