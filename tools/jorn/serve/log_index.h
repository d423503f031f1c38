// SPDX-License-Identifier: Apache-2.0
// The items of one log in view, kept up to date while a writer appends, moves on around the ring, clears the
// log or is restarted, and while the log is repaired or replaced.
#ifndef JORN_TOOLS_LOG_INDEX_H
#define JORN_TOOLS_LOG_INDEX_H

#include <stdint.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "log/names.h"
#include "log/ring_view.h"
#include "log/store_directory.h"
#include "serve/log_block.h"
#include "system/file_mark.h"

namespace tool {

/// A log that is served.
struct ServedLog {
    std::string name;  ///< UTF-8, distinct among those served.
    std::string path;  ///< As the user gave it.
    Names names;
    std::optional<int> ringSize;  ///< Where the directory does not show it.
};

/// What is in view of a log at one moment. It never changes; each look makes a new one.
struct LogView {
    std::shared_ptr<const ServedLog> log;
    std::vector<LogBlock> blocks;  ///< The oldest first, none empty.
    uint64_t items = 0;
    uint64_t bytes = 0;
    size_t files = 0;
    int ringSize = 0;
    bool isMissing = false;  ///< There is no such directory now, or it cannot be read.

    /// Changes when the numbers of items could not be kept: followers have to begin anew.
    uint64_t epoch = 0;

    /// The number that the next new item gets.
    int64_t nextSerial = 0;

    /// How many of the items with this number or a higher one are in view.
    int64_t itemsFrom(int64_t serial) const;

    /// Whether all items with this number or a higher one are in view.
    bool isCompleteFrom(int64_t serial) const { return itemsFrom(serial) == nextSerial - serial; }

    /// The number of the oldest item in view that has this number or a higher one; that of the next new item
    /// where there is none.
    int64_t serialFrom(int64_t serial) const;
};

/// What separates two views of a log, the same epoch taken for granted.
struct ViewChange {
    int64_t lost = 0;      ///< Items of the former view that are not in the later one.
    int64_t returned = 0;  ///< Items of the later view that are not new and were not in the former one.
};
ViewChange changeBetween(const LogView &former, const LogView &later);

class LogIndex {
public:
    explicit LogIndex(ServedLog log);

    enum class Look {
        Same,     ///< Nothing has changed.
        Changed,  ///< view() gives another one.
        Pending,  ///< A writer was at work; look again soon.
    };

    /// What is enough to go on with what is known of a file.
    enum class Trust {
        Marks,    ///< It seems to be the same.
        Nothing,  ///< It is read as a whole, and has the same items.
    };

    /// Never throws: what cannot be read is not in view.
    Look refresh(Trust trust = Trust::Marks);

    std::shared_ptr<const LogView> view() const { return view_; }

private:
    using FileId = std::pair<dev_t, ino_t>;
    using Parts = std::vector<LogBlock>;

    bool openDirectory();
    Look lookAnew();
    bool addFile(const RingView &view, size_t index, Parts *blocks);
    bool readFile(const RingFile &file, Parts *parts);
    bool readAnew(const RingFile &file, const Parts *known, Parts *parts);
    bool readWhole(const RingFile &file, Parts *parts);
    bool readRest(const RingFile &file, Parts *parts);
    bool readUnfinished(const RingFile &file, Parts *parts);
    const Parts *knownParts(const FileMark &mark) const;
    void number(Parts *blocks, bool isOldAtTheEnd);
    bool hasOldAtTheEnd(const Parts &blocks) const;
    bool isOld(const LogBlock &block) const;
    bool tryToNumber(Parts *blocks);
    void remember(const Parts &blocks);
    void rememberUnseen(const RingView &view, const Parts &blocks);
    void publish(Parts blocks, const RingView *view);

    std::shared_ptr<const ServedLog> log_;
    Trust trust_ = Trust::Marks;  ///< Of the look that goes on.
    std::shared_ptr<const StoreDirectory> directory_;
    FileMark directoryMark_;
    std::map<FileId, Parts> known_;      ///< Files in view now or before, each with its parts in order.
    std::map<FileId, FileMark> unseen_;  ///< Files with content that were out of view at the last look.
    int64_t nextSerial_;
    int64_t lowestSerial_;
    uint64_t epoch_ = 0;
    std::shared_ptr<const LogView> view_;
};

}  // namespace tool

#endif
