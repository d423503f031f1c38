// SPDX-License-Identifier: Apache-2.0
// Follows a ring: passes on every item once, in order, while a writer appends, moves on around the ring,
// clears it or is restarted, and while the log is repaired or replaced.
//
// Each step looks once and returns; the caller waits for a change in between. A file is read to its end
// before the next one is begun. What the writer does to files is deduced from the index, which it rewrites
// after it has emptied the file it moves on to and before it writes anything there: what was read while the
// index stayed the same is the file as it was.
#ifndef JORN_TOOLS_RING_FOLLOWER_H
#define JORN_TOOLS_RING_FOLLOWER_H

#include <stdint.h>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "live/file_cursor.h"
#include "log/ring_look.h"
#include "log/ring_view.h"
#include "log/store_directory.h"
#include "query/item_filter.h"
#include "query/item_scanner.h"

namespace tool {

struct FollowerTerms {
    std::string directory;
    std::optional<int> ringSize;  ///< Where the directory does not show it.
    ItemFilter filter;
    uint64_t newest = 10;  ///< How many of the newest matching items already there are passed on,
    uint64_t before = 0;   ///< and how many neighbours before them.
};

/// Where a follower's findings go.
struct FollowerSink {
    std::function<bool(const Item &)> item;           ///< False when no more is wanted.
    std::function<void(const std::string &)> note;    ///< Worth knowing.
    std::function<void(const std::string &)> damage;  ///< Something could not be shown.
};

class RingFollower {
public:
    enum class State {
        Waiting,  ///< Everything was read. Look again when something in the directory has changed.
        Pending,  ///< The same, but look again soon: not all changes can be noticed now.
        Ended,    ///< No more is wanted.
    };

    RingFollower(FollowerTerms terms, FollowerSink sink) : terms_(std::move(terms)), sink_(std::move(sink)) {}

    /// Passes on what is there. Throws Failure.
    State step();

    /// Whether the item that is being passed on came only after the first look.
    bool isNew(const Item &item) const;

private:
    /// A data file whose items up to `mark` are not to be passed on, or not again.
    struct OldFile {
        FileMark mark;
        std::string head;
    };

    /// Where the newest file ended at the first look.
    struct FirstEnd {
        std::pair<dev_t, ino_t> file;
        uint64_t size;
    };

    using Result = std::optional<State>;  ///< Nothing: look again at once.

    Result tryStep();
    bool openDirectory();
    bool isIndexAsSeen() const;
    bool isCursorInPlace() const;

    Result lookAnew();
    Result begin(const RingView &view);
    ScanStart startOf(const RingView &view, uint64_t newest) const;
    void placeFirst(const RingView &view);
    void noteFirstEnd(const RingView &view);
    Result findPlace(const RingView &view, bool isIndexMoved);
    Result goOnOutside(const RingView &view, size_t first, bool isIntact);
    Result goOnInReplacement(const RingView &view);
    Result goOnWithFresh(const RingView &view);
    Result goBehind(const RingView &view, const ReadItems &items);
    Result walk(const RingView &view, size_t index);
    Result readNewest();
    FileCursor::Reading readOn(bool isFinal);
    static Result resultOf(FileCursor::Reading reading);

    size_t indexOf(const RingView &view) const;
    size_t nextFresh(const RingView &view, size_t first) const;
    const OldFile *oldFile(const RingFile &file) const;
    bool isStartedAgain(const RingView &view, size_t index) const;
    bool isLatest(const RingFile &file) const;
    void change(std::optional<FileCursor> cursor);
    void enter(const RingFile &file);
    void leave();
    void rememberAllBut(const RingView &view, size_t firstUnread);
    void rememberOutside(int number);
    void remember(const FileMark &mark, const std::string &begin);
    void tellPassed(const RingView &view, size_t next, bool isIntact) const;
    void tellDamage(const RingView &view);
    void tellOnce(const std::string &text, const std::function<void(const std::string &)> &tell);

    const FollowerTerms terms_;
    const FollowerSink sink_;
    std::optional<StoreDirectory> directory_;
    FileMark directoryMark_;
    bool isReplaced_ = false;  ///< The directory is not the one that the file being read was in.
    bool isNew_ = false;       ///< The directory did not exist at the first look, so all of it is new.
    bool hasBegun_ = false;
    std::optional<FirstEnd> firstEnd_;  ///< Nothing once it has been passed.
    IndexLook index_;
    std::optional<FileCursor> cursor_;
    FileMark lastMark_;        ///< Of the file being read, after the last reading.
    bool isAtNewest_ = false;  ///< The writer appends to it.
    ReadItems former_;         ///< What was read of the last file before it that had any items.
    std::map<std::pair<dev_t, ino_t>, OldFile> old_;
    std::set<std::string> told_;
    bool wasIndexUnusable_ = false;
};

}  // namespace tool

#endif
