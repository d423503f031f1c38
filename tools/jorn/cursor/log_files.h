// SPDX-License-Identifier: Apache-2.0
// The data files of a log, for finding known ones among them: those in view and, once they are asked for,
// those that a clearing or a lost index has put out of view.
#ifndef JORN_TOOLS_LOG_FILES_H
#define JORN_TOOLS_LOG_FILES_H

#include <list>
#include <map>
#include <optional>
#include <vector>

#include "cursor/file_items.h"
#include "log/ring_view.h"

namespace tool {

class LogFiles {
public:
    /// Throws Failure.
    LogFiles(const StoreDirectory &directory, std::optional<int> ringSize) : view_(directory, ringSize) {}

    const RingView &view() const { return view_; }

    /// All items of a file, read once.
    const ItemTable &table(const RingFile &file);

    /// The file with a number, in view or not; null if there is none that can be opened.
    const RingFile *numbered(int number);

    /// All of them: those in view, the newest first, and then the others.
    std::vector<const RingFile *> all();

    bool isInView(int number) const;
    bool exists(int number) const {
        return number >= 0 && view_.look().presence()[static_cast<size_t>(number)];
    }

    /// How many files the writer has begun since the one with this number, if it has not come round: 0 for
    /// the one that it is writing. A number without a place in the ring is older than the whole ring: nothing
    /// is written there.
    int age(int number) const;

    /// Whether the log was cleared, so that the writer may still have to start the newest file afresh.
    bool mayBeToBegin() const;
    /// Assumes that it still has to, so that this file is the oldest one; or that it does not.
    void assumeToBegin(bool isToBegin) { isToBegin_ = isToBegin; }

    /// The number of the file of an age; -1 if there is none.
    int ofAge(int age) const;

    /// Whether the view begins with the item of a clearing.
    bool isCleared();

    /// Whether the writer started a file afresh while it was being read.
    bool isOvertaken() const;

    /// Whether only a part of a file could be read.
    bool wasFailing(const RingFile &file) { return table(file).end == FileEnd::Failed; }

    /// Whether there is a file with that number that cannot be read to its end.
    bool isUnreadable(int number);

private:
    void openOutOfView();

    RingView view_;
    bool isToBegin_ = false;
    bool hasOpenedAll_ = false;
    std::list<RingFile> outOfView_;
    std::map<int, ItemTable> tables_;
};

}  // namespace tool

#endif
