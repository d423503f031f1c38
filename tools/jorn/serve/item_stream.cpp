// SPDX-License-Identifier: Apache-2.0
#include "serve/item_stream.h"

#include <algorithm>

#include "serve/counts.h"

namespace tool {
namespace {

/// The member "total" of an event.
std::string totalMember(const std::optional<uint64_t> &total) {
    return "\"total\":" + (total ? std::to_string(*total) : "null");
}

}  // namespace

bool ItemStream::run(const WebWrite &write) {
    write_ = &write;
    snapshot_ = logs_.now();
    requireWanted_ = [this, requireClient = requireClient(write)] {
        if (logs_.isStopped()) {
            throw RequestError(503, "the server is stopping");
        }
        requireClient();
    };
    while (!logs_.isStopped()) {
        try {
            begin();
            if (!step()) {
                return false;
            }
            snapshot_ = logs_.waitForOther(snapshot_->revision, longestWait());
        } catch (const RequestError &) {
            return logs_.isStopped();
        } catch (const StaleView &) {
            logs_.lookAgain(snapshot_->revision);
            snapshot_ = logs_.now();
        }
    }
    return true;
}

/// Finds the place to begin, once.
void ItemStream::begin() {
    if (hasBegun_) {
        return;
    }
    position_ = terms_.position ? StreamPosition::find(*terms_.position, *snapshot_, &isGone_)
                                : StreamPosition::newest(*snapshot_);
    seen_ = snapshot_;
    hasBegun_ = true;
}

/// Sends what there is to send.
bool ItemStream::step() {
    lookAtViews();
    if ((isGone_ || isAnyPassed()) && !sendGone()) {
        return false;
    }
    if (!isReported_ && !sendChange()) {
        return false;
    }
    for (size_t log = 0; log < snapshot_->logs.size(); ++log) {
        if (!sendItemsOf(log)) {
            return false;
        }
    }
    if (hasChanged() && Clock::now() - changeSent_ >= terms_.pace.changeEvery && !sendChange()) {
        return false;
    }
    return keepAlive();
}

/// Finds out what has left the views since the last time, and what has come back into them.
void ItemStream::lookAtViews() {
    for (size_t log = 0; log < snapshot_->logs.size(); ++log) {
        const LogView &former = *seen_->logs[log];
        const LogView &now = *snapshot_->logs[log];
        const bool isOther = former.epoch != now.epoch;
        const ViewChange change = isOther ? ViewChange{} : changeBetween(former, now);
        lost_ += change.lost;
        isGone_ = isGone_ || change.returned > 0;
        hasToCount_ = hasToCount_ || isOther || change.lost > 0 || change.returned > 0;
    }
    seen_ = snapshot_;
    if (hasToCount_ && Clock::now() >= nextCount_) {
        countAll();
    }
}

/// Whether items that were not sent have left the view.
bool ItemStream::isPassed(size_t log) const {
    const LogView &view = *snapshot_->logs[log];
    const StreamPosition::Place &place = position_.places[log];
    return view.epoch != place.epoch || !view.isCompleteFrom(place.next);
}

bool ItemStream::isAnyPassed() const {
    for (size_t log = 0; log < snapshot_->logs.size(); ++log) {
        if (isPassed(log)) {
            return true;
        }
    }
    return false;
}

bool ItemStream::hasChanged() const { return lost_ > 0 || health_ != snapshot_->health; }

std::chrono::milliseconds ItemStream::longestWait() const {
    const auto untilPing = terms_.pace.pingEvery - (Clock::now() - lastSent_);
    auto longest = std::min<Clock::duration>(terms_.pace.lookEvery, untilPing);
    if (hasChanged()) {
        longest = std::min<Clock::duration>(longest, terms_.pace.changeEvery - (Clock::now() - changeSent_));
    }
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(longest),
                    std::chrono::milliseconds(1));
}

/// Goes on with what comes from now on in the logs of which items were passed.
bool ItemStream::sendGone() {
    const StreamPosition newest = StreamPosition::newest(*snapshot_);
    StreamPosition moved = position_;
    for (size_t log = 0; log < snapshot_->logs.size(); ++log) {
        moved.places[log] = isPassed(log) ? newest.places[log] : position_.places[log];
    }
    const std::string data = "{" + totalMember(total_) + "}";
    if (!sendEvent("gone", data, moved)) {
        return false;
    }
    isGone_ = false;
    return true;
}

/// The next items of a log that may pass; their texts are still to be looked at. Moves `next` past those that
/// were looked through.
std::vector<RowRef> ItemStream::nextRows(size_t log, int64_t *next) const {
    const std::vector<LogBlock> &blocks = snapshot_->logs[log]->blocks;
    const LogFilter &filter = terms_.filter.logs[log];
    std::vector<RowRef> rows;
    for (size_t block = 0; block < blocks.size(); ++block) {
        const ItemColumns &columns = *blocks[block].columns;
        const int64_t first = blocks[block].firstSerial;
        for (auto row = static_cast<size_t>(std::max<int64_t>(*next - first, 0)); row < columns.size();
             ++row) {
            const bool isIn = filter.isWanted && terms_.filter.hasTime(columns.times[row]) &&
                              filter.kinds.has(columns.kinds[row]);
            *next = first + static_cast<int64_t>(row) + 1;
            if (isIn) {
                rows.push_back({log, block, row});
            }
            if (rows.size() == kMostItems) {
                return rows;
            }
        }
    }
    return rows;
}

bool ItemStream::sendItemsOf(size_t log) {
    constexpr std::chrono::hours kLongestBatch(1);  // Sent to the end, however long the expression takes.
    while (position_.places[log].next < snapshot_->logs[log]->nextSerial) {
        StreamPosition moved = position_;
        const std::vector<RowRef> rows = nextRows(log, &moved.places[log].next);
        if (rows.size() < kMostItems) {
            moved.places[log].next = snapshot_->logs[log]->nextSerial;
        }
        const Deadline deadline(kLongestBatch, requireWanted_);
        std::string items;
        uint64_t sent = 0;
        size_t row = 0;
        readRows(*snapshot_, rows, [&](const LogView &view, const LogBlock &block, const Line &line) {
            const int64_t serial = serialOf(*snapshot_, rows[row++]);
            deadline.check();
            if (terms_.filter.passes(log, line)) {
                items += (items.empty() ? "" : ",") + json_.format(view, block, line, deadline);
                sent += serial >= counted_.places[log].next ? 1 : 0;
            }
        });
        const std::optional<uint64_t> total = total_ ? std::optional(*total_ + sent) : std::nullopt;
        const std::string data = "{\"items\":[" + items + "]," + totalMember(total) + "}";
        if (!items.empty() && !sendEvent("items", data, moved)) {
            return false;
        }
        total_ = total;
        position_ = moved;
        int64_t &counted = counted_.places[log].next;
        counted = std::max(counted, moved.places[log].next);
    }
    return true;
}

bool ItemStream::sendChange() {
    const std::string data = "{" + totalMember(total_) + ",\"items_lost\":" + std::to_string(lost_) +
                             ",\"revision\":" + std::to_string(snapshot_->revision) + "}";
    if (!sendEvent("change", data, position_)) {
        return false;
    }
    isReported_ = true;
    lost_ = 0;
    health_ = snapshot_->health;
    changeSent_ = Clock::now();
    return true;
}

/// Sends an event after which the stream is at `position`. When it throws StaleView, nothing was sent and the
/// stream is where it was.
bool ItemStream::sendEvent(const char *name, const std::string &data, const StreamPosition &position) {
    const std::string id = position.text(*snapshot_);
    position_ = position;
    lastSent_ = Clock::now();
    return (*write_)("event: " + std::string(name) + "\nid: " + id + "\ndata: " + data + "\n\n");
}

/// Sends something now and then, so that both ends notice when the other is gone.
bool ItemStream::keepAlive() {
    if (Clock::now() - lastSent_ < terms_.pace.pingEvery) {
        return (*write_)("");
    }
    lastSent_ = Clock::now();
    return (*write_)(": ping\n\n");
}

/// Counts what is in view. Where that takes too long, the number is unknown until a later try: another one at
/// each step would leave no time for sending.
void ItemStream::countAll() {
    const Deadline deadline(terms_.pace.longestCount, requireWanted_);
    const bool wasUnknown = !total_;
    try {
        total_ = countOf({*snapshot_, terms_.filter, matches_, deadline});
        hasToCount_ = false;
        isReported_ = isReported_ && !wasUnknown;
    } catch (const RequestError &) {
        total_.reset();
        nextCount_ = Clock::now() + terms_.pace.countAgainAfter;
    }
    counted_ = StreamPosition::newest(*snapshot_);
}

}  // namespace tool
