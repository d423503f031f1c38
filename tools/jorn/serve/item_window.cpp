// SPDX-License-Identifier: Apache-2.0
#include "serve/item_window.h"

#include <algorithm>

namespace tool {
namespace {

/// What one walk finds out about a wish; counts are of the oldest first.
struct Place {
    uint64_t total = 0;    ///< Items that pass by themselves.
    uint64_t before = 0;   ///< Those before the wished item or time.
    bool hasItem = false;  ///< The wished item passes by itself.
    std::optional<uint64_t> beforeAnchor;
};

/// For the newest first, a time means the last item that is not later; for the oldest first, the first one
/// that is not earlier.
Place placeOf(const ViewQuestion &question, const WindowWish &wish) {
    Place place;
    std::optional<uint64_t> firstNotEarlier;
    uint64_t afterLastNotLater = 0;
    MergedRows rows(question, wish.item ? &*wish.item : nullptr);
    for (const LogRows *row = rows.next(); row != nullptr; row = rows.next()) {
        const bool isItem = wish.item && row->place() == *wish.item;
        const bool isIn = !isItem || (row->passesItself() && question.filter.logs[wish.item->log].isWanted);
        if (isIn && wish.anchor && row->place() == *wish.anchor) {
            place.beforeAnchor = place.total;
        }
        if (isItem) {
            place.before = place.total;
            place.hasItem = isIn;
            place.total += isIn ? 1 : 0;
            continue;
        }
        if (wish.time && row->time() >= *wish.time && !firstNotEarlier) {
            firstNotEarlier = place.total;
        }
        ++place.total;
        if (wish.time && row->time() <= *wish.time) {
            afterLastNotLater = place.total;
        }
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
    MergedRows rows(question, wish.item ? &*wish.item : nullptr);
    uint64_t oldestRank = 0;
    for (const LogRows *row = rows.next(); row != nullptr && oldestRank < last; row = rows.next()) {
        const bool isForeign = wish.item && row->place() == *wish.item && !place.hasItem;
        if (!isForeign) {
            if (oldestRank >= first) {
                window.rows.push_back(row->place());
            }
            ++oldestRank;
        }
    }
    return window;
}

}  // namespace tool
