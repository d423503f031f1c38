// SPDX-License-Identifier: Apache-2.0
// Answers to questions about a ring: counts, pages, and whether there is a match at all.
#ifndef JORN_TOOLS_ITEM_QUERY_H
#define JORN_TOOLS_ITEM_QUERY_H

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

#include "log/damage.h"
#include "log/item.h"
#include "log/ring_view.h"
#include "query/file_digest.h"
#include "query/item_filter.h"
#include "query/item_scanner.h"
#include "query/query_plan.h"

namespace tool {

/// Reads every file of the view once.
std::vector<FileDigest> digestsOf(const RingView &view, DamageLog *damage);

/// Counts of items by level.
struct Tally {
    std::array<uint64_t, jorn::kLevelMax> levels{};
    uint64_t others = 0;  ///< Of levels outside 0 to 3, which only a damaged file holds.

    void add(int32_t level, uint64_t count = 1);
    void add(const Tally &other);
    uint64_t total() const;
};

struct CountAnswer {
    Tally tally;
    Route route = Route::Summaries;
    size_t filesSummarised = 0;  ///< Files whose summaries were made.
    size_t filesScanned = 0;     ///< Files whose lines were counted one by one.

    /// How the answer was found, in a sentence.
    std::string explanation() const;
};

CountAnswer countItems(const RingView &view, const ItemFilter &filter, DamageLog *damage);

/// Whether any item matches; reads no further than it must.
bool hasMatch(const RingView &view, const ItemFilter &filter, DamageLog *damage);

/// The newest items, at most `most`, the newest first. They are held in memory.
std::vector<Item> newestItems(const RingView &view, const ItemFilter &filter, size_t most, DamageLog *damage);

/// The newest matches, for a scan that begins with the oldest of them.
struct NewestWish {
    uint64_t most = 0;
    uint64_t before = 0;        ///< Neighbours wanted before the oldest of them.
    bool isOlderAsked = false;  ///< Find out whether there are older matches, however long it takes.
};

struct NewestStart {
    ScanStart start;
    uint64_t matches = 0;   ///< How many there are, at most those that are wanted.
    bool hasOlder = false;  ///< There are older matches.
};

NewestStart startOfNewest(const RingView &view, const ItemFilter &filter, const NewestWish &wish,
                          DamageLog *damage);

/// Which page is wanted. Pages count from 1 for the newest items, as on the device; a negative number, or one
/// beyond the last page, means the last one.
struct PageWish {
    int32_t number = 1;
    int32_t perPage = JORN_REQUIRE_PAGE_MAX;
};

struct PageAnswer {
    int64_t number = 0;  ///< 0 when nothing matches.
    uint64_t total = 0;
    uint64_t matching = 0;    ///< Items that match; differs from `total` where the device miscounts.
    std::vector<Item> items;  ///< Newest first.

    uint64_t pages(int32_t perPage) const;
};

/// A page as the device's retrieval returns it: from that retrieval itself where the device can be asked this
/// question, else by the same rules.
PageAnswer pageOf(const RingView &view, const ItemFilter &filter, const PageWish &wish, DamageLog *damage);

}  // namespace tool

#endif
