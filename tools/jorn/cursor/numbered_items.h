// SPDX-License-Identifier: Apache-2.0
// The numbers that items of one data file have, and what became of each item. Items are counted from 0 within
// their file.
#ifndef JORN_TOOLS_NUMBERED_ITEMS_H
#define JORN_TOOLS_NUMBERED_ITEMS_H

#include <stdint.h>

#include <optional>
#include <vector>

namespace tool {

enum class ItemState {
    Arrived,   ///< For certain.
    Pending,   ///< It was sent in a transfer whose outcome is not known.
    Sent,      ///< It is part of the transfer under way.
    LeftOut,   ///< It has no number and gets none.
    Reserved,  ///< It could not be read yet: its number waits for it.
};

/// Items of a file that follow each other, and where they are now.
struct MovedItems {
    uint64_t known = 0;  ///< Where the first one was,
    uint64_t now = 0;    ///< and where it is.
    uint64_t count = 0;
};

/// Items that follow each other, with numbers that follow each other.
struct NumberedSpan {
    uint64_t begin = 0;
    uint64_t end = 0;
    uint64_t first = 0;  ///< Number of the first item.
    ItemState state = ItemState::Arrived;

    bool hasNumbers() const { return state != ItemState::LeftOut; }
    uint64_t last() const { return first + (end - begin) - 1; }
};

class NumberedItems {
public:
    /// The spans, by items. An item may be in none: it has no number yet.
    const std::vector<NumberedSpan> &spans() const { return spans_; }

    /// The span of one item; nothing if it is in none.
    std::optional<NumberedSpan> at(uint64_t item) const;

    /// The first item that may still have to be sent.
    uint64_t firstOpen() const;

    bool hasAny() const { return !spans_.empty(); }
    bool has(ItemState state) const;
    /// How many items are in a state.
    uint64_t count(ItemState state) const;

    /// Gives the items from begin to end numbers and a state, in place of those that they had. Empty ranges
    /// change nothing.
    void set(const NumberedSpan &span);

    /// Changes the state of all items that are in another.
    void change(ItemState from, ItemState to);

    /// Forgets the items from here on.
    void cut(uint64_t items);

    /// Moves items to where they are now, in order; the others are forgotten. Items that come to lie between
    /// them are left out.
    void move(const std::vector<MovedItems> &moves);

private:
    std::vector<NumberedSpan> spans_;
};

}  // namespace tool

#endif
