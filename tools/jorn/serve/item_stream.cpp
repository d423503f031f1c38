// SPDX-License-Identifier: Apache-2.0
#include "serve/item_stream.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "serve/counts.h"
#include "serve/cursor.h"

namespace tool {
namespace {

constexpr std::string_view kNoItem = "~-~";

std::vector<std::string> wordsOf(const std::string &text) {
    std::vector<std::string> words;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

/// A place in a log without any item.
struct EmptyPlace {
    std::string log;  ///< As in a cursor.
    int64_t next = 0;
};

std::optional<EmptyPlace> emptyPlaceOf(const std::string &word) {
    const size_t end = word.find(kNoItem);
    if (end == 0 || end == std::string::npos) {
        return std::nullopt;
    }
    EmptyPlace place{word.substr(0, end), 0};
    const char *const last = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data() + end + kNoItem.size(), last, place.next);
    return error == std::errc() && rest == last ? std::optional(place) : std::nullopt;
}

/// A log's name as in a cursor.
std::string logPartOf(const std::string &log) {
    const std::string text = textOf(ItemCursor{log, 0, 0, 0, 0});
    return text.substr(0, text.find('~'));
}

/// The member "total" of an event.
std::string totalMember(const std::optional<uint64_t> &total) {
    return "\"total\":" + (total ? std::to_string(*total) : "null");
}

/// The item of a log before a number; nothing where there is none in view.
std::optional<RowRef> rowBefore(const Snapshot &snapshot, size_t log, int64_t next) {
    const std::vector<LogBlock> &blocks = snapshot.logs[log]->blocks;
    for (size_t block = blocks.size(); block-- > 0;) {
        if (blocks[block].firstSerial < next) {
            const int64_t end = std::min(next, blocks[block].endSerial());
            return RowRef{log, block, static_cast<size_t>(end - blocks[block].firstSerial) - 1};
        }
    }
    return std::nullopt;
}

int64_t serialOf(const Snapshot &snapshot, const RowRef &row) {
    return snapshot.logs[row.log]->blocks[row.block].firstSerial + static_cast<int64_t>(row.row);
}

/// Whether all items with this number or a higher one are in view.
bool isComplete(const LogView &view, int64_t next) { return view.itemsFrom(next) == view.nextSerial - next; }

/// Moves to where a log had no items; false when some have left since.
bool moveTo(const EmptyPlace &place, const Snapshot &snapshot, StreamPosition *position) {
    for (size_t log = 0; log < snapshot.logs.size(); ++log) {
        const LogView &view = *snapshot.logs[log];
        if (place.log != logPartOf(view.log->name)) {
            continue;
        }
        const bool isKnown = place.next <= view.nextSerial && isComplete(view, place.next);
        position->places[log].next = isKnown ? view.serialFrom(place.next) : view.nextSerial;
        return isKnown;
    }
    return true;
}

/// Moves past an item; false when it is not in view.
bool moveAfter(const ItemCursor &cursor, const Snapshot &snapshot, StreamPosition *position) {
    const std::optional<RowRef> row = find(cursor, snapshot);
    if (row) {
        position->places[row->log].next = snapshot.logs[row->log]->serialFrom(serialOf(snapshot, *row) + 1);
    }
    return row.has_value();
}

}  // namespace

StreamPosition StreamPosition::newest(const Snapshot &snapshot) {
    StreamPosition position;
    for (const auto &view : snapshot.logs) {
        position.places.push_back({view->epoch, view->nextSerial});
    }
    return position;
}

size_t StreamPosition::mostBytesFor(const std::vector<std::string> &names) {
    size_t bytes = 0;
    for (const std::string &name : names) {
        bytes += textOf(ItemCursor{name, UINT32_MAX, jorn::kSurveySize - 1, UINT32_MAX, 0}).size() + 1;
    }
    return bytes;
}

bool StreamPosition::isText(const std::string &text) {
    const std::vector<std::string> words = wordsOf(text);
    return std::all_of(words.begin(), words.end(),
                       [](const std::string &word) { return emptyPlaceOf(word) || cursorOf(word); });
}

StreamPosition StreamPosition::find(const std::string &text, const Snapshot &snapshot, bool *isPassed) {
    StreamPosition position = newest(snapshot);
    *isPassed = false;
    for (const std::string &word : wordsOf(text)) {
        const std::optional<EmptyPlace> empty = emptyPlaceOf(word);
        const std::optional<ItemCursor> cursor = cursorOf(word);
        const bool isGood = (!empty || moveTo(*empty, snapshot, &position)) &&
                            (!cursor || moveAfter(*cursor, snapshot, &position));
        *isPassed = *isPassed || !isGood;
    }
    return position;
}

std::string StreamPosition::text(const Snapshot &snapshot) const {
    std::string text;
    for (size_t log = 0; log < places.size(); ++log) {
        const std::optional<RowRef> row = rowBefore(snapshot, log, places[log].next);
        text += text.empty() ? "" : ",";
        if (!row) {
            text += logPartOf(snapshot.logs[log]->log->name) + std::string(kNoItem) +
                    std::to_string(places[log].next);
            continue;
        }
        readRows(snapshot, {*row}, [&](const LogView &view, const LogBlock &block, const Line &line) {
            text += textOf(cursorTo(view, block, line));
        });
    }
    return text;
}

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
    return view.epoch != place.epoch || !isComplete(view, place.next);
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
