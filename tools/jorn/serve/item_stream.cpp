// SPDX-License-Identifier: Apache-2.0
#include "serve/item_stream.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "serve/counts.h"
#include "serve/cursor.h"

namespace tool {
namespace {

constexpr std::string_view kNoItem = "~-";

std::vector<std::string> wordsOf(const std::string &text) {
    std::vector<std::string> words;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

bool isOfNoItem(const std::string &word) {
    return word.size() > kNoItem.size() &&
           word.compare(word.size() - kNoItem.size(), kNoItem.size(), kNoItem) == 0;
}

/// A cursor that stands for a log without any item.
ItemCursor emptyCursor(const std::string &log) { return {log, 0, 0, 0, 0}; }

/// The part of a cursor's text before its first "~".
std::string logPartOf(const std::string &log) {
    const std::string text = textOf(emptyCursor(log));
    return text.substr(0, text.find('~'));
}

/// The number of the oldest item in view, or of the next one where there is none.
int64_t oldestOf(const LogView &view) {
    return view.blocks.empty() ? view.nextSerial : view.blocks.front().firstSerial;
}

int64_t oldestOf(const Snapshot &snapshot) {
    int64_t sum = 0;
    for (const auto &view : snapshot.logs) {
        sum += oldestOf(*view);
    }
    return sum;
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

}  // namespace

StreamPosition StreamPosition::newest(const Snapshot &snapshot) {
    StreamPosition position;
    for (const auto &view : snapshot.logs) {
        position.places.push_back({view->epoch, view->nextSerial});
    }
    return position;
}

bool StreamPosition::isText(const std::string &text) {
    const std::vector<std::string> words = wordsOf(text);
    return std::all_of(words.begin(), words.end(),
                       [](const std::string &word) { return isOfNoItem(word) || cursorOf(word); });
}

std::optional<StreamPosition> StreamPosition::find(const std::string &text, const Snapshot &snapshot) {
    StreamPosition position = newest(snapshot);
    for (const std::string &word : wordsOf(text)) {
        for (size_t log = 0; log < snapshot.logs.size() && isOfNoItem(word); ++log) {
            const LogView &view = *snapshot.logs[log];
            if (word == logPartOf(view.log->name) + std::string(kNoItem)) {
                position.places[log].next = oldestOf(view);
            }
        }
        const std::optional<ItemCursor> cursor = cursorOf(word);
        if (!cursor) {
            continue;
        }
        const std::optional<RowRef> row = tool::find(*cursor, snapshot);
        if (!row) {
            return std::nullopt;
        }
        position.places[row->log].next = serialOf(snapshot, *row) + 1;
    }
    return position;
}

std::string StreamPosition::text(const Snapshot &snapshot) const {
    std::string text;
    for (size_t log = 0; log < places.size(); ++log) {
        const std::optional<RowRef> row = rowBefore(snapshot, log, places[log].next);
        text += text.empty() ? "" : ",";
        if (!row) {
            text += logPartOf(snapshot.logs[log]->log->name) + std::string(kNoItem);
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
    while (!logs_.isStopped()) {
        try {
            begin();
            if (!step()) {
                return false;
            }
            snapshot_ = logs_.waitForOther(snapshot_->revision, longestWait());
        } catch (const StaleView &) {
            constexpr useconds_t kPauseMicroseconds = 2000;
            usleep(kPauseMicroseconds);
            logs_.refreshAll();
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
    const StreamPosition newest = StreamPosition::newest(*snapshot_);
    const auto wanted = terms_.position ? StreamPosition::find(*terms_.position, *snapshot_) : newest;
    isGone_ = !wanted;
    position_ = wanted.value_or(newest);
    countAll();
    hasBegun_ = true;
}

/// Sends what there is to send.
bool ItemStream::step() {
    if ((isGone_ || isPassed()) && !sendGone()) {
        return false;
    }
    if (!oldest_ && !sendChange()) {
        return false;
    }
    for (size_t log = 0; log < snapshot_->logs.size(); ++log) {
        if (!sendItemsOf(log)) {
            return false;
        }
    }
    if (hasChanged() && Clock::now() - changeSent_ >= kChangeEvery && !sendChange()) {
        return false;
    }
    return keepAlive();
}

/// Whether items that were not sent have left the view.
bool ItemStream::isPassed() const {
    for (size_t log = 0; log < snapshot_->logs.size(); ++log) {
        const LogView &view = *snapshot_->logs[log];
        const StreamPosition::Place &place = position_.places[log];
        if (view.epoch != place.epoch || oldestOf(view) > place.next) {
            return true;
        }
    }
    return false;
}

bool ItemStream::hasChanged() const {
    return oldest_ != oldestOf(*snapshot_) || health_ != snapshot_->health;
}

std::chrono::milliseconds ItemStream::longestWait() const {
    constexpr std::chrono::milliseconds kLookAtClient(1000);
    const auto untilPing = terms_.pingEvery - (Clock::now() - lastSent_);
    auto longest = std::min<Clock::duration>(kLookAtClient, untilPing);
    if (hasChanged()) {
        longest = std::min<Clock::duration>(longest, kChangeEvery - (Clock::now() - changeSent_));
    }
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(longest),
                    std::chrono::milliseconds(1));
}

bool ItemStream::sendGone() {
    countAll();
    const std::string data = "{\"total\":" + std::to_string(total_) + "}";
    if (!sendEvent("gone", data, StreamPosition::newest(*snapshot_))) {
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
    while (position_.places[log].next < snapshot_->logs[log]->nextSerial) {
        StreamPosition moved = position_;
        const std::vector<RowRef> rows = nextRows(log, &moved.places[log].next);
        if (rows.size() < kMostItems) {
            moved.places[log].next = snapshot_->logs[log]->nextSerial;
        }
        std::string items;
        uint64_t total = total_;
        size_t row = 0;
        readRows(*snapshot_, rows, [&](const LogView &view, const LogBlock &block, const Line &line) {
            const int64_t serial = serialOf(*snapshot_, rows[row++]);
            if (terms_.filter.passes(log, line)) {
                items += (items.empty() ? "" : ",") + json_.format(view, block, line);
                total += serial >= counted_.places[log].next ? 1 : 0;
            }
        });
        const std::string data = "{\"items\":[" + items + "],\"total\":" + std::to_string(total) + "}";
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
    const int64_t oldest = oldestOf(*snapshot_);
    const int64_t lost = std::max<int64_t>(oldest - oldest_.value_or(oldest), 0);
    if (lost > 0) {
        countAll();
    }
    const std::string data = "{\"total\":" + std::to_string(total_) +
                             ",\"items_lost\":" + std::to_string(lost) +
                             ",\"revision\":" + std::to_string(snapshot_->revision) + "}";
    if (!sendEvent("change", data, position_)) {
        return false;
    }
    oldest_ = oldest;
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
    if (Clock::now() - lastSent_ < terms_.pingEvery) {
        return (*write_)("");
    }
    lastSent_ = Clock::now();
    return (*write_)(": ping\n\n");
}

void ItemStream::countAll() {
    constexpr std::chrono::seconds kLongest(10);
    const Deadline deadline(kLongest);
    try {
        total_ = countOf({*snapshot_, terms_.filter, matches_, deadline});
    } catch (const RequestError &) {
        // It takes too long; the number sent before stays.
    }
    counted_ = StreamPosition::newest(*snapshot_);
}

}  // namespace tool
