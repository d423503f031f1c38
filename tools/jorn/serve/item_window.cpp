// SPDX-License-Identifier: Apache-2.0
#include "serve/item_window.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

/// What one walk finds out about a wish; counts are of the oldest first.
struct Place {
    uint64_t total = 0;    ///< Items that pass by themselves.
    uint64_t before = 0;   ///< Those before the wished item or time.
    bool hasItem = false;  ///< The wished item passes by itself.
    std::optional<uint64_t> beforeAnchor;
};

/// Finds the place of an item among those that pass, whether or not it does. It takes no part in their
/// merging, so that their order is the same with any item: where a clock was set back, one that does not pass
/// would hold up those after it in its log.
class ItemPlace {
public:
    ItemPlace(const Snapshot &snapshot, const RowRef &item)
        : item_(item), time_(snapshot.logs[item.log]->blocks[item.block].columns->times[item.row]) {}

    /// Takes the next item that passes, before which there are so many.
    void take(const LogRows &row, uint64_t before) {
        const RowRef &place = row.place();
        hasPassed_ = hasPassed_ || place == item_;
        if (place.log == item_.log && isEarlierInLog(place)) {
            before_.reset();  // Never before those that its own log has before it.
        } else if (!before_ && isNotEarlier(row)) {
            before_ = before;
        }
    }

    bool hasPassed() const { return hasPassed_; }
    uint64_t before(uint64_t total) const { return before_.value_or(total); }

private:
    bool isEarlierInLog(const RowRef &place) const {
        return std::pair(place.block, place.row) < std::pair(item_.block, item_.row);
    }
    bool isNotEarlier(const LogRows &row) const {
        return row.place().log == item_.log ||
               std::pair(row.time(), row.place().log) > std::pair(time_, item_.log);
    }

    const RowRef item_;
    const uint32_t time_;
    bool hasPassed_ = false;
    std::optional<uint64_t> before_;
};

/// For the newest first, a time means the last item that is not later; for the oldest first, the first one
/// that is not earlier.
Place placeOf(const ViewQuestion &question, const WindowWish &wish) {
    Place place;
    std::optional<uint64_t> firstNotEarlier;
    uint64_t afterLastNotLater = 0;
    std::optional<ItemPlace> item;
    if (wish.item) {
        item.emplace(question.snapshot, *wish.item);
    }
    MergedRows rows(question);
    for (const LogRows *row = rows.next(); row != nullptr; row = rows.next()) {
        if (wish.anchor && row->place() == *wish.anchor) {
            place.beforeAnchor = place.total;
        }
        if (item) {
            item->take(*row, place.total);
        }
        if (wish.time && row->time() >= *wish.time && !firstNotEarlier) {
            firstNotEarlier = place.total;
        }
        ++place.total;
        if (wish.time && row->time() <= *wish.time) {
            afterLastNotLater = place.total;
        }
    }
    if (item) {
        place.hasItem = item->hasPassed();
        place.before = item->before(place.total);
    }
    if (wish.time) {
        place.before =
            question.filter.isNewestFirst ? afterLastNotLater : firstNotEarlier.value_or(place.total);
    }
    return place;
}

/// The rank of what was wished, in the order that was asked for.
uint64_t rankOf(const ViewQuestion &question, const WindowWish &wish, const Place &place) {
    if (!wish.item && !wish.time) {
        return std::min(wish.rank, place.total);
    }
    const uint64_t own = place.hasItem ? 1 : 0;
    return question.filter.isNewestFirst ? place.total - place.before - own : place.before;
}

}  // namespace

ItemWindow windowOf(const ViewQuestion &question, const WindowWish &wish) {
    const Place place = placeOf(question, wish);
    const uint64_t rank = rankOf(question, wish, place);
    const uint64_t begin = rank - std::min(rank, wish.before);
    const uint64_t end = std::min(place.total, rank + (place.hasItem ? 1 : 0) + wish.after);
    ItemWindow window;
    window.total = place.total;
    window.rank = begin;
    const bool isNewest = question.filter.isNewestFirst;
    if (place.beforeAnchor) {
        window.anchorRank = isNewest ? place.total - 1 - *place.beforeAnchor : *place.beforeAnchor;
    }
    const uint64_t first = isNewest ? place.total - end : begin;
    const uint64_t last = isNewest ? place.total - begin : end;
    MergedRows rows(question);
    uint64_t oldestRank = 0;
    for (const LogRows *row = rows.next(); row != nullptr && oldestRank < last; row = rows.next()) {
        if (oldestRank >= first) {
            window.rows.push_back(row->place());
        }
        ++oldestRank;
    }
    return window;
}

}  // namespace tool
