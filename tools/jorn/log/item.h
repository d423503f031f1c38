// SPDX-License-Identifier: Apache-2.0
// One stored item as the reading commands pass it on.
#ifndef JORN_TOOLS_ITEM_H
#define JORN_TOOLS_ITEM_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace tool {

/// The numbers are what filters use; the texts are what the module's record of the item shows: in a damaged
/// line the fields can be anything, and a text is cut after 199 characters.
struct Item {
    int64_t seconds = 0;  ///< Since 1970 UTC. Beyond 32 bits only in a damaged line.
    int32_t level = 0;
    int32_t slot = 0;
    std::string levelText;  ///< As the file holds it.
    std::string slotText;   ///< As the file holds it.
    std::string text;       ///< Without line feed; never a NUL.
    bool isMatch = true;    ///< False for one that is passed on only as a neighbour of a match.
    size_t fileIndex =
        0;                ///< Of its data file among the files of the view. Set by scanners, with the offset.
    uint64_t offset = 0;  ///< Byte at which its line begins in that file.
    uint64_t seq = 0;     ///< Its number within the epoch of its log, where items are numbered.
};

}  // namespace tool

#endif
