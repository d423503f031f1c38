// SPDX-License-Identifier: Apache-2.0
// What a log holds beyond a cursor: one look at its files, and then its new items, each with its number.
//
// The place of what has arrived is looked for among the files, and so is that of what may have arrived. Where
// only the latter is found, because the ring has moved on meanwhile, numbers are counted back from it, so
// that what is sent again has the numbers it had. Where neither is found, the items between are gone, or
// another log is there.
#ifndef JORN_TOOLS_LOG_PULL_H
#define JORN_TOOLS_LOG_PULL_H

#include <stdint.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cursor/log_files.h"
#include "cursor/numbering.h"
#include "log/damage.h"
#include "query/item_filter.h"

namespace tool {

class LogPull {
public:
    /// `fresh` is the epoch that begins where it must. Throws Failure.
    LogPull(const StoreDirectory &directory, std::optional<int> ringSize, const LogCursor &cursor,
            uint64_t fresh);

    /// The epoch of the new items.
    uint64_t epoch() const { return reached_.current().epoch; }

    /// Passes on the new items, the oldest first, with their numbers; false of `take` ends it. Those that the
    /// filter leaves out have their numbers too.
    void run(const ItemFilter &filter, const std::function<bool(const Item &)> &take);

    /// The cursor as it is once all that was passed on has arrived.
    LogCursor reached() const;

    /// Whether items have been gone over, passed on or not.
    bool hasMoved() const { return isMoved_; }

    /// A writer came round while this was reading: there may be more.
    bool isOvertaken() const { return isOvertaken_; }

    /// Worth knowing; none of it is damage.
    const std::vector<std::string> &notes() const { return notes_; }
    const DamageLog &damage() const { return damage_; }

private:
    struct Anchors {
        std::optional<FoundPlace> place;
        std::vector<std::optional<FoundPlace>> attempts;  ///< As many as there are.
        bool isAny() const {
            return place || std::any_of(attempts.begin(), attempts.end(),
                                        [](const auto &found) { return found.has_value(); });
        }
    };
    /// From one item of a file on, numbers go on with another one than the next.
    struct Jump {
        const RingFile *file = nullptr;
        uint64_t items = 0;
        uint64_t doubtful = 0;
        uint64_t number = 0;
    };

    void plan(uint64_t fresh);
    void planFromEarlierEpochs(uint64_t fresh);
    Anchors anchorsOf(const Numbering &numbering);
    static Anchors provenOf(Anchors anchors);
    void goOn(const Anchors &anchors);
    void goOnAfter(const FoundPlace &place);
    void goOnPast(size_t first, const Anchors &anchors);
    bool goOnTo(const Attempt &attempt, const FoundPlace &found);
    size_t countBack(const Anchors &anchors);
    void jumpAt(const FoundPlace &place, uint64_t number);
    void goOnWithoutPlace(uint64_t fresh);
    void beginEpoch(uint64_t fresh);
    bool mayBeSameLog(const Place &place);
    uint64_t gapAfter(const Place &place) const;
    void startAtOldest();
    std::optional<uint64_t> itemsUpTo(const FoundPlace &end);
    uint64_t passedItems(const RingFile &file);
    void tellDoubtful(const FoundPlace &found);

    FileEnd readFile(const RingFile &file, bool isFirst, const std::function<bool(const Line &)> &take);
    void beginTrack(const RingFile &file);
    void takeJump(const RingFile &file, bool isAtEnd);
    void takeItem(const RingFile &file, const Line &line);
    bool passOn(const Line &line, const ItemFilter &filter, const std::function<bool(const Item &)> &take);
    void leave(const RingFile &file);
    void noteGap(uint64_t items);

    LogFiles files_;
    std::string stamp_;  ///< Of what is being read.
    LogCursor reached_;
    uint64_t start_ = 0;                  ///< The number before that of the first new item.
    int64_t next_ = 1;                    ///< Number of the next item.
    int64_t lowest_ = 1;                  ///< Items of lower numbers have arrived.
    std::vector<const RingFile *> walk_;  ///< The files to be read.
    uint64_t firstItems_ = 0;             ///< Items of the first one that were read before,
    std::optional<FileSum> firstFormer_;  ///< and what came before that file.
    FoundPlace base_;                     ///< The place whose number is known best,
    uint64_t baseItems_ = 0;              ///< the new items up to there,
    int64_t baseNumber_ = 0;              ///< and the number of the last one.
    std::vector<Jump> jumps_;             ///< Still ahead.
    uint64_t readItems_ = 0;              ///< Items of the file under way that were read before.
    uint64_t toSkip_ = 0;                 ///< Items that are passed over without a number.
    PlaceTrack track_;
    const RingFile *tracked_ = nullptr;  ///< The file of the track.
    std::optional<FileSum> former_;      ///< All of the file before the one that is read.
    uint64_t badLines_ = 0;              ///< Since the last item.
    bool isUnread_ = false;              ///< Items of a file could not be read, and none came since.
    bool isMoved_ = false;
    bool isOvertaken_ = false;
    bool isWhole_ = false;  ///< All was read.
    std::vector<std::string> notes_;
    DamageLog damage_;
};

}  // namespace tool

#endif
