// SPDX-License-Identifier: Apache-2.0
#include "import/item_splitter.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace tool {

ItemSplitter::ItemSplitter(LongText longText, LineHeadReader *head, ItemSink sink)
    : longText_(longText), head_(head), sink_(std::move(sink)), isHeadPending_(head != nullptr) {}

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

/// A fast path for the common case: a line that is wholly in the block and fits an item. Returns the number
/// of bytes taken, 0 in any other case.
size_t ItemSplitter::takeWholeLine(std::string_view block) {
    const size_t most = jorn::kTextMax + 1 + (head_ != nullptr ? kMostHead : 0);
    const void *const feed =
        isLineBegun_ ? nullptr : memchr(block.data(), '\n', std::min(block.size(), most));
    if (feed == nullptr) {
        return 0;
    }
    const auto length = static_cast<size_t>(static_cast<const char *>(feed) - block.data());
    size_ = length > 0 && block[length - 1] == '\r' ? length - 1 : length;
    std::replace_copy(block.data(), block.data() + size_, text_.data(), '\0', ' ');
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
    makeRoom();
    if (!isCut_) {
        text_[size_++] = byte == '\0' ? ' ' : byte;
    }
}

void ItemSplitter::makeRoom() {
    if (isHeadPending_ && size_ == text_.size()) {
        takeHead();
    }
    while (!isHeadPending_ && size_ >= kMostText) {
        cut();
    }
}

/// Removes the head from the held beginning of a line.
void ItemSplitter::takeHead() {
    isHeadPending_ = false;
    const LineHead head = head_->read({text_.data(), std::min(size_, kMostHead)});
    item_.time = head.time;
    item_.level = head.level;
    size_ -= head.length;
    memmove(text_.data(), text_.data() + head.length, size_);
}

/// Ends a text within the line. The rest of what is held begins the next text, or is dropped.
void ItemSplitter::cut() {
    const size_t length = textLength({text_.data(), size_});
    if (longText_ == LongText::Split) {
        emit(length);
    } else {
        size_ = length;
        isCut_ = true;
    }
}

/// Passes on the first `length` bytes of what is held.
void ItemSplitter::emit(size_t length) {
    std::array<char, jorn::kTextMax + 1> text;
    memcpy(text.data(), text_.data(), length);
    text[length] = '\0';
    size_ -= length;
    memmove(text_.data(), text_.data() + length, size_);
    item_.text = text.data();
    sink_(item_);
    item_.time.reset();
}

void ItemSplitter::endLine() {
    if (isHeadPending_) {
        takeHead();
    }
    while (size_ > jorn::kTextMax) {
        cut();
    }
    cutLines_ += isCut_ ? 1 : 0;
    isCut_ = false;
    isLineBegun_ = false;
    ++lines_;
    emit(size_);
    item_ = {};
    isHeadPending_ = head_ != nullptr;
}

}  // namespace tool
