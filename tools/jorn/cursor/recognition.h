// SPDX-License-Identifier: Apache-2.0
// Recognises the log of a numbering by its files.
//
// A writer goes around the ring, so the file that it came to last is also the last one that it starts afresh.
// As long as any file before that one is as it was, the newest known one is there, perhaps without its end.
// And as long as that one is there, all files that the writer has not come to since are as they were, except
// for damage. On a device that always starts with the same items, any file may begin with them, so the newest
// file alone proves little: the files before it must agree, the nearest first. Files may get other numbers
// when the size of the ring changes; the number of files between two of them stays the same. Where it does
// not, since files have gone, the contents of each are what is left to go by.
#ifndef JORN_TOOLS_RECOGNITION_H
#define JORN_TOOLS_RECOGNITION_H

#include <stdint.h>

#include <optional>
#include <vector>

#include "cursor/file_match.h"
#include "cursor/log_files.h"
#include "cursor/numbering.h"

namespace tool {

/// This many items do not agree by chance.
inline constexpr uint64_t kProof = 32;

/// Any file may begin with fewer: those that a device stores at each start.
inline constexpr uint64_t kFewest = 8;

struct Recognition {
    int number = -1;           ///< Of the data file that is the newest known one.
    FileMatch match;           ///< What it holds of it.
    uint64_t weight = 0;       ///< Items that were found again, as far as was looked.
    bool isToBegin = false;    ///< The writer still has to start the newest file afresh.
    std::vector<int> numbers;  ///< Where each known file is now, in their order; -1 if it is gone.
};

/// Returns nothing if the files show that the newest known one is gone, or show nothing.
std::optional<Recognition> recognise(LogFiles *files, const Numbering &numbering);

}  // namespace tool

#endif
