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
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cursor/log_files.h"
#include "cursor/numbering.h"
#include "cursor/recognition.h"
#include "log/damage.h"
#include "query/item_filter.h"

namespace tool {

class LogPull {
public:
    /// `fresh` is the epoch to begin if a new one is needed. Throws Failure.
    LogPull(const StoreDirectory &directory, std::optional<int> ringSize, const LogCursor &cursor,
            uint64_t fresh);

    /// The epoch of the new items.
    uint64_t epoch() const { return reached_.current().epoch; }

    /// Passes on the new items, the oldest first, with their numbers, until `take` returns false. Those that
    /// the filter leaves out get numbers too.
    void run(const ItemFilter &filter, const std::function<bool(const Item &)> &take);

    /// The cursor, with everything that was passed on so far marked as sent.
    LogCursor reached() const;

    /// Marks everything that was passed on so far as arrived.
    void settle();

    /// The number of the data file of the item that was passed on last.
    int fileNumber() const { return tracked_->number; }

    /// Whether items have been gone through, passed on or not.
    bool hasMoved() const { return isMoved_; }

    /// Whether a writer came round during the reading: there may be more.
    bool isOvertaken() const { return isOvertaken_; }

    /// Whether nothing can be sent until the index, or files that must show which log this is, can be read.
    /// A log without items is not waiting.
    bool isWaiting() const { return !isPlanned_ && !isOvertaken_ && !damage_.isEmpty(); }

    /// Worth knowing; none of it is damage.
    const std::vector<std::string> &notes() const { return notes_; }
    const DamageLog &damage() const { return damage_; }

private:
    bool canPlan() const;
    bool plan(uint64_t fresh);
    bool goOnInEpoch();
    void goOn(const Recognition &found);
    bool goOnWithoutFile(uint64_t fresh);
    void beginEpoch(uint64_t fresh);
    void beginFirstEpoch(uint64_t fresh);
    std::vector<const RingFile *> clearedFiles(const KnownFile &last);
    bool isNewSince(const KnownFile &last, const ItemTable &table) const;
    void beginAtOldest();
    const RingFile *oldestWithItems();
    bool mayBeSameLog(const KnownFile &last, const RingFile &oldest);
    void noteGapAfter(const KnownFile &last, const RingFile &oldest);
    void updateKnown(const Recognition &found);
    void takeBack();
    void updateNewest(const KnownFile &known, const FileMatch &match);
    void updateNewer(const KnownFile &known);
    bool isUnchanged(const RingFile &file, const KnownFile &known);
    bool isDamaged(const RingFile &file, const KnownFile &known);
    void keepDamaged(const RingFile &file);
    void updateOpen(const KnownFile &known);
    void adopt(const RingFile &file, const FileMatch &match);
    void chooseWalk();
    bool isDone(int number);
    bool isKnownToItsEnd(int number);
    void noteEnd(const RingFile &file, FileEnd end);
    void noteUnreadable(int number);
    FileEnd readFile(const RingFile &file, const std::function<bool(const Line &)> &take);
    void beginTrack(const RingFile &file, uint64_t items);
    bool passOn(const Line &line, const ItemFilter &filter, const std::function<bool(const Item &)> &take);
    std::optional<uint64_t> numberOf(uint64_t item);
    uint64_t nextNumber();
    void reserveForUnread();
    void putInOrder(Numbering *numbering) const;
    void describeTracked(Numbering *numbering) const;
    void noteDoubtful(const RingFile &file, const FileMatch &match);
    void noteGone(const KnownFile &known);
    void noteDamaged(const RingFile &file, uint64_t items);
    bool noteUnread();

    LogFiles files_;
    std::string stamp_;  ///< Of what is being read.
    LogCursor reached_;
    std::vector<const RingFile *> walk_;  ///< The files to be read.
    int newest_ = -1;                     ///< The newest known file.
    std::map<int, uint64_t> former_;      ///< Files that the writer has come to, as they were: their items.
    FileTrack track_;
    const RingFile *tracked_ = nullptr;  ///< The file of the track.
    uint64_t badLines_ = 0;              ///< Since the last item.
    bool hasUnread_ = false;             ///< Some file could not be read to its end.
    bool isPlanned_ = false;             ///< The cursor's files are known in the log.
    bool isMoved_ = false;
    bool isOvertaken_ = false;
    bool isWhole_ = false;  ///< All was read.
    std::vector<std::string> notes_;
    DamageLog damage_;
};

}  // namespace tool

#endif
