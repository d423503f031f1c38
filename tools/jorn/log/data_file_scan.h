// SPDX-License-Identifier: Apache-2.0
// One pass over a data file: what it holds, and every run of bytes that the store would not have written.
#ifndef JORN_TOOLS_DATA_FILE_SCAN_H
#define JORN_TOOLS_DATA_FILE_SCAN_H

#include <stdint.h>

#include <vector>

namespace tool {

enum class FlawKind {
    Zeros,        ///< NULs where a line should begin.
    Unparsable,   ///< Lines with fewer than three fields.
    LongLine,     ///< Lines that do not fit the store's reader, which reads them in pieces.
    InnerZeros,   ///< Items whose text, for the store, ends at a NUL.
    RunTogether,  ///< Lines that are probably two: one lost its end, and the next was appended to it.
    NoNumber,     ///< Items with a field that holds no number and counts as 0.
    OutOfTable,   ///< Items with a level or slot that no log can have.
    TornEnd,      ///< The last line has no line feed: the next item would be joined to it.
};

/// Consecutive lines of the same kind make one flaw.
struct Flaw {
    FlawKind kind = FlawKind::Zeros;
    int64_t offset = 0;
    int64_t length = 0;
    int64_t lines = 1;
};

/// Times earlier than the one before, in file order.
struct BackSteps {
    int64_t count = 0;
    int64_t firstOffset = 0;
    uint32_t largest = 0;  ///< Seconds.
};

struct FileScan {
    int64_t size = 0;
    int64_t items = 0;
    uint32_t firstTime = 0;  ///< Of the first and the last item.
    uint32_t lastTime = 0;
    bool startsCleared = false;  ///< The first item says that the log was cleared.
    BackSteps backSteps;
    std::vector<Flaw> flaws;
    int64_t moreFlaws = 0;  ///< Beyond those that are listed.

    /// Whether a repair has something to do in the file: lines to cut, or an end to mend.
    bool needsMending() const;
};

/// Reads the file once, in bounded memory. Throws std::system_error.
FileScan scanDataFile(int fd);

}  // namespace tool

#endif
