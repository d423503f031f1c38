// SPDX-License-Identifier: Apache-2.0
// Recognises the log of a numbering by its files.
//
// A writer goes around the ring, so it starts that file afresh last to which it had come last. While any file
// from before is as it was, the newest known one is there, perhaps without its end. And while that is there,
// all files are as they were that the writer has not come to since, but for damage. A few items may be the
// same in any file of a device that always starts with the same ones, so the newest file alone proves little:
// the files before it must agree, the nearest first. Files may get other numbers when the ring gets another
// size; how many there are between two of them stays.
#ifndef JORN_TOOLS_RECOGNITION_H
#define JORN_TOOLS_RECOGNITION_H

#include <stdint.h>

#include <optional>
#include <vector>

#include "cursor/file_match.h"
#include "cursor/log_files.h"
#include "cursor/numbering.h"

namespace tool {

/// So many items are not the same by chance.
inline constexpr uint64_t kProof = 32;

struct Recognition {
    int number = -1;           ///< Of the data file that is the newest known one.
    FileMatch match;           ///< What it holds of it.
    uint64_t weight = 0;       ///< Items that were found again, as far as was looked.
    bool isToBegin = false;    ///< The writer has still to start the newest file afresh.
    std::vector<int> numbers;  ///< Of each known file, in their order, where it is now; -1 where it is gone.
};

/// Nothing where the files show that the newest known one is gone, or show nothing.
std::optional<Recognition> recognise(LogFiles *files, const Numbering &numbering);

}  // namespace tool

#endif
