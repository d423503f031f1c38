// SPDX-License-Identifier: Apache-2.0
#include "query/item_query.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "query/ring_reader.h"
#include "terminal/counted.h"

namespace tool {
namespace {

void countFile(const RingFile &file, PieceFilter *filter, Tally *tally, DamageLog *damage) {
    forEachItemLine(file, filter, damage, [&](const LineNumbers &numbers) { tally->add(numbers.level); });
}

/// With a pattern, the lines of every file have to be read, so summaries would only add cost.
CountAnswer countByReading(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    CountAnswer answer;
    answer.route = Route::Scan;
    answer.filesScanned = view.files().size();
    PieceFilter pieceFilter(filter);
    for (const RingFile &file : view.files()) {
        countFile(file, &pieceFilter, &answer.tally, damage);
    }
    return answer;
}

void addFromDigest(const FileDigest &digest, const ItemFilter &filter, Tally *tally) {
    for (int32_t level = 0; level < jorn::kLevelMax; ++level) {
        const JORN_LEVEL_STAT &stat = digest.info.levelStat[level];
        if (!filter.levels.has(level)) {
            continue;
        }
        if (filter.slots.isAny()) {
            tally->add(level, stat.levelCount);
            continue;
        }
        for (int32_t slot = 0; slot < jorn::kSlotMax; ++slot) {
            tally->add(level, filter.slots.has(slot) ? stat.slotCount[slot] : 0);
        }
    }
    if (filter.levels.isAll() && filter.slots.isAny()) {
        tally->others += digest.strayLevels;
    }
}

/// A file read once for both its summary and the count to use where the summary does not suffice.
struct CountedFile {
    FileDigest digest;
    Tally matches;
};

CountedFile countedFile(const RingFile &file, const ItemFilter &filter, DamageLog *damage) {
    CountedFile counted;
    counted.digest = digestOf(file, damage, [&](const LineNumbers &numbers) {
        if (filter.hasNumbers(numbers)) {
            counted.matches.add(numbers.level);
        }
    });
    return counted;
}

CountAnswer countByPlan(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    std::vector<FileDigest> digests;
    std::vector<Tally> matches;
    for (const RingFile &file : view.files()) {
        const CountedFile counted = countedFile(file, filter, damage);
        digests.push_back(counted.digest);
        matches.push_back(counted.matches);
    }
    const CountPlan plan = planCount(filter, digests);
    CountAnswer answer;
    answer.route = plan.route;
    answer.filesSummarised = digests.size();
    for (size_t i = 0; i < digests.size(); ++i) {
        if (plan.files[i] == FileUse::Summary) {
            addFromDigest(digests[i], filter, &answer.tally);
        } else if (plan.files[i] == FileUse::Read) {
            ++answer.filesScanned;
            answer.tally.add(matches[i]);
        }
    }
    return answer;
}

/// The items for the module's records, which hold times only as text: the same lines, found again from the
/// nearer end of the ring. Fewer where some are no longer there.
std::vector<Item> itemsOf(const PageResult &result, Order order, const RingView &view,
                          const ItemFilter &filter, DamageLog *damage) {
    std::vector<JORN_LOG_DISP> records(result.page.disp, result.page.disp + result.page.itemsNum);
    if (order == Order::OldestFirst) {
        std::reverse(records.begin(), records.end());
    }
    std::vector<Item> items;
    ItemScanner scanner(view, filter, order, damage);
    while (items.size() < records.size()) {
        const Item *const item = scanner.next();
        if (item == nullptr) {
            break;
        }
        if (isRecordOf(records[items.size()], *item)) {
            items.push_back(*item);
        }
    }
    if (order == Order::OldestFirst) {
        std::reverse(items.begin(), items.end());
    }
    return items;
}

/// Nothing where files have been replaced meanwhile: the module opens them by their names.
std::optional<PageAnswer> pageByModule(const RingView &view, const std::vector<FileDigest> &digests,
                                       const ItemFilter &filter, const JORN_REQUIRE &require,
                                       DamageLog *damage) {
    const PageResult result = RingReader(view, digests).page(require);
    PageAnswer answer;
    answer.number = result.number;
    answer.total = answer.matching = static_cast<uint64_t>(result.total);
    const bool isOld = 2 * static_cast<uint64_t>(answer.number) > answer.pages(require.itemsPerPage);
    answer.items = itemsOf(result, isOld ? Order::OldestFirst : Order::NewestFirst, view, filter, damage);
    const bool isWhole = answer.items.size() == static_cast<size_t>(result.page.itemsNum);
    return isWhole && view.isCurrent() ? std::optional(answer) : std::nullopt;
}

PageAnswer pageByReading(const RingView &view, const ItemFilter &filter, const PageWish &wish,
                         DamageLog *damage) {
    PageAnswer answer;
    answer.total = answer.matching = countItems(view, filter, damage).tally.total();
    if (answer.total == 0) {
        return answer;
    }
    const auto perPage = static_cast<uint64_t>(wish.perPage);
    const uint64_t pages = answer.pages(wish.perPage);
    const bool isLast = wish.number < 0 || static_cast<uint64_t>(wish.number) >= pages;
    answer.number = isLast ? static_cast<int64_t>(pages) : wish.number;
    uint64_t newer = (static_cast<uint64_t>(answer.number) - 1) * perPage;
    ItemScanner scanner(view, filter, Order::NewestFirst, damage);
    for (const Item *item = scanner.next(); item != nullptr && answer.items.size() < perPage;
         item = scanner.next()) {
        if (newer > 0) {
            --newer;
        } else {
            answer.items.push_back(*item);
        }
    }
    return answer;
}

std::string fileCount(size_t count) { return counted(count, "file", "files"); }

}  // namespace

std::vector<FileDigest> digestsOf(const RingView &view, DamageLog *damage) {
    std::vector<FileDigest> digests;
    for (const RingFile &file : view.files()) {
        digests.push_back(digestOf(file, damage));
    }
    return digests;
}

void Tally::add(int32_t level, uint64_t count) {
    if (level >= 0 && level < jorn::kLevelMax) {
        levels[static_cast<size_t>(level)] += count;
    } else {
        others += count;
    }
}

void Tally::add(const Tally &other) {
    std::transform(levels.begin(), levels.end(), other.levels.begin(), levels.begin(), std::plus<>());
    others += other.others;
}

uint64_t Tally::total() const { return std::accumulate(levels.begin(), levels.end(), others); }

std::string CountAnswer::explanation() const {
    const std::string summaries = "summaries of " + fileCount(filesSummarised);
    if (route == Route::Summaries) {
        return "answered from the " + summaries + " alone";
    }
    if (filesSummarised == 0) {
        return "answered by reading the lines of " + fileCount(filesScanned);
    }
    return "answered from the " + summaries + ", and the lines of " + std::to_string(filesScanned) +
           " of them";
}

CountAnswer countItems(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    if (filter.pattern != nullptr) {
        return countByReading(view, filter, damage);
    }
    return countByPlan(view, filter, damage);
}

bool hasMatch(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    return !newestItems(view, filter, 1, damage).empty();
}

std::vector<Item> newestItems(const RingView &view, const ItemFilter &filter, size_t most,
                              DamageLog *damage) {
    std::vector<Item> items;
    ItemScanner scanner(view, filter, Order::NewestFirst, damage);
    while (items.size() < most) {
        const Item *const item = scanner.next();
        if (item == nullptr) {
            break;
        }
        items.push_back(*item);
    }
    return items;
}

NewestStart startOfNewest(const RingView &view, const ItemFilter &filter, const NewestWish &wish,
                          DamageLog *damage) {
    NewestStart found;
    uint64_t matchesLeft = wish.most;
    uint64_t neighboursLeft = wish.before;
    ItemScanner scanner(view, filter, Order::NewestFirst, damage);
    while (matchesLeft > 0 || neighboursLeft > 0 || (wish.isOlderAsked && !found.hasOlder)) {
        const Item *const item = scanner.next();
        if (item == nullptr) {
            found.start = matchesLeft > 0 || neighboursLeft > 0 ? ScanStart{} : found.start;
            break;
        }
        if (matchesLeft > 0) {
            matchesLeft -= item->isMatch ? 1 : 0;
            found.matches += item->isMatch ? 1 : 0;
        } else {
            found.hasOlder = found.hasOlder || item->isMatch;
            if (neighboursLeft == 0) {
                continue;
            }
            --neighboursLeft;
        }
        found.start = {item->fileIndex, item->offset};
    }
    return found;
}

uint64_t PageAnswer::pages(int32_t perPage) const {
    const auto size = static_cast<uint64_t>(perPage);
    return (total + size - 1) / size;
}

PageAnswer pageOf(const RingView &view, const ItemFilter &filter, const PageWish &wish, DamageLog *damage) {
    if (filter.pattern == nullptr) {
        const std::vector<FileDigest> digests = digestsOf(view, damage);
        if (auto require = asRequirement(filter, digests)) {
            require->pageDisp = wish.number;
            require->itemsPerPage = wish.perPage;
            if (auto answer = pageByModule(view, digests, filter, *require, damage)) {
                // Only then, as a file that grows meanwhile must not make the two counts differ.
                if (!isModuleExact(filter, digests)) {
                    answer->matching = countItems(view, filter, damage).tally.total();
                }
                return *answer;
            }
        }
    }
    return pageByReading(view, filter, wish, damage);
}

}  // namespace tool
