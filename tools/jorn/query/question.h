// SPDX-License-Identifier: Apache-2.0
// What a reading command is asked: which log, which items, and which names to use.
#ifndef JORN_TOOLS_QUESTION_H
#define JORN_TOOLS_QUESTION_H

#include <optional>
#include <string>
#include <vector>

#include "log/names.h"
#include "log/store_directory.h"
#include "query/item_filter.h"

namespace tool {

struct Question {
    StoreDirectory directory;
    std::optional<int> ringSize;  ///< Where the directory does not show it.
    Names names;                  ///< Given by the user, or found beside the data.
    ItemFilter filter;
    std::vector<std::string> notes;  ///< A names file beside the data that cannot be used.
    bool isNumbers = false;          ///< Numbers are shown where there are names.

    /// Names for showing: none when numbers are wanted.
    const Names &shownNames() const { return isNumbers ? noNames() : names; }
};

}  // namespace tool

#endif
