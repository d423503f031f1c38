// SPDX-License-Identifier: Apache-2.0
// Items as lines of text.
#ifndef JORN_TOOLS_ITEM_FORMAT_H
#define JORN_TOOLS_ITEM_FORMAT_H

#include <string>

#include "jorn.h"

namespace tool {

struct ItemFormat {
    bool isUtc = false;      ///< The module runs with UTC as local time; times get a "Z".
    bool isEscaped = false;  ///< Texts get through escaped().
};

/// "2026-11-21 06:47:08 1 0 text" with its line feed: time, level, slot and text of a record. A time that
/// cannot be read stands as the record gives it, without one it is "-".
std::string formatItem(const JORN_LOG_DISP &item, const ItemFormat &format);

}  // namespace tool

#endif
