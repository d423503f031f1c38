// SPDX-License-Identifier: Apache-2.0
#include "record/item_splitter.h"

#include <string.h>

#include <algorithm>
#include <utility>

#include "output/syslog_format.h"
#include "terminal/escape.h"

namespace tool {
namespace {

constexpr size_t kPrefixSize = sizeof "<3>" - 1;

/// The level of a prefix.
std::optional<int> levelIn(std::string_view prefix) {
    const bool isSeverity =
        prefix[0] == '<' && prefix[1] >= '0' && prefix[1] < '0' + kSeverityCount && prefix[2] == '>';
    return isSeverity ? std::optional<int>(levelOfSeverity(prefix[1] - '0')) : std::nullopt;
}

bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

/// How much of a line that is longer than a text the text holds: without the begin of a character that ends
/// beyond, if all of it is UTF-8 so far.
size_t textLength(std::string_view line) {
    constexpr size_t kLongestCharacter = 4;
    size_t length = jorn::kTextMax;
    while (length > jorn::kTextMax - kLongestCharacter + 1 && isInsideCharacter(line[length])) {
        --length;
    }
    size_t end = length + 1;
    while (end < line.size() && isInsideCharacter(line[end])) {
        ++end;
    }
    return isUtf8(line.substr(0, end)) ? length : jorn::kTextMax;
}

}  // namespace

ItemSplitter::ItemSplitter(LongLine longLine, bool hasPrefixes, Sink sink)
    : longLine_(longLine),
      hasPrefixes_(hasPrefixes),
      sink_(std::move(sink)),
      isPrefixPossible_(hasPrefixes) {}

void ItemSplitter::feed(std::string_view block) {
    while (!block.empty()) {
        size_t taken = takeWholeLine(block);
        if (taken == 0) {
            takeByte(block.front());
            taken = 1;
        }
        block.remove_prefix(taken);
    }
}

/// The common case, for its speed: a line that is in the block from begin to end, and fits an item. Returns
/// its bytes, 0 when it is another case.
size_t ItemSplitter::takeWholeLine(std::string_view block) {
    constexpr size_t kMost = jorn::kTextMax + 1;
    const void *const feed =
        isLineBegun_ ? nullptr : memchr(block.data(), '\n', std::min(block.size(), kMost));
    if (feed == nullptr) {
        return 0;
    }
    const auto length = static_cast<size_t>(static_cast<const char *>(feed) - block.data());
    size_ = length > 0 && block[length - 1] == '\r' ? length - 1 : length;
    std::replace_copy(block.data(), block.data() + size_, text_.data(), '\0', ' ');
    if (isPrefixPossible_ && size_ >= kPrefixSize) {
        takePrefix();
    }
    endLine();
    return length + 1;
}

void ItemSplitter::finish() {
    if (isLineBegun_) {
        putPendingReturn();
        endLine();
    }
}

void ItemSplitter::takeByte(char byte) {
    if (byte == '\n') {
        isReturnPending_ = false;
        endLine();
        return;
    }
    isLineBegun_ = true;
    putPendingReturn();
    if (byte == '\r') {
        isReturnPending_ = true;
    } else {
        put(byte);
    }
}

/// A carriage return that did not end the line is one of its bytes.
void ItemSplitter::putPendingReturn() {
    if (isReturnPending_) {
        isReturnPending_ = false;
        put('\r');
    }
}

void ItemSplitter::put(char byte) {
    if (size_ == text_.size()) {
        cut();
    }
    if (isCut_) {
        return;
    }
    text_[size_++] = byte == '\0' ? ' ' : byte;
    if (isPrefixPossible_ && size_ == kPrefixSize) {
        takePrefix();
    }
}

/// Takes a prefix off what is held of a line that is at its begin.
void ItemSplitter::takePrefix() {
    isPrefixPossible_ = false;
    level_ = levelIn({text_.data(), kPrefixSize});
    if (level_) {
        size_ -= kPrefixSize;
        memmove(text_.data(), text_.data() + kPrefixSize, size_);
    }
}

/// Ends a text within the line. The rest of what is held begins the next one, or goes.
void ItemSplitter::cut() {
    const size_t length = textLength({text_.data(), size_});
    if (longLine_ == LongLine::Split) {
        emit(length);
    } else {
        size_ = length;
        isCut_ = true;
    }
}

/// Passes on the first bytes of what is held.
void ItemSplitter::emit(size_t length) {
    std::array<char, jorn::kTextMax + 1> text;
    memcpy(text.data(), text_.data(), length);
    text[length] = '\0';
    size_ -= length;
    memmove(text_.data(), text_.data() + length, size_);
    sink_(level_, text.data());
}

void ItemSplitter::endLine() {
    if (size_ > jorn::kTextMax) {
        cut();
    }
    cutLines_ += isCut_ ? 1 : 0;
    isCut_ = false;
    isLineBegun_ = false;
    ++lines_;
    emit(size_);
    level_.reset();
    isPrefixPossible_ = hasPrefixes_;
}

}  // namespace tool
