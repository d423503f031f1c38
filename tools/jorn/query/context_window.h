// SPDX-License-Identifier: Apache-2.0
// Passes on the items that match, and their neighbours as context.
#ifndef JORN_TOOLS_CONTEXT_WINDOW_H
#define JORN_TOOLS_CONTEXT_WINDOW_H

#include <deque>
#include <functional>
#include <utility>

#include "log/item.h"

namespace tool {

/// How many neighbours of a match are wanted, by their places in the log.
struct ContextSize {
    size_t before = 0;
    size_t after = 0;

    bool isAny() const { return before > 0 || after > 0; }
    ContextSize reversed() const { return {after, before}; }
};

/// Takes items in the order in which they are to be passed on, and holds those that may still become
/// neighbours of a match.
class ContextWindow {
public:
    /// Called with an item, and whether others were left out between it and the previous one. Returns false
    /// when no more are wanted.
    using Sink = std::function<bool(const Item &item, bool isApart)>;

    ContextWindow(const ContextSize &size, Sink sink) : size_(size), sink_(std::move(sink)) {}

    /// False when no more are wanted.
    bool take(const Item &item) {
        if (item.isMatch) {
            after_ = size_.after;
            return passHeld() && pass(item);
        }
        if (after_ > 0) {
            --after_;
            return pass(item);
        }
        hold(item);
        return true;
    }

    /// What comes next is no neighbour of a match so far.
    void forget() { after_ = 0; }

    /// Whether the next item will be passed on, whatever it is.
    bool isOpen() const { return after_ > 0; }

private:
    bool passHeld() {
        bool isWanted = true;
        for (; isWanted && !held_.empty(); held_.pop_front()) {
            isWanted = pass(held_.front());
        }
        return isWanted;
    }

    bool pass(const Item &item) {
        const bool isApart = hasPassed_ && hasLeftOut_;
        hasPassed_ = true;
        hasLeftOut_ = false;
        return sink_(item, isApart);
    }

    void hold(const Item &item) {
        held_.push_back(item);
        if (held_.size() > size_.before) {
            held_.pop_front();
            hasLeftOut_ = true;
        }
    }

    const ContextSize size_;
    const Sink sink_;
    std::deque<Item> held_;
    size_t after_ = 0;  ///< Neighbours of the last match that are still to come.
    bool hasPassed_ = false;
    bool hasLeftOut_ = false;  ///< Since the last item that was passed on.
};

}  // namespace tool

#endif
