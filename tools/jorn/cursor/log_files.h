// SPDX-License-Identifier: Apache-2.0
// The data files of a log for those who look for a place: those in view, and, once they are asked for, those
// that a clearing or a lost index has put out of view.
#ifndef JORN_TOOLS_LOG_FILES_H
#define JORN_TOOLS_LOG_FILES_H

#include <stddef.h>

#include <list>
#include <map>
#include <optional>
#include <vector>

#include "cursor/file_items.h"
#include "cursor/place_match.h"
#include "log/ring_view.h"

namespace tool {

/// A place in a file of the log.
struct FoundPlace {
    const RingFile *file = nullptr;
    PlaceMatch match;
};

class LogFiles {
public:
    /// Throws Failure.
    LogFiles(const StoreDirectory &directory, std::optional<int> ringSize) : view_(directory, ringSize) {}

    const RingView &view() const { return view_; }

    /// All items of a file, read once.
    const ItemTable &table(const RingFile &file);

    /// A place, wherever it is known best; nothing where it is not known.
    std::optional<FoundPlace> find(const Place &place);

    /// The files from one on, the oldest first: of one out of view those that the writer went on to, and then
    /// those in view.
    std::vector<const RingFile *> from(const RingFile &file);

    /// Whether the log was cleared last where its view begins.
    bool isCleared();

private:
    std::optional<FoundPlace> matchIn(const RingFile &file, const Place &place);
    std::optional<FoundPlace> findLost(const Place &place);
    bool isCredible(const FoundPlace &found, const Place &place);
    const RingFile *precursorOf(const RingFile &file);
    const RingFile *successorOf(const RingFile &file);
    void openOutOfView();
    const RingFile *numbered(int number);

    RingView view_;
    bool hasOpenedAll_ = false;
    std::list<RingFile> outOfView_;
    std::map<int, ItemTable> tables_;
};

}  // namespace tool

#endif
