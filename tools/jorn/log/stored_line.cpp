// SPDX-License-Identifier: Apache-2.0
#include "log/stored_line.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <charconv>

#include "csvfile/data_file.h"
#include "csvfile/item_parser.h"

namespace tool {
namespace {

/// Characters that a record keeps of a field.
constexpr size_t kLevelText = sizeof(JORN_LOG_DISP::levelStr) - 1;
constexpr size_t kSlotText = sizeof(JORN_LOG_DISP::slotStr) - 1;
constexpr size_t kItemText = sizeof(JORN_LOG_DISP::logStr) - 1;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes "1700000000,1,5," and nothing else: digits that fit, one digit each for level and slot.
bool readPlainNumbers(std::string_view piece, LineNumbers *numbers) {
    constexpr size_t kMostDigits = 10;
    constexpr size_t kBehindTime = sizeof ",1,5," - 1;
    uint64_t time = 0;
    size_t digits = 0;
    while (digits < piece.size() && digits <= kMostDigits && isDigit(piece[digits])) {
        time = time * 10 + static_cast<uint64_t>(piece[digits] - '0');
        ++digits;
    }
    if (digits == 0 || digits > kMostDigits || piece.size() < digits + kBehindTime) {
        return false;
    }
    const char *const rest = piece.data() + digits;
    if (rest[0] != ',' || !isDigit(rest[1]) || rest[2] != ',' || !isDigit(rest[3]) || rest[4] != ',') {
        return false;
    }
    *numbers = {static_cast<uint32_t>(time), rest[1] - '0', rest[3] - '0'};
    return true;
}

bool beginsNumber(std::string_view field) {
    field.remove_prefix(std::min(field.find_first_not_of(" \t+-"), field.size()));
    return !field.empty() && isDigit(field.front());
}

/// A piece as the C string that the module's reader would have; what follows a NUL is out of its sight.
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

std::string fieldText(std::string_view field, size_t most) { return std::string(field.substr(0, most)); }

/// The seconds of a record's time, which is in the form of ctime and in UTC.
int64_t secondsOfRecord(const char *text) {
    tm date = {};
    const char *const year = strptime(text, "%a %b %d %H:%M:%S ", &date);
    int number = 0;
    if (year == nullptr || std::from_chars(year, year + strlen(year), number).ec != std::errc()) {
        return INT64_MAX;
    }
    date.tm_year = number - 1900;
    return timegm(&date);
}

/// Sets the numbers of an item only.
LineKind readNumbers(std::string_view piece, LineNumbers *numbers) {
    if (readPlainNumbers(piece, numbers)) {
        return LineKind::Item;
    }
    if (piece.front() == '\0') {
        return LineKind::Zeros;
    }
    const PieceCopy copy(piece);
    if (jorn::isBlankLine(copy.get())) {
        return LineKind::Blank;
    }
    JORN_ITEM_INFO info;
    if (jorn_AnalyseOneItemInfo(copy.get(), &info) < 0) {
        return LineKind::Damaged;
    }
    *numbers = {info.time, info.level, info.slot};
    return LineKind::Item;
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
    // A comma inside the line ends the first of an item's fields, so no digit after the line is looked at.
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

Item itemOfRecord(const JORN_LOG_DISP &record) {
    Item item;
    item.seconds = secondsOfRecord(record.timeStr);
    item.level = atoi(record.levelStr);
    item.slot = atoi(record.slotStr);
    item.levelText = record.levelStr;
    item.slotText = record.slotStr;
    item.text = withoutLineFeed(record.logStr);
    return item;
}

}  // namespace tool
