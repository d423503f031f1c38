// SPDX-License-Identifier: Apache-2.0
// Cuts a stream of bytes into lines, and lines into texts that fit an item.
#ifndef JORN_TOOLS_ITEM_SPLITTER_H
#define JORN_TOOLS_ITEM_SPLITTER_H

#include <stdint.h>

#include <array>
#include <string_view>

#include "import/input_item.h"
#include "import/item_source.h"
#include "import/line_head.h"
#include "import/text_length.h"
#include "module_limits.h"

namespace tool {

/// Memory does not grow with the length of a line. A line ends with a line feed, or a carriage return and
/// a line feed. A NUL becomes a blank, for it would end the text. A UTF-8 text ends with a whole
/// character, so a text cut from a long line can be up to three bytes shorter than the maximum.
class ItemSplitter : public ItemSource {
public:
    /// `head` may be null, else must outlive this object. It reads the head of each line, which is then
    /// removed. Every text of a line gets the level of the line, and the first one its time.
    ItemSplitter(LongText longText, LineHeadReader *head, ItemSink sink);

    void feed(std::string_view block) override;
    void finish() override;

    uint64_t lines() const override { return lines_; }
    uint64_t cutLines() const override { return cutLines_; }

private:
    size_t takeWholeLine(std::string_view block);
    void takeByte(char byte);
    void takeHead();
    void makeRoom();
    void put(char byte);
    void putPendingReturn();
    void cut();
    void emit(size_t length);
    void endLine();

    /// The most that is held of a line once its head is removed.
    static constexpr size_t kMostText = jorn::kTextMax + kTextAhead;

    const LongText longText_;
    LineHeadReader *const head_;
    const ItemSink sink_;
    std::array<char, kMostHead + kMostText> text_{};
    size_t size_ = 0;
    bool isLineBegun_ = false;
    bool isReturnPending_ = false;  ///< A carriage return came last; it may belong to the line end.
    bool isCut_ = false;            ///< What is held is all of the line that will be in an item.
    bool isHeadPending_;            ///< What is held of the line may begin with a head.
    InputItem item_;                ///< What the head says about the line.
    uint64_t lines_ = 0;
    uint64_t cutLines_ = 0;
};

}  // namespace tool

#endif
