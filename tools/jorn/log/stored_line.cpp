// SPDX-License-Identifier: Apache-2.0
#include "log/stored_line.h"

#include <time.h>

#include <algorithm>

#include "csvfile/line.h"

namespace tool {
namespace {

/// How many characters a record keeps of each field.
constexpr size_t kTimeText = sizeof(JORN_LOG_DISP::timeStr) - 1;
constexpr size_t kLevelText = sizeof(JORN_LOG_DISP::levelStr) - 1;
constexpr size_t kSlotText = sizeof(JORN_LOG_DISP::slotStr) - 1;
constexpr size_t kItemText = sizeof(JORN_LOG_DISP::logStr) - 1;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool beginsNumber(std::string_view field) {
    field.remove_prefix(std::min(field.find_first_not_of(" \t+-"), field.size()));
    return !field.empty() && isDigit(field.front());
}

/// A piece as the C string that the module's reader would see: what follows a NUL is hidden from it.
class PieceCopy {
public:
    explicit PieceCopy(std::string_view piece) {
        const size_t length = piece.copy(text_, jorn::kLineMax);
        text_[length] = '\0';
    }
    const char *get() const { return text_; }

private:
    char text_[jorn::kLineBufferSize];
};

LineKind numbersOf(const char *line, size_t maxChars, LineNumbers *numbers) {
    if (jorn::isBlankLine(line)) {
        return LineKind::Blank;
    }
    if (line[0] == '\0') {
        return LineKind::Zeros;
    }
    JORN_ITEM_INFO info;
    if (jorn::parseLine(line, maxChars, &info) != jorn::ParsedLine::Whole) {
        return LineKind::Damaged;
    }
    *numbers = {info.time, info.level, info.slot};
    return LineKind::Item;
}

std::string fieldText(std::string_view field, size_t most) { return std::string(field.substr(0, most)); }

/// A time as the module's record shows it, in UTC.
std::string recordTime(int64_t seconds) {
    const auto time = static_cast<time_t>(seconds);
    tm date = {};
    const char *const shown = gmtime_r(&time, &date) != nullptr ? asctime(&date) : nullptr;
    const std::string_view text = shown != nullptr ? shown : "";
    return fieldText(withoutLineFeed(text), kTimeText);
}

/// Sets the numbers of an item only.
LineKind readNumbers(std::string_view piece, LineNumbers *numbers) {
    // The parser needs a non-digit after a number: a line feed will do, otherwise a NUL must follow.
    if (piece.back() != '\n') {
        return numbersOf(PieceCopy(piece).get(), jorn::kParsedChars, numbers);
    }
    return numbersOf(piece.data(), std::min(piece.size(), jorn::kParsedChars), numbers);
}

}  // namespace

Line readLine(std::string_view piece, uint64_t offset) {
    Line line;
    line.bytes = piece;
    line.offset = offset;
    line.kind = readNumbers(piece, &line.numbers);
    return line;
}

bool holdsNumbers(std::string_view piece) {
    jorn::LineSplitter splitter(piece.data(), piece.size());
    for (int field = 0; field < 3; ++field) {
        if (!beginsNumber(splitter.takeField())) {
            return false;
        }
    }
    return true;
}

bool hasWholeNumbers(std::string_view piece) {
    jorn::LineSplitter splitter(piece.data(), piece.size());
    for (int field = 0; field < 3; ++field) {
        splitter.takeField();
    }
    return holdsNumbers(piece) && splitter.restBegin()[-1] == ',';
}

Item readItem(const Line &line) {
    jorn::LineSplitter splitter(line.bytes.data(), line.bytes.size());
    Item item;
    item.offset = line.offset;
    // A comma within the line ends an item's first fields, so no digit after the line is read.
    splitter.takeNumber(&item.seconds);
    item.level = line.numbers.level;
    item.slot = line.numbers.slot;
    item.levelText = fieldText(splitter.takeField(), kLevelText);
    item.slotText = fieldText(splitter.takeField(), kSlotText);
    item.text = withoutLineFeed(fieldText(splitter.rest(), kItemText));
    return item;
}

std::string_view textIn(std::string_view piece) {
    jorn::LineSplitter splitter(piece.data(), piece.size());
    for (int field = 0; field < 3; ++field) {
        splitter.takeField();
    }
    return withoutLineFeed(splitter.rest().substr(0, kItemText));
}

bool isRecordOf(const JORN_LOG_DISP &record, const Item &item) {
    return item.levelText == record.levelStr && item.slotText == record.slotStr &&
           item.text == withoutLineFeed(record.logStr) && recordTime(item.seconds) == record.timeStr;
}

}  // namespace tool
