// SPDX-License-Identifier: Apache-2.0
// The file being followed, and how far it has been read.
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

/// What has been read of a file, to recognise it in a copy that lacks lines which are not items.
struct ReadItems {
    uint64_t count = 0;
    uint64_t hash = 0;
    std::string last;  ///< The line of the last one.
};

/// What a reading asks and reports.
struct CursorHooks {
    std::function<bool()> isStill;                    ///< Whether what was just read can be trusted.
    std::function<bool(const Item &)> item;           ///< False when no more is wanted.
    std::function<void(const std::string &)> damage;  ///< A sentence that names the file.
};

class FileCursor {
public:
    enum class Reading {
        Done,   ///< Up to the end, except for an unfinished last line.
        Stale,  ///< Must be looked at again; the place is after the last item passed on.
        Ended,  ///< No more is wanted.
    };

    /// At the start of an opened file.
    explicit FileCursor(const RingFile &file);

    const std::string &path() const { return path_; }
    int number() const { return number_; }
    FileMark mark() const { return markOf(file_.get()); }
    uint64_t offset() const { return offset_; }
    const ReadItems &read() const { return read_; }

    /// The first bytes that were read, at most a line.
    const std::string &head() const { return head_; }
    bool isFull() const { return read_.count >= jorn::kCsvItemMax; }

    /// Whether no name leads to the file any more.
    bool isDeleted() const;

    bool isOf(const RingFile &file) const;

    /// Whether what has been read is still in the file: it was not restarted.
    bool isIntact() const;

    /// Takes the file's present name and number in the ring.
    void moveTo(const RingFile &file);

    /// The file was restarted.
    void restart();

    /// Passes on what has been added. An unfinished line at the end waits for its rest, unless `isFinal`.
    /// Damage is reported in the part that is passed.
    Reading readOn(const ItemFilter &filter, bool isFinal, const CursorHooks &hooks);

    /// Takes everything before `end` as read.
    void skipTo(uint64_t end);

    /// Takes everything as read except an unfinished last line.
    void skipAll();

    /// Moves past the items that were read of another copy. False, at an arbitrary place, when they are not
    /// there.
    bool skipBehind(const ReadItems &items);

    /// Moves past the last line equal to `wanted`. False when there is none.
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
