// SPDX-License-Identifier: Apache-2.0
// One of the logs that `jorn follow` prints: what it has read of it and not printed yet.
#ifndef JORN_TOOLS_FOLLOWED_LOG_H
#define JORN_TOOLS_FOLLOWED_LOG_H

#include <stdint.h>

#include <deque>
#include <optional>
#include <string>

#include "commands/live_printing.h"
#include "live/ring_follower.h"
#include "options/item_output.h"
#include "options/log_set.h"
#include "output/item_format.h"
#include "query/context_window.h"

namespace tool {

class FollowedLog {
public:
    /// An item to be printed, or something to be told before the next one.
    struct Entry {
        Item item;  ///< `seq` is its place among those that passed the filter.
        bool isApart = false;
        bool isNew = false;  ///< It came after the first look.
        std::string note;    ///< Empty for an item.
        bool isDamage = false;
    };

    /// Where the log is, and by what names. The options must outlive it.
    FollowedLog(const LivePrintingOptions &options, std::string path, std::string name, std::string front,
                size_t place);
    FollowedLog(const FollowedLog &) = delete;
    FollowedLog &operator=(const FollowedLog &) = delete;

    const std::string &path() const { return path_; }
    bool isMissing() const;

    /// Opens the directory, of which `newest` of the items there are wanted. See openQuestion().
    void open(time_t start, uint64_t newest, UnknownNames *unknown);
    bool isOpen() const { return follower_.has_value(); }

    /// Passes on nothing any more.
    void close();

    /// From here on there may be more to read.
    void wake() { isReadOut_ = !isOpen(); }

    /// What comes next, read on if need be; null where there is no more until the next wake(). Throws
    /// Failure.
    const Entry *head();
    void pop() { entries_.pop_front(); }

    /// Whether it is to be looked at again soon, as a change might not be noticed.
    bool isPending() const { return isPending_; }
    bool hasMatch() const { return hasMatch_; }
    ItemFormatter &formatter() { return *formatter_; }
    const std::vector<std::string> &notes() const { return log_->question.notes; }

    /// What comes next is no neighbour of what was read so far.
    void forgetNeighbours() { window_.forget(); }

private:
    bool take(const Item &item);
    void tell(const std::string &text, bool isDamage);

    const LivePrintingOptions &options_;
    const std::string path_;
    const std::string name_;
    const std::string front_;
    const size_t place_;
    std::optional<NamedLog> log_;
    std::optional<ItemFormatter> formatter_;
    std::optional<RingFollower> follower_;
    ContextWindow window_;
    std::deque<Entry> entries_;
    uint64_t taken_ = 0;
    bool isNew_ = false;  ///< What is being read came after the first look.
    bool isReadOut_ = true;
    bool isPending_ = false;
    bool hasMatch_ = false;
};

}  // namespace tool

#endif
