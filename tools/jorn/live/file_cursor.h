// SPDX-License-Identifier: Apache-2.0
// The file that is being followed, and the place up to which it has been read.
#ifndef JORN_TOOLS_FILE_CURSOR_H
#define JORN_TOOLS_FILE_CURSOR_H

#include <stdint.h>

#include <functional>
#include <string>
#include <string_view>

#include "log/item.h"
#include "log/ring_view.h"
#include "log/segment_reader.h"
#include "log/stored_line.h"
#include "query/item_filter.h"
#include "system/descriptor.h"
#include "system/file_mark.h"

namespace tool {

/// What has been read of a file, so that it is known again in a copy that lacks lines which are no items.
struct ReadItems {
    uint64_t count = 0;
    uint64_t hash = 0;
    std::string last;  ///< The line of the last one.
};

/// What a reading asks and tells.
struct CursorHooks {
    std::function<bool()> isStill;                    ///< Whether what was just read can be believed.
    std::function<bool(const Item &)> item;           ///< False when nobody wants any more.
    std::function<void(const std::string &)> damage;  ///< A sentence that names the file.
};

class FileCursor {
public:
    enum class Reading {
        Done,   ///< Up to the end, save an unfinished last line.
        Stale,  ///< Must be looked at anew; the place is that of the last item that was passed on.
        Ended,  ///< Nobody wants any more.
    };

    /// At the beginning of an opened file.
    explicit FileCursor(const RingFile &file);

    const std::string &path() const { return path_; }
    int number() const { return number_; }
    FileMark mark() const { return markOf(file_.get()); }
    uint64_t offset() const { return offset_; }
    const ReadItems &read() const { return read_; }

    /// The first bytes that were read, a line at most.
    const std::string &head() const { return head_; }
    bool isFull() const { return read_.count >= jorn::kCsvItemMax; }

    /// Whether no name leads to the file any more.
    bool isDeleted() const;

    bool isOf(const RingFile &file) const;

    /// Whether what has been read is still in the file: it was not started afresh.
    bool isIntact() const;

    /// Takes over where in the ring the file is now.
    void moveTo(const RingFile &file);

    /// The file was started afresh.
    void restart();

    /// Passes on what has been added. An unfinished line at the end waits for its rest, unless the file is
    /// `final`. Damage is told for what is passed.
    Reading readOn(const ItemFilter &filter, bool isFinal, const CursorHooks &hooks);

    /// Takes all before `end` as read.
    void skipTo(uint64_t end);

    /// Takes all as read but an unfinished last line.
    void skipAll();

    /// Goes behind the items that were read of another copy. False, and anywhere, when they are not there.
    bool skipBehind(const ReadItems &items);

    /// Goes behind the last line that is the same. False when there is none.
    bool skipBehindLine(const std::string &wanted);

private:
    struct Emission;
    Reading emit(const Segment &segment, uint64_t end, bool isFinal, Emission *emission);
    bool scan(uint64_t end, const std::function<bool(const Line &)> &take);
    void account(const Line &line);
    static bool isUnfinished(const Line &line, uint64_t end);

    Descriptor file_;
    std::string path_;
    int number_ = -1;
    uint64_t offset_ = 0;
    ReadItems read_;
    std::string head_;  ///< The first bytes that were read,
    std::string tail_;  ///< and the last ones.
};

}  // namespace tool

#endif
