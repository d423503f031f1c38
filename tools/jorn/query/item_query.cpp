// SPDX-License-Identifier: Apache-2.0
#include "query/item_query.h"

#include <algorithm>
#include <numeric>

#include "query/ring_reader.h"
#include "terminal/counted.h"

namespace tool {
namespace {

void countFile(const RingFile &file, PieceFilter *filter, Tally *tally, DamageLog *damage) {
    forEachItemLine(file, filter, damage, [&](const LineNumbers &numbers) { tally->add(numbers.level); });
}

/// A pattern makes every file be read for its lines, so that summaries would only cost.
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

void countByPlan(const RingView &view, const ItemFilter &filter, const std::vector<FileDigest> &digests,
                 const CountPlan &plan, CountAnswer *answer, DamageLog *damage) {
    PieceFilter pieceFilter(filter);
    for (size_t i = 0; i < digests.size(); ++i) {
        if (plan.files[i] == FileUse::Summary) {
            addFromDigest(digests[i], filter, &answer->tally);
        } else if (plan.files[i] == FileUse::Read) {
            ++answer->filesScanned;
            countFile(view.files()[i], &pieceFilter, &answer->tally, damage);
        }
    }
}

PageAnswer pageByModule(const RingView &view, const std::vector<FileDigest> &digests, JORN_REQUIRE require,
                        const PageWish &wish) {
    require.pageDisp = wish.number;
    require.itemsPerPage = wish.perPage;
    const RingReader reader(view, digests);
    const PageResult result = reader.page(require);
    PageAnswer answer;
    answer.number = result.number;
    answer.total = answer.matching = static_cast<uint64_t>(result.total);
    for (int32_t i = 0; i < result.page.itemsNum; ++i) {
        answer.items.push_back(itemOfRecord(result.page.disp[i]));
    }
    return answer;
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

CountAnswer countByDigests(const RingView &view, const ItemFilter &filter,
                           const std::vector<FileDigest> &digests, DamageLog *damage) {
    const CountPlan plan = planCount(filter, digests);
    CountAnswer answer;
    answer.route = plan.route;
    answer.filesSummarised = digests.size();
    countByPlan(view, filter, digests, plan, &answer, damage);
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

uint64_t Tally::total() const { return std::accumulate(levels.begin(), levels.end(), others); }

std::string CountAnswer::explanation() const {
    const std::string summaries = "summaries of " + fileCount(filesSummarised);
    if (route == Route::Summaries) {
        return "answered from the " + summaries + " alone";
    }
    return "answered by reading the lines of " + fileCount(filesScanned) +
           (filesSummarised > 0 ? ", after the " + summaries : "");
}

CountAnswer countItems(const RingView &view, const ItemFilter &filter, DamageLog *damage) {
    if (filter.pattern != nullptr) {
        return countByReading(view, filter, damage);
    }
    return countByDigests(view, filter, digestsOf(view, damage), damage);
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
        if (const auto require = asRequirement(filter, digests)) {
            PageAnswer answer = pageByModule(view, digests, *require, wish);
            // The module opens the files by their names, which may be others by now.
            if (!view.isCurrent()) {
                return pageByReading(view, filter, wish, damage);
            }
            // A file that grows meanwhile may not be what makes the difference.
            if (!isModuleExact(filter, digests)) {
                answer.matching = countByDigests(view, filter, digests, damage).tally.total();
            }
            return answer;
        }
    }
    return pageByReading(view, filter, wish, damage);
}

}  // namespace tool
