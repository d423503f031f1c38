// SPDX-License-Identifier: Apache-2.0
// The summary of one data file, as the module makes it at its start, read faster, and with what the module's
// summary cannot say. Held equal to the module's by tests.
#ifndef JORN_TOOLS_FILE_DIGEST_H
#define JORN_TOOLS_FILE_DIGEST_H

#include <stdint.h>

#include "csvfile/file_summary.h"
#include "log/damage.h"
#include "log/ring_view.h"
#include "log/stored_line.h"
#include "query/item_scanner.h"

namespace tool {

struct FileDigest {
    JORN_CSV_INFO info{};      ///< What jorn_AnalyseOneCsvInfo() gives for 8 slots.
    uint32_t earliest = 0;     ///< True smallest time; the module takes a smallest time of 0 for none.
    uint32_t latest = 0;       ///< True largest time.
    uint32_t strayLevels = 0;  ///< Items of levels outside 0 to 3: in itemCount, in no level.
    bool isReadable = true;    ///< False when the file could not be read to its end.

    bool isEmpty() const { return info.itemCount == 0; }
};

/// Adds an item to the summary of its file.
void fold(const LineNumbers &item, FileDigest *digest);

/// Reads a file once, and calls take(numbers) for each of its items, the oldest first. What is damaged is
/// told to `damage`.
template <class Take>
FileDigest digestOf(const RingFile &file, DamageLog *damage, const Take &take) {
    EveryPiece filter;
    FileDigest digest;
    digest.isReadable = forEachItemLine(file, &filter, damage, [&](const LineNumbers &item) {
        fold(item, &digest);
        take(item);
    });
    return digest;
}

/// The same for the summary alone.
FileDigest digestOf(const RingFile &file, DamageLog *damage);

}  // namespace tool

#endif
