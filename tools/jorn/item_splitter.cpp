// SPDX-License-Identifier: Apache-2.0
#include "item_splitter.h"

#include <utility>

namespace tool {

ItemSplitter::ItemSplitter(LongLine longLine, Sink sink) : longLine_(longLine), sink_(std::move(sink)) {}

void ItemSplitter::feed(std::string_view block) {
    for (const char byte : block) {
        takeByte(byte);
    }
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
    if (size_ == jorn::kTextMax) {
        if (longLine_ == LongLine::Cut) {
            isCut_ = true;
            return;
        }
        emit();
    }
    text_[size_++] = byte == '\0' ? ' ' : byte;
}

void ItemSplitter::emit() {
    text_[size_] = '\0';
    size_ = 0;
    sink_(text_.data());
}

void ItemSplitter::endLine() {
    cutLines_ += isCut_ ? 1 : 0;
    isCut_ = false;
    isLineBegun_ = false;
    emit();
}

}  // namespace tool
