// SPDX-License-Identifier: Apache-2.0
#include "item_format.h"

#include <time.h>

#include "escape.h"

namespace tool {
namespace {

/// The time of a record, which is in the form of ctime, in one that sorts.
std::string formatTime(const char *recordTime, bool isUtc) {
    if (recordTime[0] == '\0') {
        return "-";
    }
    tm time = {};
    const char *const end = strptime(recordTime, "%a %b %d %H:%M:%S %Y", &time);
    char text[sizeof "2106-02-07 06:28:15Z"];
    if (end == nullptr || *end != '\0' ||
        strftime(text, sizeof text, isUtc ? "%Y-%m-%d %H:%M:%SZ" : "%Y-%m-%d %H:%M:%S", &time) == 0) {
        return escaped(recordTime);
    }
    return text;
}

/// A piece of a damaged line can lack its line feed, or hold a carriage return before it.
std::string withoutLineEnd(std::string text) {
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

/// Levels and slots are numbers unless the file is damaged.
std::string formatText(std::string text, bool isEscaped) {
    text = withoutLineEnd(std::move(text));
    return isEscaped ? escaped(text) : text;
}

}  // namespace

std::string formatItem(const JORN_LOG_DISP &item, const ItemFormat &format) {
    return formatTime(item.timeStr, format.isUtc) + " " + formatText(item.levelStr, format.isEscaped) + " " +
           formatText(item.slotStr, format.isEscaped) + " " + formatText(item.logStr, format.isEscaped) +
           "\n";
}

}  // namespace tool
