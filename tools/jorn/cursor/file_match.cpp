// SPDX-License-Identifier: Apache-2.0
#include "cursor/file_match.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

constexpr uint64_t kBlock = FileShape::kBlock;

/// Fewer equal items in a row show nothing about where they are.
constexpr uint64_t kFewest = 8;

uint64_t powerOfPrime(uint64_t exponent) {
    uint64_t power = 1;
    for (; exponent > 0; --exponent) {
        power *= kHashPrime;
    }
    return power;
}

/// Puts the items of a known file, in their order, next to those of a data file that has lost some of them.
/// No item of a file ever comes to lie farther back than it was.
class Alignment {
public:
    Alignment(const KnownFile &known, const ItemTable &table)
        : known_(known), table_(table), size_(table.hashes.size()), blockPower_(powerOfPrime(kBlock)) {
        chains_.reserve(size_ + 1);
        chains_.push_back(0);
        for (const uint64_t hash : table.hashes) {
            chains_.push_back(chained(chains_.back(), hash));
        }
    }

    std::optional<FileMatch> run() {
        for (uint64_t block = 0; block < known_.shape.blocks.size(); ++block) {
            placeBlock(block);
        }
        placeLast();
        if (match_.moves.empty()) {
            return std::nullopt;
        }
        match_.found = foundItems();
        match_.items = now_;
        match_.doubtful = doubtfulAfter(known_.sum.items, knownAt_, table_, now_);
        explainHoles();
        return match_;
    }

    /// How many items from `now` on may be known ones: those of a block that has lost its end. Where damage
    /// is seen, the block's rest was there.
    static uint64_t doubtfulAfter(uint64_t items, uint64_t known, const ItemTable &table, uint64_t now) {
        const uint64_t single = blocksOf(items) * kBlock;
        if (known >= single) {
            return 0;
        }
        const auto damaged = std::lower_bound(table.damaged.begin(), table.damaged.end(), now);
        const uint64_t end = damaged == table.damaged.end() ? table.hashes.size() : *damaged;
        return std::min(kBlock - 1, end - now);
    }

private:
    bool isBlock(uint64_t block, uint64_t now) const {
        const auto at = static_cast<size_t>(now);
        const uint64_t chain = chains_[at + kBlock] - chains_[at] * blockPower_;
        return halfOfChain(chain) == known_.shape.blocks[static_cast<size_t>(block)];
    }

    /// Where it was, as far as nothing more was lost, or nearer to the begin.
    void placeBlock(uint64_t block) {
        const uint64_t known = block * kBlock;
        const uint64_t farthest = now_ + (known - knownAt_);
        if (size_ < kBlock) {
            return;
        }
        for (uint64_t now = std::min(farthest, size_ - kBlock); now + 1 > now_; --now) {
            if (isBlock(block, now)) {
                place({known, now, kBlock});
                return;
            }
            if (now == 0) {
                return;
            }
        }
    }

    bool isItem(uint64_t known, uint64_t now) const {
        return now < size_ && known_.shape.last[static_cast<size_t>(known - firstSingle())] ==
                                  halfOfItem(table_.hashes[static_cast<size_t>(now)]);
    }

    uint64_t firstSingle() const { return known_.sum.items - known_.shape.last.size(); }

    uint64_t equalItems(uint64_t known, uint64_t now) const {
        uint64_t items = 0;
        while (known + items < known_.sum.items && isItem(known + items, now + items)) {
            ++items;
        }
        return items;
    }

    void placeLast() {
        if (knownAt_ == firstSingle()) {
            place({knownAt_, now_, equalItems(knownAt_, now_)});
        }
        while (const auto next = nextRun()) {
            place(*next);
        }
    }

    std::optional<MovedItems> nextRun() const {
        const auto next = nextRun([this](const MovedItems &run) { return isSure(run); });
        return next ? next : nextRun([this](const MovedItems &run) { return isByClock(run); });
    }

    /// After items that are gone: the nearest ones that are surely there.
    template <class IsSure>
    std::optional<MovedItems> nextRun(const IsSure &isSure) const {
        for (uint64_t known = std::max(knownAt_, firstSingle()); known < known_.sum.items; ++known) {
            // First where no more is gone than before.
            for (uint64_t lost = 0; lost <= known - knownAt_; ++lost) {
                const uint64_t now = now_ + (known - knownAt_) - lost;
                const MovedItems run = {known, now, equalItems(known, now)};
                if (run.count > 0 && isSure(run)) {
                    return run;
                }
            }
        }
        return std::nullopt;
    }

    /// With the times of a clock, items were not written again after a power cut.
    bool isByClock(const MovedItems &run) const {
        return run.now == now_ && isOfClock(table_.times[static_cast<size_t>(run.now)]);
    }

    /// A few items may be there again by chance, written after a power cut. They are the known ones where
    /// damage is seen at which others were lost, where they go on to the last known one, and where no damage
    /// is seen and most of their neighbours are in the same places.
    bool isSure(const MovedItems &run) const {
        constexpr uint64_t kFew = 3;
        const bool isDamagedHere = isDamaged(now_, run.now);
        if (run.count >= kFewest) {
            return true;
        }
        if (run.now == now_) {
            return isDamagedHere || reachesEnd(run.known, run.now);
        }
        const bool isInPlace = run.now - now_ == run.known - knownAt_;
        return (isInPlace && !isDamagedHere && isMostlyEqual()) ||
               (isDamagedHere && run.count >= kFew && reachesEnd(run.known, run.now));
    }

    /// Whether most of the items that are left are in the same places.
    bool isMostlyEqual() const {
        const uint64_t begin = std::max(knownAt_, firstSingle());
        const uint64_t count = known_.sum.items - begin;
        uint64_t equal = 0;
        for (uint64_t i = 0; i < count; ++i) {
            equal += isItem(begin + i, now_ + (begin - knownAt_) + i) ? 1 : 0;
        }
        return 2 * equal >= count;
    }

    /// Whether the items from `now` on are known ones up to the last, but for some that are gone.
    bool reachesEnd(uint64_t known, uint64_t now) const {
        for (; known < known_.sum.items; ++known) {
            now += isItem(known, now) ? 1 : 0;
        }
        return isItem(known_.sum.items - 1, now - 1);
    }

    /// Whether there is damage between two items.
    bool isDamaged(uint64_t begin, uint64_t end) const {
        const auto damaged = std::lower_bound(table_.damaged.begin(), table_.damaged.end(), begin);
        return damaged != table_.damaged.end() && *damaged <= end;
    }

    uint64_t foundItems() const {
        uint64_t items = 0;
        for (const MovedItems &moved : match_.moves) {
            items += moved.count;
        }
        return items;
    }

    /// Items between those that were found again are known ones, too: all of them, with other bytes, or those
    /// before and after the only damage.
    void explainHoles() {
        std::vector<MovedItems> moves;
        uint64_t known = 0;
        uint64_t now = 0;
        for (const MovedItems &next : match_.moves) {
            if (next.known - known == next.now - now) {
                moves.push_back({known, now, next.now - now});
            } else if (const auto damaged = onlyDamage(now, next.now)) {
                moves.push_back({known, now, *damaged - now});
                moves.push_back({next.known - (next.now - *damaged), *damaged, next.now - *damaged});
            }
            moves.push_back(next);
            known = next.known + next.count;
            now = next.now + next.count;
        }
        match_.moves = std::move(moves);
    }

    std::optional<uint64_t> onlyDamage(uint64_t begin, uint64_t end) const {
        const auto first = std::lower_bound(table_.damaged.begin(), table_.damaged.end(), begin);
        const auto last = std::upper_bound(first, table_.damaged.end(), end);
        return last - first == 1 ? std::optional(*first) : std::nullopt;
    }

    void place(const MovedItems &items) {
        if (items.count == 0) {
            return;
        }
        if (!match_.moves.empty() && items.known == knownAt_ && items.now == now_) {
            match_.moves.back().count += items.count;
        } else {
            match_.moves.push_back(items);
        }
        knownAt_ = items.known + items.count;
        now_ = items.now + items.count;
    }

    const KnownFile &known_;
    const ItemTable &table_;
    const uint64_t size_;
    const uint64_t blockPower_;
    std::vector<uint64_t> chains_;
    FileMatch match_;
    uint64_t knownAt_ = 0;  ///< After the last item that was placed,
    uint64_t now_ = 0;      ///< and where it is now.
};

/// How many samples are where they may be, if the file has lost so many items.
uint64_t samplesLeft(const KnownFile &known, const ItemTable &table, uint64_t lost) {
    const uint64_t items = table.hashes.size();
    uint64_t left = 0;
    uint64_t next = 0;
    for (uint64_t sample = 0; sample < known.shape.samples.size(); ++sample) {
        const uint64_t farthest = sampleAt(known.sum.items, sample);
        uint64_t now = std::max(next, farthest - std::min(lost, farthest));
        while (now <= farthest && now < items &&
               halfOfItem(table.hashes[static_cast<size_t>(now)]) !=
                   known.shape.samples[static_cast<size_t>(sample)]) {
            ++now;
        }
        if (now <= farthest && now < items) {
            ++left;
            next = now + 1;
        }
    }
    return left;
}

}  // namespace

bool beginsWith(const ItemTable &table, const FileSum &sum) {
    if (sum.items > table.hashes.size()) {
        return false;
    }
    uint64_t chain = 0;
    for (uint64_t i = 0; i < sum.items; ++i) {
        chain = chained(chain, table.hashes[static_cast<size_t>(i)]);
    }
    return chain == sum.chain;
}

std::optional<FileMatch> matchFile(const KnownFile &known, const ItemTable &table) {
    if (beginsWith(table, known.sum)) {
        return matchWholeFile(known);
    }
    return known.shape.hasDetails() ? Alignment(known, table).run() : std::nullopt;
}

FileMatch matchLostFile(const KnownFile &known, const ItemTable &table) {
    return {{}, 0, 0, Alignment::doubtfulAfter(known.sum.items, 0, table, 0), false};
}

FileMatch matchWholeFile(const KnownFile &known) {
    return {{{0, 0, known.sum.items}}, known.sum.items, known.sum.items, 0, true};
}

Likeness likenessOf(const KnownFile &known, const ItemTable &table) {
    const uint64_t items = table.hashes.size();
    if (items > known.sum.items && !known.isUnread) {
        return Likeness::Other;
    }
    if (beginsWith(table, known.sum)) {
        return Likeness::Same;
    }
    const uint64_t samples = known.shape.samples.size();
    const uint64_t left = samplesLeft(known, table, known.sum.items - std::min(items, known.sum.items));
    if (4 * left >= 3 * samples) {
        return Likeness::Same;
    }
    // Nearly all that is there was known.
    const bool isRest = 4 * left * known.sum.items >= 3 * samples * items;
    return 2 * left >= samples || isRest ? Likeness::Unclear : Likeness::Other;
}

}  // namespace tool
