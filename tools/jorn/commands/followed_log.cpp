// SPDX-License-Identifier: Apache-2.0
#include "commands/followed_log.h"

#include <errno.h>
#include <sys/stat.h>

#include <utility>

namespace tool {
namespace {

/// How many entries are held before they are printed. To read on takes a look at the whole directory, unless
/// the newest file is being read.
constexpr size_t kMostHeld = 16384;

}  // namespace

FollowedLog::FollowedLog(const LivePrintingOptions &options, std::string path, std::string name,
                         std::string front, size_t place)
    : options_(options),
      path_(std::move(path)),
      name_(std::move(name)),
      front_(std::move(front)),
      place_(place),
      window_(options.context, [this](const Item &item, bool isApart) {
          entries_.push_back({item, isApart, isNew_, "", false});
          return true;
      }) {}

bool FollowedLog::isMissing() const {
    struct stat status;
    return stat(path_.c_str(), &status) < 0 && errno == ENOENT;
}

void FollowedLog::open(time_t start, uint64_t newest, UnknownNames *unknown) {
    const FilterOptions &filter = options_.filter;
    log_.emplace(NamedLog{openQuestion(filter, path_, start, unknown), name_, front_, place_});
    log_->question.filter.isMarking = options_.context.isAny() && !filter.isQuiet;
    formatter_.emplace(itemStyleOf(options_.output, filter, *log_));
    follower_.emplace(
        FollowerTerms{path_, filter.files, log_->question.filter, newest, options_.context.before},
        FollowerSink{[this](const Item &item) { return take(item); },
                     [this](const std::string &text) { tell(text, false); },
                     [this](const std::string &text) { tell(text, true); }});
}

void FollowedLog::close() {
    follower_.reset();
    entries_.clear();
    isReadOut_ = true;
    isPending_ = false;
}

const FollowedLog::Entry *FollowedLog::head() {
    while (entries_.empty() && !isReadOut_) {
        const RingFollower::State state = follower_->step();
        isPending_ = state == RingFollower::State::Pending;
        // Ended: with so many entries that reading goes on when these are printed, or with the one match.
        isReadOut_ = state != RingFollower::State::Ended || options_.filter.isQuiet;
    }
    return entries_.empty() ? nullptr : &entries_.front();
}

/// False when enough is held.
bool FollowedLog::take(const Item &item) {
    hasMatch_ = hasMatch_ || item.isMatch;
    if (options_.filter.isQuiet) {
        return false;
    }
    Item placed = item;
    placed.seq = ++taken_;
    isNew_ = follower_->isNew(item);
    window_.take(placed);
    return entries_.size() < kMostHeld;
}

void FollowedLog::tell(const std::string &text, bool isDamage) {
    entries_.push_back({{}, false, false, text, isDamage});
}

}  // namespace tool
